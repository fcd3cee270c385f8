// kaitoro-cli scenarios: a scenario table along a trench, positions times magnitudes.
#include <cmath>
#include <cstdio>
#include <string>

#include "batch/trench.h"
#include "cli/options.h"
#include "core/safe_file.h"

namespace kaitoro::cli {

int cmd_scenarios(int argc, char** argv) {
    std::string trench_path, out;
    TrenchScenarioOptions o;
    bool have_mw = false, have_spacing = false, have_prefix = false;
    for (OptionCursor c(argc, argv); c.next();) {
        if (c.is("--trench"))
            trench_path = c.value();
        else if (c.is("--out"))
            out = c.value();
        else if (c.is("--mw")) {
            const std::string v = c.value();
            const std::size_t c1 = v.find(':'),
                              c2 = v.find(':', c1 == std::string::npos ? 0 : c1 + 1);
            if (c1 == std::string::npos || c2 == std::string::npos)
                throw UsageError{"--mw needs MIN:MAX:STEP"};
            o.mw_min = parse_number("--mw", v.substr(0, c1).c_str());
            o.mw_max = parse_number("--mw", v.substr(c1 + 1, c2 - c1 - 1).c_str());
            o.mw_step = parse_number("--mw", v.substr(c2 + 1).c_str());
            if (o.mw_min < 5.0 || o.mw_max > 9.6 || o.mw_max < o.mw_min || o.mw_step <= 0 ||
                (o.mw_max - o.mw_min) / o.mw_step > 1000)
                throw UsageError{"--mw needs 5.0 <= MIN <= MAX <= 9.6 and a STEP above 0"};
            have_mw = true;
        } else if (c.is("--spacing-km")) {
            o.spacing_km = parse_number("--spacing-km", c.value());
            if (o.spacing_km < 1 || o.spacing_km > 2000)
                throw UsageError{"--spacing-km must be 1 to 2000 km"};
            have_spacing = true;
        } else if (c.is("--hours")) {
            o.hours = parse_number("--hours", c.value());
            if (o.hours <= 0 || o.hours > 60)
                throw UsageError{"--hours must be above 0 and at most 60"};
        } else if (c.is("--true-speed"))
            o.true_speed = true;
        else if (c.is("--id-prefix")) {
            o.id_prefix = c.value();
            have_prefix = true;
        } else
            c.unknown("unknown option for scenarios: ");
    }
    if (trench_path.empty() || !have_mw || !have_spacing)
        throw UsageError{"scenarios needs --trench FILE --mw MIN:MAX:STEP --spacing-km KM"};
    if (!have_prefix) {
        // The trench file's name: japan_trench.csv -> japan_trench_k0100_m8.50.
        std::string stem = trench_path.substr(trench_path.rfind('/') + 1);
        stem = stem.substr(0, stem.find('.'));
        o.id_prefix.clear();
        for (char c : stem)
            if (std::isalnum((unsigned char)c) || c == '-' || c == '_') o.id_prefix += c;
        if (o.id_prefix.empty()) o.id_prefix = "trench";
    }
    if (o.id_prefix.size() > 40) throw UsageError{"--id-prefix is limited to 40 characters"};
    for (char c : o.id_prefix)
        if (!std::isalnum((unsigned char)c) && c != '-' && c != '_')
            throw UsageError{"--id-prefix takes letters, digits, - and _"};

    std::vector<TrenchVertex> trench;
    std::string error;
    if (!trench_load(trench_path, &trench, &error)) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    int count = 0;
    const std::string text = trench_scenario_table(trench, o, &count);
    if (out.empty()) {
        std::fwrite(text.data(), 1, text.size(), stdout);
    } else {
        SafeFile f(out.c_str());
        if (!f || std::fwrite(text.data(), 1, text.size(), f.get()) != text.size() || !f.commit()) {
            std::fprintf(stderr, "Error: could not write scenario table: %s\n", out.c_str());
            return 1;
        }
    }
    std::fprintf(stderr, "%d scenario(s) along %s%s%s.\n", count, trench_path.c_str(),
                 out.empty() ? "" : " written to ", out.c_str());
    return 0;
}

}  // namespace kaitoro::cli
