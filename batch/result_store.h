// The ensemble's result store: one SQLite database holding every scenario's parameters and
// outcome, its per-station maxima and arrivals and its per-zone maxima.
//
// Each scenario is written in one transaction (its row with the station and zone rows), so a
// killed run never leaves half a scenario; a scenario's row exists only once it is finished
// (done or failed). The database runs in WAL mode on a local disk (rollback journal on a
// network file system) with a generous busy timeout, so the processes of one batch write to
// it side by side.
#pragma once

#include <map>
#include <string>
#include <vector>

struct sqlite3;

namespace kaitoro {

struct StationResult {
    int station_no = 0, zone_id = 0, grid_x = 0, grid_y = 0;
    double max_height_m = 0;
    int arrival_s = 0;
};

struct ZoneResult {
    int zone_id = 0;
    double max_height_m = 0;
    int station_no_of_max = 0, arrival_s = 0, station_count = 0;
};

struct ScenarioRecord {
    std::string id;
    int line = 0;
    std::string params;
    std::string kind;  // fault, mw, rect
    double lat = 0, lon = 0, depth_km = 0, mw = 0, hours = 0;
    int true_speed = 0;
    std::string status;  // "done" or "failed"
    std::string error;
    double wall_s = 0, solver_s = 0;
    std::string version;
    std::vector<StationResult> stations;
    std::vector<ZoneResult> zones;
};

struct RecordedScenario {
    std::string status, params;
};

class ResultStore {
  public:
    ResultStore() = default;
    ~ResultStore();
    ResultStore(const ResultStore&) = delete;
    ResultStore& operator=(const ResultStore&) = delete;

    // Opens (creating when missing) and sets up the schema; false with `error` on failure.
    bool open(const std::string& path, std::string* error);
    // Opens an existing database for reading only.
    bool open_read_only(const std::string& path, std::string* error);
    sqlite3* db() const { return db_; }

    // Every finished scenario by id.
    std::map<std::string, RecordedScenario> recorded(std::string* error) const;
    // Replaces the scenario (row, stations, zones) in one transaction.
    bool write(const ScenarioRecord& r, std::string* error);
    // Every scenario row with its zone rows (stations too when asked), ordered by id.
    bool read_all(std::vector<ScenarioRecord>* out, bool with_stations, std::string* error) const;

  private:
    bool exec(const char* sql, std::string* error) const;
    sqlite3* db_ = nullptr;
};

struct MergeCounts {
    int added = 0, replaced = 0, unchanged = 0, conflicts = 0;
};
// Folds a shard database into the store: a scenario missing from the store is added, a
// failed one replaced by the shard's finished run; identical ones are left alone (so merging
// twice changes nothing). A scenario done in both with different parameters is a conflict:
// it is kept as it is and counted.
bool result_store_merge(ResultStore* into, const std::string& shard_path, MergeCounts* counts,
                        std::string* error);

// The program version every scenario row carries.
const char* kaitoro_version();

}  // namespace kaitoro
