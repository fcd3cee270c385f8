// Runs a shell command for end-to-end tests and captures what it prints.
#pragma once

#include <string>

namespace kaitoro::testing {

struct CommandResult {
    int code;         // exit status, -1 when the command did not exit normally
    std::string out;  // stdout and stderr together
};

CommandResult run_command(const std::string& cmd);

}  // namespace kaitoro::testing
