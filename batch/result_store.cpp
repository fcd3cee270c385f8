#include "batch/result_store.h"

#include <sqlite3.h>
#include <sys/vfs.h>

#include <type_traits>

namespace kaitoro {

#ifndef KAITORO_VERSION
#define KAITORO_VERSION "unknown"
#endif
const char* kaitoro_version() {
    return KAITORO_VERSION;
}

namespace {

const char kSchema[] =
    "CREATE TABLE IF NOT EXISTS scenarios("
    " id TEXT PRIMARY KEY, line INTEGER, params TEXT NOT NULL, kind TEXT,"
    " lat REAL, lon REAL, depth_km REAL, mw REAL, hours REAL, true_speed INTEGER,"
    " status TEXT NOT NULL, error TEXT, wall_s REAL, solver_s REAL, version TEXT);"
    "CREATE TABLE IF NOT EXISTS station_results("
    " scenario_id TEXT NOT NULL, station_no INTEGER NOT NULL, zone_id INTEGER,"
    " grid_x INTEGER, grid_y INTEGER, max_height_m REAL, arrival_s INTEGER,"
    " PRIMARY KEY(scenario_id, station_no)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS zone_results("
    " scenario_id TEXT NOT NULL, zone_id INTEGER NOT NULL, max_height_m REAL,"
    " station_no_of_max INTEGER, arrival_s INTEGER, station_count INTEGER,"
    " PRIMARY KEY(scenario_id, zone_id)) WITHOUT ROWID;";

// A prepared statement that finalizes itself.
struct Stmt {
    sqlite3_stmt* s = nullptr;
    Stmt(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &s, nullptr); }
    ~Stmt() { sqlite3_finalize(s); }
    void text(int i, const std::string& v) {
        sqlite3_bind_text(s, i, v.c_str(), int(v.size()), SQLITE_TRANSIENT);
    }
    void num(int i, double v) { sqlite3_bind_double(s, i, v); }
    void integer(int i, long long v) { sqlite3_bind_int64(s, i, v); }
    // Binds the values to consecutive parameters from `first`, each by its type.
    template <class... V>
    void bind_from(int first, const V&... values) {
        int i = first;
        auto one = [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_integral_v<T>)
                integer(i++, v);
            else if constexpr (std::is_floating_point_v<T>)
                num(i++, v);
            else
                text(i++, v);
        };
        (one(values), ...);
    }
    std::string col_text(int i) const {
        const unsigned char* t = sqlite3_column_text(s, i);
        return t ? reinterpret_cast<const char*>(t) : "";
    }
    // One row of an INSERT; resets for the next.
    bool step_done() {
        const bool ok = sqlite3_step(s) == SQLITE_DONE;
        sqlite3_reset(s);
        return ok;
    }
};

// The per-scenario child tables (stations, zones) are written and read the same way: one row
// per item under the scenario's id, the columns after the id filled by the caller.
template <class Row, class Bind>
bool insert_rows(Stmt& q, const std::string& id, const std::vector<Row>& rows, Bind bind) {
    for (const Row& row : rows) {
        q.text(1, id);
        bind(q, row);
        if (!q.step_done()) return false;
    }
    return true;
}

template <class Take>
void read_rows(Stmt& q, const std::string& id, Take take) {
    q.text(1, id);
    while (sqlite3_step(q.s) == SQLITE_ROW) take(q.s);
    sqlite3_reset(q.s);
}

// WAL needs shared memory between the writers, which cluster file systems do not give across
// nodes; there the store keeps SQLite's rollback journal, whose file locks they do support.
bool on_network_file_system(const std::string& db_path) {
    const std::size_t slash = db_path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : db_path.substr(0, slash + 1);
    struct statfs fs {};
    if (statfs(dir.c_str(), &fs) != 0) return false;
    switch (static_cast<unsigned long>(fs.f_type)) {
        case 0x6969:      // NFS
        case 0xFF534D42:  // CIFS
        case 0xFE534D42:  // SMB2
        case 0x0BD00BD0:  // Lustre
        case 0x47504653:  // GPFS
        case 0x19830326:  // BeeGFS
        case 0x65735546:  // FUSE
            return true;
        default:
            return false;
    }
}

}  // namespace

