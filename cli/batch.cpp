// kaitoro-cli batch: every scenario of a table, one process each, into one result database,
// locally or as a Slurm job array; and run-scenario, the process that runs one of them.
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "batch/result_store.h"
#include "batch/runner.h"
#include "batch/scenario.h"
#include "batch/scenario_run.h"
#include "batch/slurm.h"
#include "cli/options.h"
#include "core/driver.h"
#include "core/safe_file.h"
#include "core/solver.h"

namespace kaitoro::cli {

namespace {

struct BatchOptions {
    std::string table, db, grid;
    int jobs = 0;
    int slice_index = 0, slice_count = 1;
    bool retry_failed = false;
    bool slurm = false, wait = false;
    std::string partition, time_limit, shard_dir;
    int array_size = 0;
};

int whole_number(const char* opt, const char* text, int lo, int hi) {
    const double v = parse_number(opt, text);
    if (v != std::floor(v) || v < lo || v > hi)
        throw UsageError{std::string(opt) + " needs a whole number from " + std::to_string(lo) +
                         " to " + std::to_string(hi)};
    return int(v);
}

BatchOptions parse_batch_options(int argc, char** argv) {
    BatchOptions o;
    for (OptionCursor c(argc, argv); c.next();) {
        const std::string& a = c.arg();
        if (c.is("--db"))
            o.db = c.value();
        else if (c.is("--grid"))
            o.grid = c.value();
        else if (c.is("--jobs"))
            o.jobs = whole_number("--jobs", c.value(), 1, 1024);
        else if (c.is("--retry-failed"))
            o.retry_failed = true;
        else if (c.is("--slice")) {
            const std::string v = c.value();
            const std::size_t slash = v.find('/');
            if (slash == std::string::npos) throw UsageError{"--slice needs K/N"};
            o.slice_count = whole_number("--slice", v.substr(slash + 1).c_str(), 1, 1000000);
            o.slice_index =
                whole_number("--slice", v.substr(0, slash).c_str(), 0, o.slice_count - 1);
        } else if (c.is("--slurm"))
            o.slurm = true;
        else if (c.is("--wait"))
            o.wait = true;
        else if (c.is("--partition"))
            o.partition = c.value();
        else if (c.is("--time-limit"))
            o.time_limit = c.value();
        else if (c.is("--array-size"))
            o.array_size = whole_number("--array-size", c.value(), 1, 100000);
        else if (c.is("--shard-dir"))
            o.shard_dir = c.value();
        else if (c.positional() && o.table.empty())
            o.table = a;
        else
            c.unknown("unknown option for batch: ");
    }
    if (o.table.empty()) throw UsageError{"batch needs a scenario table"};
    if (o.db.empty()) throw UsageError{"batch needs --db FILE"};
    if (!o.slurm && (o.wait || !o.partition.empty() || !o.time_limit.empty() || o.array_size ||
                     !o.shard_dir.empty()))
        throw UsageError{
            "--wait, --partition, --time-limit, --array-size, --shard-dir need --slurm"};
    if (o.grid.empty()) o.grid = default_grid_path();
    if (o.jobs == 0) o.jobs = std::max(1u, std::thread::hardware_concurrency());
    return o;
}

std::string self_path() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, std::size_t(n)) : std::string("kaitoro-cli");
}

std::string absolute(const std::string& p) {
    std::error_code ec;
    const auto a = std::filesystem::absolute(p, ec);
    return ec ? p : a.lexically_normal().string();
}

// Loads the table, naming every bad row; 0 or the exit status.
int load_table(const std::string& path, ScenarioTable* t) {
    std::string error;
    if (!scenario_table_load(path, t, &error)) {
        std::fprintf(stderr, "Error: could not open scenario table: %s: %s\n", path.c_str(),
                     error.c_str());
        return 1;
    }
    for (const std::string& e : t->errors)
        std::fprintf(stderr, "%s: %s\n", path.c_str(), e.c_str());
    if (!t->errors.empty()) {
        std::fprintf(stderr, "Error: %s: %zu bad row(s); fix them and run again\n", path.c_str(),
                     t->errors.size());
        return 1;
    }
    if (t->scenarios.empty()) {
        std::fprintf(stderr, "Error: %s: no scenario\n", path.c_str());
        return 1;
    }
    return 0;
}

int submit_slurm(const BatchOptions& o, const ScenarioTable& t) {
    SlurmPlan p;
    p.exe = self_path();
    p.table = absolute(o.table);
    p.db = absolute(o.db);
    p.grid = absolute(o.grid);
    p.shard_dir = absolute(o.shard_dir.empty() ? o.db + ".shards" : o.shard_dir);
    p.partition = o.partition;
    p.time_limit = o.time_limit;
    p.scenarios = int(t.scenarios.size());
    p.array_size = std::min(o.array_size ? o.array_size : 64, p.scenarios);
    std::error_code ec;
    std::filesystem::create_directories(p.shard_dir, ec);
    if (ec) {
        std::fprintf(stderr, "Error: could not create shard folder: %s: %s\n", p.shard_dir.c_str(),
                     ec.message().c_str());
        return 1;
    }
    const std::string script = p.shard_dir + "/job.sh";
    {
        SafeFile f(script.c_str());
        const std::string text = slurm_job_script(p);
        if (!f || std::fwrite(text.data(), 1, text.size(), f.get()) != text.size() || !f.commit()) {
            std::fprintf(stderr, "Error: could not write job script: %s\n", script.c_str());
            return 1;
        }
    }
    std::string out, error;
    if (!run_program(slurm_sbatch_args(p, script, o.wait), &out, &error)) {
        std::fprintf(stderr, "Error: sbatch failed: %s\n%s", error.c_str(), out.c_str());
        return 1;
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    std::printf(
        "Submitted job array %s: %d scenario(s) in %d task(s); shards in %s; job script "
        "%s.\n",
        out.c_str(), p.scenarios, p.array_size, p.shard_dir.c_str(), script.c_str());
    if (!o.wait) {
        std::printf("When it has ended: kaitoro-cli merge --db %s %s\n", o.db.c_str(),
                    p.shard_dir.c_str());
        return 0;
    }
    return merge_shards_into(o.db, slurm_shard_paths(p.shard_dir));
}

}  // namespace

