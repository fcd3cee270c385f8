// The command-line runner, callable from tests in-process.
#pragma once

#include <string>
#include <vector>

namespace kaitoro::cli {

// Exit codes: 0 success, 1 input error (grid, files), 2 usage error.
int cli_main(int argc, char** argv);

}  // namespace kaitoro::cli