ResultStore::~ResultStore() {
    sqlite3_close(db_);
}

bool ResultStore::exec(const char* sql, std::string* error) const {
    char* msg = nullptr;
    if (sqlite3_exec(db_, sql, nullptr, nullptr, &msg) == SQLITE_OK) return true;
    if (error) *error = msg ? msg : sqlite3_errmsg(db_);
    sqlite3_free(msg);
    return false;
}

bool ResultStore::open(const std::string& path, std::string* error) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        *error = path + ": " + (db_ ? sqlite3_errmsg(db_) : "out of memory");
        return false;
    }
    // Several processes of one batch write here at once; each waits its turn.
    sqlite3_busy_timeout(db_, 120000);
    const char* journal = on_network_file_system(path)
                              ? "PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL;"
                              : "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;";
    if (!exec(journal, error) || !exec(kSchema, error)) {
        *error = path + ": " + *error;
        return false;
    }
    return true;
}

bool ResultStore::open_read_only(const std::string& path, std::string* error) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        *error = path + ": " + (db_ ? sqlite3_errmsg(db_) : "out of memory");
        return false;
    }
    sqlite3_busy_timeout(db_, 120000);
    // A file that is not a result store fails here rather than half-way through a query.
    Stmt check(db_, "SELECT count(*) FROM scenarios");
    if (!check.s || sqlite3_step(check.s) != SQLITE_ROW) {
        *error = path + ": not a Kaitoro result database (" + sqlite3_errmsg(db_) + ")";
        return false;
    }
    return true;
}

std::map<std::string, RecordedScenario> ResultStore::recorded(std::string* error) const {
    std::map<std::string, RecordedScenario> out;
    Stmt q(db_, "SELECT id, status, params FROM scenarios");
    while (q.s && sqlite3_step(q.s) == SQLITE_ROW)
        out[q.col_text(0)] = {q.col_text(1), q.col_text(2)};
    if (!q.s && error) *error = sqlite3_errmsg(db_);
    return out;
}

bool ResultStore::write(const ScenarioRecord& r, std::string* error) {
    if (!exec("BEGIN IMMEDIATE", error)) return false;
    bool ok = true;
    {
        Stmt del1(db_, "DELETE FROM station_results WHERE scenario_id=?1");
        Stmt del2(db_, "DELETE FROM zone_results WHERE scenario_id=?1");
        Stmt ins(db_,
                 "INSERT OR REPLACE INTO scenarios(id,line,params,kind,lat,lon,depth_km,mw,hours,"
                 "true_speed,status,error,wall_s,solver_s,version) "
                 "VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,?15)");
        Stmt st(db_, "INSERT INTO station_results VALUES(?1,?2,?3,?4,?5,?6,?7)");
        Stmt zn(db_, "INSERT INTO zone_results VALUES(?1,?2,?3,?4,?5,?6)");
        ok = del1.s && del2.s && ins.s && st.s && zn.s;
        if (ok) {
            del1.text(1, r.id);
            del2.text(1, r.id);
            ok = del1.step_done() && del2.step_done();
        }
        if (ok) {
            ins.bind_from(1, r.id, r.line, r.params, r.kind, r.lat, r.lon, r.depth_km, r.mw,
                          r.hours, r.true_speed, r.status, r.error, r.wall_s, r.solver_s,
                          r.version);
            ok = ins.step_done();
        }
        const auto station = [](Stmt& q, const StationResult& t) {
            q.bind_from(2, t.station_no, t.zone_id, t.grid_x, t.grid_y, t.max_height_m,
                        t.arrival_s);
        };
        const auto zone = [](Stmt& q, const ZoneResult& z) {
            q.bind_from(2, z.zone_id, z.max_height_m, z.station_no_of_max, z.arrival_s,
                        z.station_count);
        };
        ok = ok && insert_rows(st, r.id, r.stations, station) &&
             insert_rows(zn, r.id, r.zones, zone);
    }
    if (!ok) {
        if (error) *error = sqlite3_errmsg(db_);
        exec("ROLLBACK", nullptr);
        return false;
    }
    return exec("COMMIT", error);
}

