// kaitoro-cli validate: runs the event library against recorded tsunamis in both modes and
// writes the validation page with its figures. Each run is a child process doing exactly what
// `kaitoro-cli run --fault ... --gauges ...` does, so the state of one run never leaks into the
// next and the page measures the same program users run.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/options.h"
#include "core/gauges.h"
#include "core/safe_file.h"
#include "source_design/fault_table.h"
#include "validate/observations.h"
#include "validate/picking.h"
#include "validate/report.h"

namespace kaitoro::cli {

namespace {

namespace fs = std::filesystem;

struct ValidateOptions {
    std::string grid, events_dir, observations, out, work;
    std::vector<std::string> only;  // event name filters
    double max_hours = -1;
    bool keep_runs = false;
};

std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

ValidateOptions parse_validate_options(int argc, char** argv) {
    ValidateOptions o;
    for (OptionCursor c(argc, argv); c.next();) {
        if (c.is("--grid"))
            o.grid = c.value();
        else if (c.is("--events"))
            o.events_dir = c.value();
        else if (c.is("--observations"))
            o.observations = c.value();
        else if (c.is("--out"))
            o.out = c.value();
        else if (c.is("--work"))
            o.work = c.value();
        else if (c.is("--event"))
            o.only.push_back(lower(c.value()));
        else if (c.is("--keep-runs"))
            o.keep_runs = true;
        else if (c.is("--hours")) {
            o.max_hours = parse_number("--hours", c.value());
            if (o.max_hours <= 0) throw UsageError{"--hours must be above 0"};
        } else
            c.unknown("unknown option for validate: ");
    }
    if (o.grid.empty()) o.grid = default_grid_path();
    if (o.events_dir.empty()) o.events_dir = source_tree_path("data/events");
    if (o.observations.empty()) o.observations = source_tree_path("validation/observations.csv");
    if (o.out.empty()) o.out = source_tree_path("docs");
    return o;
}

std::string slug_of(const std::string& name) {
    std::string s;
    for (char c : lower(name)) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            s += c;
        else if (!s.empty() && s.back() != '_')
            s += '_';
    }
    while (!s.empty() && s.back() == '_') s.pop_back();
    return s;
}

// Runs `kaitoro-cli run` in a child process with its output in `log`; true when it exited 0.
bool run_child(RunOptions ro, const std::string& log) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            dup2(fd, 1);
            dup2(fd, 2);
            close(fd);
        }
        int rc = 1;
        try {
            rc = cmd_run(ro);
        } catch (...) {
        }
        std::fflush(stdout);
        std::fflush(stderr);
        _exit(rc);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The child's gauge files back into the results of one mode.
bool read_run(const std::string& dir, int mode, EventResult* e) {
    std::ifstream series(dir + "/gauges.csv"), cells(dir + "/gauge_cells.csv");
    if (!series || !cells) return false;
    std::string line;
    std::getline(series, line);
    const std::size_t n = e->gauges.size();
    if (csv_fields(line).size() != n + 1) return false;
    std::vector<std::int32_t> times;
    std::vector<std::vector<float>> levels(n);
    while (std::getline(series, line)) {
        const std::vector<std::string> f = csv_fields(line);
        if (f.size() != n + 1) return false;
        times.push_back(std::int32_t(std::atol(f[0].c_str())));
        for (std::size_t k = 0; k < n; ++k)
            levels[k].push_back(std::strtof(f[k + 1].c_str(), nullptr));
    }
    std::getline(cells, line);
    for (std::size_t k = 0; k < n && std::getline(cells, line); ++k) {
        const std::vector<std::string> f = csv_fields(line);
        if (f.size() < 11) return false;
        GaugeResult& g = e->gauges[k];
        g.placed = !f[3].empty();
        if (g.placed) {
            g.cell_x = std::atoi(f[3].c_str());
            g.cell_y = std::atoi(f[4].c_str());
            g.depth_m = std::atof(f[7].c_str());
            g.distance_km = std::atof(f[8].c_str());
        }
        g.sim[mode] = gauge_picks(times, levels[k], std::int32_t(std::atol(f[9].c_str())));
    }
    return true;
}

// Model hours for an event: half an hour past its latest observed time, in whole quarters.
double event_hours(const EventResult& e, double cap) {
    double latest = 60;
    for (const GaugeResult& g : e.gauges)
        for (const auto& v : {g.obs.first_arrival_min, g.obs.onset25_min, g.obs.time_of_max_min})
            if (v) latest = std::max(latest, *v);
    double h = std::ceil((latest + 30) / 15) * 0.25;
    return cap > 0 ? std::min(h, cap) : h;
}

}  // namespace