int cmd_batch(int argc, char** argv) {
    const BatchOptions o = parse_batch_options(argc, argv);
    ScenarioTable t;
    if (int rc = load_table(o.table, &t)) return rc;
    if (!file_exists(o.grid.c_str())) {
        std::fprintf(stderr, "Error: could not open data file: %s: No such file or directory\n",
                     o.grid.c_str());
        return 1;
    }
    if (o.slurm) return submit_slurm(o, t);

    ResultStore store;
    std::string error;
    if (!store.open(o.db, &error)) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    BatchPlan plan;
    plan.exe = self_path();
    plan.table = absolute(o.table);
    plan.db = absolute(o.db);
    plan.grid = absolute(o.grid);
    plan.jobs = o.jobs;
    plan.slice_index = o.slice_index;
    plan.slice_count = o.slice_count;
    plan.retry_failed = o.retry_failed;
    plan.progress_tty = isatty(2);
    BatchCounts c;
    const std::vector<const Scenario*> pending = batch_pending(plan, t, &store, &c);
    std::printf(
        "Scenario table %s: %d scenario(s)%s, %d already in %s; running %zu with %d "
        "job(s).\n",
        o.table.c_str(), c.selected, o.slice_count > 1 ? " in this slice" : "", c.skipped,
        o.db.c_str(), pending.size(), o.jobs);
    std::fflush(stdout);
    const auto t0 = std::chrono::steady_clock::now();
    const bool ok = batch_run(plan, pending, &store, &c, &error);
    const double secs =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("Batch %s: %d done, %d failed, %d skipped in %.1f s (%.1f scenarios/min).\n",
                c.interrupted ? "interrupted" : "finished", c.done, c.failed, c.skipped, secs,
                secs > 0 ? (c.done + c.failed) * 60.0 / secs : 0.0);
    if (!ok) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    return c.interrupted ? 130 : 0;
}

// One scenario, written to the store in one transaction; any failure exits 1 with the reason
// on stderr, which the batch records.
int cmd_run_scenario(int argc, char** argv) {
    const auto t0 = std::chrono::steady_clock::now();
    std::string table_path, id, db, grid;
    for (OptionCursor c(argc, argv); c.next();) {
        const std::string& a = c.arg();
        if (c.is("--id"))
            id = c.value();
        else if (c.is("--db"))
            db = c.value();
        else if (c.is("--grid"))
            grid = c.value();
        else if (c.positional() && table_path.empty())
            table_path = a;
        else
            c.unknown("unknown option for run-scenario: ");
    }
    if (table_path.empty() || id.empty() || db.empty())
        throw UsageError{"run-scenario needs TABLE --id ID --db FILE"};
    if (grid.empty()) grid = default_grid_path();
    ScenarioTable t;
    std::string error;
    if (!scenario_table_load(table_path, &t, &error)) {
        std::fprintf(stderr, "Error: could not open scenario table: %s: %s\n", table_path.c_str(),
                     error.c_str());
        return 1;
    }
    const Scenario* s = nullptr;
    for (const Scenario& c : t.scenarios)
        if (c.id == id) s = &c;
    if (!s) {
        std::fprintf(stderr, "Error: %s has no valid scenario %s\n", table_path.c_str(),
                     id.c_str());
        return 1;
    }
    g_true_wave_speed = s->true_speed ? 1 : 0;
    if (int rc = start(grid)) return rc;
    // A scenario of an ensemble has no receiving system: no outbox is written.
    g_feed_hooks.export_tick = nullptr;
    g_feed_hooks.reset_export_state = nullptr;
    ScenarioRecord r;
    if (!scenario_run_loaded(*s, &r, &error)) {
        std::fprintf(stderr, "Error: scenario %s (line %d): %s\n", s->id.c_str(), s->line,
                     error.c_str());
        return 1;
    }
    r.wall_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    driver_shutdown();
    ResultStore store;
    if (!store.open(db, &error) || !store.write(r, &error)) {
        std::fprintf(stderr, "Error: could not write the result of %s: %s\n", s->id.c_str(),
                     error.c_str());
        return 1;
    }
    std::printf("Scenario %s: Mw %.2f, %zu station(s), %.2f s (solver %.2f s).\n", s->id.c_str(),
                r.mw, r.stations.size(), r.wall_s, r.solver_s);
    return 0;
}

}  // namespace kaitoro::cli
