#include "tests/support/run_command.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace kaitoro::testing {

CommandResult run_command(const std::string& cmd) {
    CommandResult r{-1, {}};
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (!p) return r;
    std::array<char, 4096> buf;
    std::size_t n;
    while ((n = fread(buf.data(), 1, buf.size(), p)) > 0) r.out.append(buf.data(), n);
    const int st = pclose(p);
    r.code = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

}  // namespace kaitoro::testing
