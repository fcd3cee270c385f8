#include "batch/slurm.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace kaitoro {

std::string shell_quote(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string slurm_job_script(const SlurmPlan& p) {
    std::string s = "#!/bin/bash\n";
    s += "#SBATCH --job-name=kaitoro-batch\n";
    s += "#SBATCH --output=" + p.shard_dir + "/task_%a.log\n";
    s += "# " + std::to_string(p.scenarios) + " scenarios of " + p.table + " in " +
         std::to_string(p.array_size) + " slices; merge with: kaitoro-cli merge --db " + p.db +
         " " + p.shard_dir + "\n";
    s += "set -eu\n";
    s += "task=${SLURM_ARRAY_TASK_ID:?run me as a Slurm array task}\n";
    // One solver thread per scenario process: the task's CPUs go to parallel scenarios.
    s += "export OMP_NUM_THREADS=${OMP_NUM_THREADS:-1}\n";
    s += "exec " + shell_quote(p.exe) + " batch " + shell_quote(p.table) + " --db " +
         shell_quote(p.shard_dir + "/shard_") + "\"$task\".sqlite --grid " + shell_quote(p.grid) +
         " --jobs \"${SLURM_CPUS_PER_TASK:-1}\" --slice \"$task/" + std::to_string(p.array_size) +
         "\"\n";
    return s;
}

std::vector<std::string> slurm_sbatch_args(const SlurmPlan& p, const std::string& script_path,
                                           bool wait) {
    std::vector<std::string> a = {"sbatch", "--parsable",
                                  "--array=0-" + std::to_string(p.array_size - 1)};
    if (!p.partition.empty()) a.push_back("--partition=" + p.partition);
    if (!p.time_limit.empty()) a.push_back("--time=" + p.time_limit);
    if (wait) a.push_back("--wait");
    a.push_back(script_path);
    return a;
}

std::vector<std::string> slurm_shard_paths(const std::string& dir) {
    std::vector<std::pair<long, std::string>> found;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(dir, ec)) {
        const std::string name = e.path().filename().string();
        if (name.rfind("shard_", 0) != 0 || name.size() <= 13 ||
            name.compare(name.size() - 7, 7, ".sqlite") != 0)
            continue;
        const std::string num = name.substr(6, name.size() - 13);
        if (num.find_first_not_of("0123456789") != std::string::npos) continue;
        found.push_back({std::stol(num), e.path().string()});
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> out;
    for (auto& f : found) out.push_back(f.second);
    return out;
}

bool run_program(const std::vector<std::string>& args, std::string* out, std::string* error) {
    int fds[2];
    if (pipe(fds) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        std::vector<char*> argv;
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        std::fprintf(stderr, "%s: %s\n", args[0].c_str(), std::strerror(errno));
        _exit(127);
    }
    close(fds[1]);
    if (pid < 0) {
        close(fds[0]);
        *error = std::strerror(errno);
        return false;
    }
    char buf[4096];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) != 0;) {
        if (n < 0) {
            if (errno == EINTR) continue;
            break;
        }
        out->append(buf, std::size_t(n));
    }
    close(fds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    *error = args[0] + (WIFEXITED(status)
                            ? (WEXITSTATUS(status) == 127
                                   ? " could not be started"
                                   : " exited with status " + std::to_string(WEXITSTATUS(status)))
                            : " was killed by a signal");
    return false;
}

}  // namespace kaitoro
