#include "cli/cli.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/options.h"

namespace kaitoro::cli {

int cli_main(int argc, char** argv) {
    if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    const std::string cmd = argv[1];
    try {
        if (cmd == "run") return cmd_run(parse_run_options(argc, argv, false));
        if (cmd == "validate") return cmd_validate(argc, argv);
        if (cmd == "info") return cmd_info(parse_run_options(argc, argv, true));
        throw UsageError{"unknown command: " + cmd};
    } catch (const UsageError& e) {
        std::fprintf(stderr, "kaitoro-cli: %s\n\n%s", e.message.c_str(), kUsage);
        return 2;
    }
}

}  // namespace kaitoro::cli