int cmd_validate(int argc, char** argv) {
    const ValidateOptions o = parse_validate_options(argc, argv);
    std::vector<Observation> observations;
    std::vector<std::string> rejected;
    std::string error;
    if (!observations_load(o.observations.c_str(), &observations, &rejected, &error)) {
        std::fprintf(stderr, "Error: could not read observations: %s: %s\n", o.observations.c_str(),
                     error.c_str());
        return 1;
    }
    for (const std::string& r : rejected)
        std::fprintf(stderr, "%s: %s\n", o.observations.c_str(), r.c_str());

    std::vector<fs::path> tables;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(o.events_dir, ec))
        if (entry.path().extension() == ".csv") tables.push_back(entry.path());
    if (ec) {
        std::fprintf(stderr, "Error: could not list event folder: %s: %s\n", o.events_dir.c_str(),
                     ec.message().c_str());
        return 1;
    }
    std::sort(tables.begin(), tables.end());

    const std::string work =
        !o.work.empty()
            ? o.work
            : (fs::temp_directory_path() / ("kaitoro-validate-" + std::to_string(getpid())))
                  .string();
    fs::create_directories(work, ec);
    const std::string figure_dir = "validation";
    fs::create_directories(fs::path(o.out) / figure_dir, ec);
    if (ec) {
        std::fprintf(stderr, "Error: could not create output folder: %s: %s\n", o.out.c_str(),
                     ec.message().c_str());
        return 1;
    }

    std::vector<EventResult> events;
    int failures = 0;
    for (const fs::path& path : tables) {
        FaultTable t;
        if (!fault_table_load(path.string().c_str(), &t, &error) || t.subfaults.empty()) continue;
        EventResult e;
        e.name = t.meta("name");
        if (e.name.empty()) continue;
        if (!o.only.empty() &&
            std::none_of(o.only.begin(), o.only.end(), [&](const std::string& f) {
                return lower(e.name).find(f) != std::string::npos;
            }))
            continue;
        for (const Observation& ob : observations)
            if (observation_matches_event(ob, e.name))
                e.gauges.push_back(GaugeResult{ob, {}, {}, {}, {}, {}, {}});
        if (e.gauges.empty()) {
            std::printf("%s: no observations, skipped.\n", e.name.c_str());
            continue;
        }
        e.file = (fs::path(o.events_dir).filename() / path.filename()).string();
        if (fs::path(o.events_dir).filename() == "events") e.file = "data/" + e.file;
        e.citation = t.meta("citation");
        e.mw = moment_magnitude_from_nm(fault_table_moment_nm(t.subfaults));
        e.slug = slug_of(e.name);
        e.hours = event_hours(e, o.max_hours);

        const std::string gauge_file = work + "/" + e.slug + "_gauges.csv";
        {
            SafeFile f(gauge_file.c_str());
            if (!f) return 1;
            for (const GaugeResult& g : e.gauges)
                std::fprintf(f.get(), "%s,%.6f,%.6f\n", g.obs.gauge.c_str(), g.obs.lat, g.obs.lon);
            if (!f.commit()) return 1;
        }
        for (int mode = 0; mode < kModeCount; ++mode) {
            RunOptions ro;
            ro.grid = o.grid;
            ro.faults = {path.string()};
            ro.gauge_files = {gauge_file};
            ro.hours = e.hours;
            ro.transmit_limit = false;
            ro.true_speed = mode == kModeTrueSpeed;
            ro.out = work + "/" + e.slug + "_" + validation_mode_slug(mode);
            const std::string log = ro.out + ".log";
            std::printf("%s, %s: %.2f model hours, %zu gauge(s)...\n", e.name.c_str(),
                        validation_mode_name(mode), e.hours, e.gauges.size());
            e.ran[mode] = run_child(ro, log) && read_run(ro.out, mode, &e);
            if (!e.ran[mode]) {
                std::fprintf(stderr, "Error: the %s run of %s failed; see %s\n",
                             validation_mode_name(mode), e.name.c_str(), log.c_str());
                ++failures;
                continue;
            }
            const std::string fig =
                (fs::path(o.out) / figure_dir / validation_figure_name(e, mode)).string();
            if (!validation_write_figure(e, mode, fig.c_str())) {
                std::fprintf(stderr, "Error: could not write figure: %s\n", fig.c_str());
                ++failures;
            }
        }
        events.push_back(std::move(e));
    }
    if (events.empty()) {
        std::fprintf(stderr, "Error: no event with observations to validate\n");
        return 1;
    }

    std::string command = "kaitoro-cli validate";
    for (int i = 2; i < argc; ++i) command += std::string(" ") + argv[i];
    const std::string page = (fs::path(o.out) / "validation.md").string();
    const std::string md =
        validation_report_markdown(events, figure_dir, command,
                                   fs::path(o.observations).parent_path().filename().string() +
                                       "/" + fs::path(o.observations).filename().string());
    SafeFile f(page.c_str());
    if (!f || std::fwrite(md.data(), 1, md.size(), f.get()) != md.size() || !f.commit()) {
        std::fprintf(stderr, "Error: could not write %s\n", page.c_str());
        return 1;
    }
    std::printf("Saved validation report: %s (%zu event(s), figures in %s/%s)\n", page.c_str(),
                events.size(), o.out.c_str(), figure_dir.c_str());
    if (!o.keep_runs && o.work.empty()) fs::remove_all(work, ec);
    return failures ? 1 : 0;
}

}  // namespace kaitoro::cli
