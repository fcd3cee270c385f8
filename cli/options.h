// The options every subcommand shares, their parser and the usage text, so each command's
// file holds only what the command does.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kaitoro::cli {

extern const char kUsage[];
// What `kaitoro-cli` with no arguments prints: the commands in brief and the demo recipe.
extern const char kShortUsage[];

// A bad command line: printed with the usage text, exit status 2.
struct UsageError {
    std::string message;
};

struct RunOptions {
    std::string grid;
    std::string colors;  // colour settings file; empty: the built-in scales
    std::string overrides;
    std::vector<std::string> sources;
    std::vector<int> stations;
    bool demo_source = false;
    double hours = 2.0;
    long long steps = -1;
    bool transmit_limit = true;
    std::string out = "out";
    std::string preset, save_preset;
    std::string max_wave_png;
    int wave_layer = 0;
    std::string slip_map_png;
    int orvex_start_delay_s = 0;
    std::string quick_ff;
    bool has_epicenter = false;
    double epicenter_lat = 0, epicenter_lon = 0;
    std::optional<double> strike, patch_length, patch_width, depth;
    std::vector<std::string> faults;  // fault tables, added as dislocation sources
    bool true_speed = false;          // scale the coupling to sqrt(g h) at each latitude
    bool okada = false;               // --quick-ff patches as dislocation subfaults
    bool horizontal_term = false;     // add the horizontal-motion term on slopes
    std::string netcdf, geojson, animate;
    int snapshot_every_s = 0;  // 0: no snapshots
    int frame_every_s = 300;
    std::string command_line;  // for the NetCDF history
    std::vector<std::string> gauges;      // NAME,LAT,LON virtual gauges
    std::vector<std::string> gauge_files;  // CSV lists of them
    // Called after the run's files are saved, while the model state is still there.
    std::function<void()> after_run;
};

// Walks one subcommand's arguments. Every option name the command tests with `is` is
// remembered, so an unknown option can be answered with the nearest one it knows.
class OptionCursor {
public:
    OptionCursor(int argc, char** argv, int first = 2) : argc_(argc), argv_(argv), i_(first - 1) {}
    // Moves to the next argument; false past the last.
    bool next();
    const std::string& arg() const { return arg_; }
    bool is(const char* name);
    // A word that is not an option (a file name, a table).
    bool positional() const { return !arg_.empty() && arg_[0] != '-'; }
    // The current option's value, consumed; a usage error when the line ends first.
    const char* value();
    // The usage error for the current argument: `prefix` + argument, plus the nearest known
    // option when one is close enough to be a slip of the keyboard.
    [[noreturn]] void unknown(const std::string& prefix) const;

private:
    int argc_;
    char** argv_;
    int i_;
    std::string arg_;
    std::vector<std::string> known_;
};

// The known option closest to `typed` (edit distance at most 2, or `typed` cut short), or "".
std::string nearest_option(const std::string& typed, const std::vector<std::string>& known);

// A file of the source tree (data/events/...), else the relative path as given.
std::string source_tree_path(const char* relative);
std::string default_grid_path();
// A number option's value; anything but a whole finite number is a usage error.
double parse_number(const char* opt, const char* text);
RunOptions parse_run_options(int argc, char** argv, bool info);
// Start-up exactly as the desktop program does it, minus the window and the colour file the
// desktop keeps beside the program: the built-in scales, or those of `colors_path` (a file
// that cannot be read as colour settings is a usage error). 0 or the exit status.
int start(const std::string& grid_path, const std::string& colors_path = "");
std::string json_escape(const std::string& s);

// The subcommands, one file each.
int cmd_run(const RunOptions& o);
int cmd_info(const RunOptions& o);
int cmd_validate(int argc, char** argv);
int cmd_batch(int argc, char** argv);
int cmd_run_scenario(int argc, char** argv);
int cmd_scenarios(int argc, char** argv);
int cmd_lookup(int argc, char** argv);
int cmd_summary(int argc, char** argv);
int cmd_merge(int argc, char** argv);
int cmd_demo(int argc, char** argv);
// Folds shard databases into `db`, printing what changed; 0 or the exit status.
int merge_shards_into(const std::string& db, const std::vector<std::string>& shards);

}  // namespace kaitoro::cli
