// kaitoro-cli merge: folds the shard databases of a cluster run into the result database.
#include <cstdio>
#include <filesystem>
#include <string>

#include "batch/result_store.h"
#include "batch/slurm.h"
#include "cli/options.h"

namespace kaitoro::cli {

int cmd_merge(int argc, char** argv) {
    std::string db;
    std::vector<std::string> shards;
    for (OptionCursor c(argc, argv); c.next();) {
        const std::string& a = c.arg();
        if (c.is("--db")) {
            db = c.value();
        } else if (c.positional()) {
            std::error_code ec;
            if (std::filesystem::is_directory(a, ec)) {
                const std::vector<std::string> in_dir = slurm_shard_paths(a);
                if (in_dir.empty()) {
                    std::fprintf(stderr, "Error: %s holds no shard_<task>.sqlite\n", a.c_str());
                    return 1;
                }
                shards.insert(shards.end(), in_dir.begin(), in_dir.end());
            } else
                shards.push_back(a);
        } else
            c.unknown("unknown option for merge: ");
    }
    if (db.empty() || shards.empty()) throw UsageError{"merge needs --db FILE and SHARD|DIR..."};
    return merge_shards_into(db, shards);
}

int merge_shards_into(const std::string& db, const std::vector<std::string>& shards) {
    ResultStore store;
    std::string error;
    if (!store.open(db, &error)) {
        std::fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    MergeCounts c;
    for (const std::string& s : shards) {
        if (!result_store_merge(&store, s, &c, &error)) {
            std::fprintf(stderr, "Error: could not merge %s: %s\n", s.c_str(), error.c_str());
            return 1;
        }
    }
    std::printf(
        "Merged %zu shard(s) into %s: %d scenario(s) added, %d replaced, %d unchanged, "
        "%d conflicting (kept).\n",
        shards.size(), db.c_str(), c.added, c.replaced, c.unchanged, c.conflicts);
    return 0;
}

}  // namespace kaitoro::cli
