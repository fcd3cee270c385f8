// Slurm: the table as a job array whose tasks each run a slice of it into their own shard
// database (no two nodes share one SQLite file), folded into the result store afterwards.
#pragma once

#include <string>
#include <vector>

namespace kaitoro {

struct SlurmPlan {
    std::string exe, table, db, grid;
    std::string shard_dir;   // on a file system every node sees
    std::string partition;   // empty: the cluster's default
    std::string time_limit;  // sbatch --time; empty: the partition's default
    int array_size = 1;      // tasks; task k runs rows with index % array_size == k
    int scenarios = 0;
};

// The batch script sbatch runs for every array task.
std::string slurm_job_script(const SlurmPlan& p);
// sbatch's command line for that script (saved at `script_path`); `wait` blocks until the
// whole array has ended.
std::vector<std::string> slurm_sbatch_args(const SlurmPlan& p, const std::string& script_path,
                                           bool wait);
// The shard databases in a folder (shard_<task>.sqlite), in task order.
std::vector<std::string> slurm_shard_paths(const std::string& dir);

// Runs a program (found on PATH) and collects its standard output; false when it cannot be
// started or exits non-zero, with `error` naming the reason.
bool run_program(const std::vector<std::string>& args, std::string* out, std::string* error);

// `s` quoted for a POSIX shell.
std::string shell_quote(const std::string& s);

}  // namespace kaitoro
