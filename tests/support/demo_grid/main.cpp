// Writes the full-size synthetic grid to the given path.
#include <cstdio>

#include "tests/support/synthetic_grid.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: kaitoro-demo-grid OUTPUT.bin\n");
        return 2;
    }
    const auto spec = kaitoro::testing::make_realistic_grid();
    if (!kaitoro::testing::write_file_bytes(argv[1], kaitoro::testing::encode_grid_file(spec))) {
        std::fprintf(stderr, "Error: could not write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
