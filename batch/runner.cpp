#include "batch/runner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

namespace kaitoro {

namespace {

volatile sig_atomic_t g_batch_stop = 0;
void on_stop_signal(int) {
    g_batch_stop = 1;
}

struct Running {
    const Scenario* s = nullptr;
    std::string log;
    std::chrono::steady_clock::time_point t0;
};

// The last few non-empty lines a failed process printed: its error message.
std::string log_tail(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) {
        const std::size_t cr = l.rfind('\r');  // progress lines rewrite themselves
        if (cr != std::string::npos) l = l.substr(cr + 1);
        if (!l.empty()) lines.push_back(l);
    }
    std::string out;
    for (std::size_t k = lines.size() > 3 ? lines.size() - 3 : 0; k < lines.size(); ++k)
        out += (out.empty() ? "" : "\n") + lines[k];
    if (out.size() > 1000) out = out.substr(out.size() - 1000);
    return out;
}

}  // namespace

void scenario_fill_record(const Scenario& s, ScenarioRecord* r) {
    r->id = s.id;
    r->line = s.line;
    r->params = s.params;
    r->kind = s.kind == ScenarioKind::FaultFile   ? "fault"
              : s.kind == ScenarioKind::Magnitude ? "mw"
                                                  : "rect";
    r->lat = s.fault.lat_deg;
    r->lon = s.fault.lon_deg;
    r->depth_km = s.fault.depth_km;
    r->mw = s.mw;
    r->hours = s.hours;
    r->true_speed = s.true_speed ? 1 : 0;
    r->version = kaitoro_version();
}

ScenarioRecord scenario_failure_record(const Scenario& s, const std::string& error) {
    ScenarioRecord r;
    scenario_fill_record(s, &r);
    r.status = "failed";
    r.error = error;
    return r;
}

std::vector<const Scenario*> batch_pending(const BatchPlan& plan, const ScenarioTable& table,
                                           ResultStore* store, BatchCounts* counts) {
    const auto have = store->recorded(nullptr);
    std::vector<const Scenario*> out;
    for (std::size_t k = 0; k < table.scenarios.size(); ++k) {
        if (int(k % std::size_t(plan.slice_count)) != plan.slice_index) continue;
        const Scenario& s = table.scenarios[k];
        ++counts->selected;
        const auto it = have.find(s.id);
        // A row whose parameters changed since it was stored runs again and replaces it.
        if (it != have.end() && it->second.params == s.params &&
            (it->second.status == "done" || !plan.retry_failed)) {
            ++counts->skipped;
            continue;
        }
        out.push_back(&s);
    }
    return out;
}

bool batch_run(const BatchPlan& plan, const std::vector<const Scenario*>& pending,
               ResultStore* store, BatchCounts* counts, std::string* error) {
    char dir_template[] = "/tmp/kaitoro-batch-XXXXXX";
    const char* tmp = std::getenv("TMPDIR");
    std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/kaitoro-batch-XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    const char* logs = mkdtemp(buf.data());
    if (!logs) logs = mkdtemp(dir_template);
    if (!logs) {
        *error =
            std::string("could not create a folder for the scenario logs: ") + std::strerror(errno);
        return false;
    }
    const std::string log_dir = logs;

    struct sigaction sa {
    }, old_int{}, old_term{};
    sa.sa_handler = on_stop_signal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, &old_int);
    sigaction(SIGTERM, &sa, &old_term);
    g_batch_stop = 0;

    const auto t0 = std::chrono::steady_clock::now();
    std::map<pid_t, Running> running;
    std::size_t next = 0;
    const int total = int(pending.size());
    int finished = 0;
    bool ok = true, forwarded = false;
    auto report = [&](const Scenario& s, const char* what, double secs) {
        const double mins =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count() / 60.0;
        const double rate = mins > 0 ? finished / mins : 0;
        const double left = rate > 0 ? (total - finished) / rate : 0;
        if (plan.progress_tty)
            std::fprintf(stderr,
                         "\r\033[K[%d/%d] %d done, %d failed, %zu running; %.1f scenarios/min, "
                         "about %.0f min left",
                         finished, total, counts->done, counts->failed, running.size(), rate, left);
        else
            std::fprintf(stderr, "[%d/%d] %s %s in %.1f s; %.1f scenarios/min\n", finished, total,
                         s.id.c_str(), what, secs, rate);
        std::fflush(stderr);
    };

    while (ok && (next < pending.size() || !running.empty())) {
        while (ok && !g_batch_stop && next < pending.size() && int(running.size()) < plan.jobs) {
            const Scenario& s = *pending[next++];
            Running r;
            r.s = &s;
            r.log = log_dir + "/" + std::to_string(next) + ".log";
            r.t0 = std::chrono::steady_clock::now();
            std::vector<std::string> args = {plan.exe, "run-scenario", plan.table, "--id",   s.id,
                                             "--db",   plan.db,        "--grid",   plan.grid};
            const pid_t pid = fork();
            if (pid == 0) {
                const int fd = ::open(r.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                if (fd >= 0) {
                    dup2(fd, 1);
                    dup2(fd, 2);
                    close(fd);
                }
                // Parallel scenarios already fill the cores: each steps on one thread unless the
                // user chose otherwise (the fields are the same either way).
                if (plan.jobs > 1) setenv("OMP_NUM_THREADS", "1", 0);
                signal(SIGINT, SIG_DFL);
                signal(SIGTERM, SIG_DFL);
                std::vector<char*> argv;
                for (std::string& a : args) argv.push_back(a.data());
                argv.push_back(nullptr);
                execv(plan.exe.c_str(), argv.data());
                std::fprintf(stderr, "could not start %s: %s\n", plan.exe.c_str(),
                             std::strerror(errno));
                _exit(127);
            }
            if (pid < 0) {
                *error = std::string("could not start a scenario process: ") + std::strerror(errno);
                ok = false;
                break;
            }
            running[pid] = r;
        }
        if (running.empty()) break;
        if (g_batch_stop && !forwarded) {
            for (const auto& [pid, r] : running) kill(pid, SIGTERM);
            forwarded = true;
            counts->interrupted = true;
        }
        int status = 0;
        const pid_t pid = waitpid(-1, &status, 0);
        if (pid < 0) {
            if (errno == EINTR) continue;
            break;
        }
        const auto it = running.find(pid);
        if (it == running.end()) continue;
        const Running r = it->second;
        running.erase(it);
        ++finished;
        const double secs =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - r.t0).count();
        const bool exited_ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (exited_ok) {
            ++counts->done;
            report(*r.s, "done", secs);
        } else if (g_batch_stop && WIFSIGNALED(status)) {
            // Stopped by us: not a failure, the next batch runs it.
            --finished;
        } else {
            std::string why = log_tail(r.log);
            if (WIFSIGNALED(status))
                why += (why.empty() ? "" : "\n") + std::string("killed by signal ") +
                       std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
            if (why.empty()) why = "exit status " + std::to_string(WEXITSTATUS(status));
            ScenarioRecord f = scenario_failure_record(*r.s, why);
            f.wall_s = secs;
            if (!store->write(f, error)) ok = false;
            ++counts->failed;
            report(*r.s, "failed", secs);
        }
        std::remove(r.log.c_str());
    }
    // A store failure leaves running children to finish on their own; their rows still land.
    if (plan.progress_tty && total > 0) std::fputc('\n', stderr);
    sigaction(SIGINT, &old_int, nullptr);
    sigaction(SIGTERM, &old_term, nullptr);
    rmdir(log_dir.c_str());
    return ok;
}

}  // namespace kaitoro
