#include "cli/cli.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/options.h"

namespace kaitoro::cli {

int cli_main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(kShortUsage, stderr);
        return 2;
    }
    if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const std::string cmd = argv[1];
    try {
        if (cmd == "run") return cmd_run(parse_run_options(argc, argv, false));
        if (cmd == "validate") return cmd_validate(argc, argv);
        if (cmd == "info") return cmd_info(parse_run_options(argc, argv, true));
        if (cmd == "batch") return cmd_batch(argc, argv);
        if (cmd == "run-scenario") return cmd_run_scenario(argc, argv);
        if (cmd == "scenarios") return cmd_scenarios(argc, argv);
        if (cmd == "lookup") return cmd_lookup(argc, argv);
        if (cmd == "summary") return cmd_summary(argc, argv);
        if (cmd == "merge") return cmd_merge(argc, argv);
        if (cmd == "demo") return cmd_demo(argc, argv);
        const std::string near = nearest_option(
            cmd, {"run", "validate", "info", "batch", "run-scenario", "scenarios", "lookup",
                  "summary", "merge", "demo"});
        throw UsageError{"unknown command: " + cmd +
                         (near.empty() ? "" : "; did you mean " + near + "?")};
    } catch (const UsageError& e) {
        std::fprintf(stderr, "kaitoro-cli: %s\n\n%s", e.message.c_str(), kUsage);
        return 2;
    }
}

}  // namespace kaitoro::cli