bool ResultStore::read_all(std::vector<ScenarioRecord>* out, bool with_stations,
                           std::string* error) const {
    out->clear();
    Stmt q(db_,
           "SELECT id,line,params,kind,lat,lon,depth_km,mw,hours,true_speed,status,error,wall_s,"
           "solver_s,version FROM scenarios ORDER BY id");
    Stmt zq(db_,
            "SELECT zone_id,max_height_m,station_no_of_max,arrival_s,station_count FROM "
            "zone_results WHERE scenario_id=?1 ORDER BY zone_id");
    Stmt sq(db_,
            "SELECT station_no,zone_id,grid_x,grid_y,max_height_m,arrival_s FROM station_results "
            "WHERE scenario_id=?1 ORDER BY station_no");
    if (!q.s || !zq.s || !sq.s) {
        *error = sqlite3_errmsg(db_);
        return false;
    }
    while (sqlite3_step(q.s) == SQLITE_ROW) {
        ScenarioRecord r;
        r.id = q.col_text(0);
        r.line = sqlite3_column_int(q.s, 1);
        r.params = q.col_text(2);
        r.kind = q.col_text(3);
        r.lat = sqlite3_column_double(q.s, 4);
        r.lon = sqlite3_column_double(q.s, 5);
        r.depth_km = sqlite3_column_double(q.s, 6);
        r.mw = sqlite3_column_double(q.s, 7);
        r.hours = sqlite3_column_double(q.s, 8);
        r.true_speed = sqlite3_column_int(q.s, 9);
        r.status = q.col_text(10);
        r.error = q.col_text(11);
        r.wall_s = sqlite3_column_double(q.s, 12);
        r.solver_s = sqlite3_column_double(q.s, 13);
        r.version = q.col_text(14);
        read_rows(zq, r.id, [&](sqlite3_stmt* z) {
            r.zones.push_back({sqlite3_column_int(z, 0), sqlite3_column_double(z, 1),
                               sqlite3_column_int(z, 2), sqlite3_column_int(z, 3),
                               sqlite3_column_int(z, 4)});
        });
        if (with_stations) {
            read_rows(sq, r.id, [&](sqlite3_stmt* t) {
                r.stations.push_back({sqlite3_column_int(t, 0), sqlite3_column_int(t, 1),
                                      sqlite3_column_int(t, 2), sqlite3_column_int(t, 3),
                                      sqlite3_column_double(t, 4), sqlite3_column_int(t, 5)});
            });
        }
        out->push_back(std::move(r));
    }
    return true;
}

bool result_store_merge(ResultStore* into, const std::string& shard_path, MergeCounts* counts,
                        std::string* error) {
    ResultStore shard;
    if (!shard.open_read_only(shard_path, error)) return false;
    std::vector<ScenarioRecord> rows;
    if (!shard.read_all(&rows, true, error)) return false;
    std::map<std::string, RecordedScenario> have = into->recorded(error);
    for (const ScenarioRecord& r : rows) {
        const auto it = have.find(r.id);
        if (it != have.end()) {
            const bool same = it->second.params == r.params;
            if (same && (it->second.status == "done" || r.status != "done")) {
                ++counts->unchanged;
                continue;
            }
            if (!same && it->second.status == "done") {
                ++counts->conflicts;
                continue;
            }
        }
        if (!into->write(r, error)) return false;
        ++(it == have.end() ? counts->added : counts->replaced);
    }
    return true;
}

}  // namespace kaitoro
