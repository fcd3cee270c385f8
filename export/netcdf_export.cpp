#include "export/netcdf_export.h"

#include <netcdf.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <vector>

#include "core/driver.h"
#include "core/geo.h"
#include "core/stations.h"
#include "core/time_series.h"
#include "export/station_rows.h"
#include "render/max_wave.h"
#include "source_design/fault_table.h"
#include "source_design/source_cell.h"

#ifndef KAITORO_VERSION
#define KAITORO_VERSION "unknown"
#endif

namespace kaitoro {

namespace {

// The projection in metres, as CF wants it (both products are exact in double).
constexpr double kCellM = kGeoCellKm * 1000.0;
constexpr double kEarthRadiusM = kGeoEarthRadiusKm * 1000.0;
constexpr int kDeflateLevel = 4;

struct Ids {
    int dim_y, dim_x, dim_time, dim_station, dim_series, dim_obs;
};

std::string utc_now_text() {
    const std::time_t t = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

// Cells that show no water: land on the map, or the hidden east strip.
bool cell_is_dry(const GridData* grid, std::size_t c) {
    return (c < grid->land.size() && grid->land[c]) || cell_is_hidden(grid, c);
}

}  // namespace

NetcdfWriter::~NetcdfWriter() {
    abandon();
}

void NetcdfWriter::abandon() {
    if (ncid_ < 0) return;
    nc_close(ncid_);
    ncid_ = -1;
    std::remove(partial_.c_str());
}

bool NetcdfWriter::check(int status, const char* what) {
    if (status == NC_NOERR) return true;
    if (error_.empty())
        error_ = "could not write NetCDF file " + path_ + ": " + what + ": " + nc_strerror(status);
    return false;
}

// Attribute helpers: every one returns the NetCDF status.
static int text_att(int nc, int var, const char* name, const std::string& value) {
    return nc_put_att_text(nc, var, name, value.size(), value.c_str());
}
static int double_att(int nc, int var, const char* name, double v) {
    return nc_put_att_double(nc, var, name, NC_DOUBLE, 1, &v);
}

bool NetcdfWriter::open(const std::string& path, const GridData* grid, const NetcdfRunInfo& info) {
    abandon();
    error_.clear();
    path_ = path;
    partial_ = path + ".partial";
    snapshots_ = 0;
    if (grid->nx == 0 || grid->ny == 0) {
        error_ = "no grid to write to " + path;
        return false;
    }
    int nc = -1;
    if (!check(nc_create(partial_.c_str(), NC_NETCDF4 | NC_CLOBBER, &nc), "create")) return false;
    ncid_ = nc;

    Ids d{};
    const Simulation no_results;
    stations_ = collect_station_rows(grid, &no_results).size();
    bool ok = check(nc_def_dim(nc, "y", grid->ny, &d.dim_y), "y") &&
              check(nc_def_dim(nc, "x", grid->nx, &d.dim_x), "x") &&
              check(nc_def_dim(nc, "station", stations_, &d.dim_station), "station") &&
              check(nc_def_dim(nc, "series", g_ts_rec_count, &d.dim_series), "series") &&
              check(nc_def_dim(nc, "obs", NC_UNLIMITED, &d.dim_obs), "obs");
    if (ok && info.snapshots) ok = check(nc_def_dim(nc, "time", NC_UNLIMITED, &d.dim_time), "time");
    if (!ok) return abandon(), false;

    // Global attributes.
    const double mw = displayed_source_mw(nullptr);
    ok =
        check(text_att(nc, NC_GLOBAL, "Conventions", "CF-1.8"), "Conventions") &&
        check(text_att(nc, NC_GLOBAL, "title", "Kaitoro tsunami simulation results"), "title") &&
        check(text_att(nc, NC_GLOBAL, "institution", "Kaitoro"), "institution") &&
        check(text_att(nc, NC_GLOBAL, "source",
                       std::string("Kaitoro ") + KAITORO_VERSION + ", linear long-wave model"),
              "source") &&
        check(text_att(nc, NC_GLOBAL, "history", utc_now_text() + " " + info.history), "history") &&
        check(text_att(nc, NC_GLOBAL, "source_description", info.source_description),
              "source_description") &&
        check(double_att(nc, NC_GLOBAL, "moment_magnitude", std::round(mw * 100.0) / 100.0),
              "moment_magnitude") &&
        check(text_att(nc, NC_GLOBAL, "mode", export_mode_text()), "mode") &&
        check(text_att(nc, NC_GLOBAL, "featureType", "timeSeries"), "featureType");
    if (!ok) return abandon(), false;

    // Projection and coordinates.
    int v = -1;
    ok = check(nc_def_var(nc, "mercator", NC_INT, 0, nullptr, &v), "mercator") &&
         check(text_att(nc, v, "grid_mapping_name", "mercator"), "mercator") &&
         check(double_att(nc, v, "longitude_of_projection_origin", kGeoRefLonDeg), "mercator") &&
         check(double_att(nc, v, "standard_parallel", 0.0), "mercator") &&
         check(double_att(nc, v, "false_easting", 0.0), "mercator") &&
         check(double_att(nc, v, "false_northing", 0.0), "mercator") &&
         check(double_att(nc, v, "earth_radius", kEarthRadiusM), "mercator");
    auto def = [&](const char* name, nc_type type, std::initializer_list<int> dims, int* id,
                   bool deflate) {
        const std::vector<int> dv(dims);
        if (!check(nc_def_var(nc, name, type, int(dv.size()), dv.data(), id), name)) return false;
        return !deflate || check(nc_def_var_deflate(nc, *id, 1, 1, kDeflateLevel), name);
    };
    auto atts = [&](int id, const char* standard_name, const char* long_name, const char* units) {
        bool r = true;
        if (standard_name)
            r = r && check(text_att(nc, id, "standard_name", standard_name), long_name);
        r = r && check(text_att(nc, id, "long_name", long_name), long_name);
        if (units) r = r && check(text_att(nc, id, "units", units), long_name);
        return r;
    };
    auto grid_atts = [&](int id) {
        return check(text_att(nc, id, "grid_mapping", "mercator"), "grid_mapping") &&
               check(text_att(nc, id, "coordinates", "lat lon"), "coordinates");
    };
    auto float_fill = [&](int id) {
        return check(nc_def_var_fill(nc, id, 0, &kNetcdfFloatFill), "_FillValue");
    };
    auto int_fill = [&](int id) {
        return check(nc_def_var_fill(nc, id, 0, &kNetcdfIntFill), "_FillValue");
    };
    int id = -1;
    ok = ok && def("x", NC_DOUBLE, {d.dim_x}, &id, false) &&
         atts(id, "projection_x_coordinate", "x coordinate of projection", "m") &&
         check(text_att(nc, id, "axis", "X"), "x");
    ok = ok && def("y", NC_DOUBLE, {d.dim_y}, &id, false) &&
         atts(id, "projection_y_coordinate", "y coordinate of projection", "m") &&
         check(text_att(nc, id, "axis", "Y"), "y");
    ok = ok && def("lon", NC_DOUBLE, {d.dim_x}, &id, false) &&
         atts(id, "longitude", "longitude of the cell centre", "degrees_east");
    ok = ok && def("lat", NC_DOUBLE, {d.dim_y}, &id, false) &&
         atts(id, "latitude", "latitude of the cell centre", "degrees_north");
    if (info.snapshots) {
        ok = ok && def("time", NC_INT, {d.dim_time}, &var_time_, false) &&
             atts(var_time_, "time", "model time after the earthquake origin", "s") &&
             check(text_att(nc, var_time_, "axis", "T"), "time");
        ok = ok && def("eta", NC_FLOAT, {d.dim_time, d.dim_y, d.dim_x}, &var_eta_, true) &&
             atts(var_eta_, "sea_surface_height_above_mean_sea_level",
                  "sea-surface height as the map shows it", "m") &&
             float_fill(var_eta_) && grid_atts(var_eta_);
        if (ok) {
            const std::size_t chunks[3] = {1, grid->ny, grid->nx};
            ok = check(nc_def_var_chunking(nc, var_eta_, NC_CHUNKED, chunks), "eta chunking");
        }
    }
    ok = ok && def("max_height", NC_FLOAT, {d.dim_y, d.dim_x}, &id, true) &&
         atts(id, "sea_surface_height_above_mean_sea_level",
              "maximum sea-surface height since the origin", "m") &&
         float_fill(id) && grid_atts(id) &&
         check(text_att(nc, id, "cell_methods", "time: maximum"), "max_height");
    ok = ok && def("arrival_time", NC_INT, {d.dim_y, d.dim_x}, &id, true) &&
         atts(id, nullptr, "first arrival of the wave after the origin", "s") && int_fill(id) &&
         grid_atts(id);
    ok = ok && def("depth", NC_FLOAT, {d.dim_y, d.dim_x}, &id, true) &&
         atts(id, "sea_floor_depth_below_mean_sea_level", "water depth the solver uses", "m") &&
         grid_atts(id) && check(text_att(nc, id, "positive", "down"), "depth");
    ok = ok && def("land", NC_BYTE, {d.dim_y, d.dim_x}, &id, true) &&
         atts(id, "land_binary_mask", "land mask", "1") && grid_atts(id);
    if (ok) {
        const signed char flags[2] = {0, 1};
        ok = check(nc_put_att_schar(nc, id, "flag_values", NC_BYTE, 2, flags), "land") &&
             check(text_att(nc, id, "flag_meanings", "sea land"), "land");
    }

    // Stations: the station table's rows with their results.
    ok = ok && def("station_no", NC_INT, {d.dim_station}, &id, false) &&
         atts(id, nullptr, "station number", nullptr) &&
         check(text_att(nc, id, "cf_role", "timeseries_id"), "station_no");
    ok = ok && def("station_lat", NC_DOUBLE, {d.dim_station}, &id, false) &&
         atts(id, "latitude", "station latitude", "degrees_north");
    ok = ok && def("station_lon", NC_DOUBLE, {d.dim_station}, &id, false) &&
         atts(id, "longitude", "station longitude", "degrees_east");
    ok = ok && def("station_zone_id", NC_INT, {d.dim_station}, &id, false) &&
         atts(id, nullptr, "forecast zone id", nullptr);
    ok = ok && def("station_zone_name", NC_STRING, {d.dim_station}, &id, false) &&
         atts(id, nullptr, "forecast zone name", nullptr);
    ok = ok && def("station_max_height", NC_FLOAT, {d.dim_station}, &id, false) &&
         atts(id, nullptr, "maximum shoreline-equivalent height", "m") &&
         check(text_att(nc, id, "coordinates", "station_lat station_lon"), "station");
    ok = ok && def("station_arrival_time", NC_INT, {d.dim_station}, &id, false) &&
         atts(id, nullptr, "first arrival of 0.05 m after the origin", "s") && int_fill(id) &&
         check(text_att(nc, id, "coordinates", "station_lat station_lon"), "station");

    // Recorded series (picked stations now, virtual gauges later), ragged in obs.
    ok = ok && def("series_station_no", NC_INT, {d.dim_series}, &id, false) &&
         atts(id, nullptr, "station number of the recorded series", nullptr);
    ok = ok && def("series_lat", NC_DOUBLE, {d.dim_series}, &id, false) &&
         atts(id, "latitude", "series latitude", "degrees_north");
    ok = ok && def("series_lon", NC_DOUBLE, {d.dim_series}, &id, false) &&
         atts(id, "longitude", "series longitude", "degrees_east");
    ok = ok && def("series_time", NC_INT, {d.dim_series, d.dim_obs}, &id, true) &&
         atts(id, "time", "model time of the sample after the origin", "s") && int_fill(id);
    struct SeriesVar {
        const char* name;
        const char* long_name;
    };
    for (const SeriesVar& s : {SeriesVar{"level", "signed shoreline-equivalent sea level"},
                               SeriesVar{"positive_rise", "sea-level rise, drawdown ignored"},
                               SeriesVar{"peak_positive_rise", "running peak of the rise"}}) {
        ok = ok && def(s.name, NC_FLOAT, {d.dim_series, d.dim_obs}, &id, true) &&
             atts(id, nullptr, s.long_name, "m") && float_fill(id) &&
             check(text_att(nc, id, "coordinates", "series_time series_lat series_lon"), s.name);
    }
    if (!ok || !check(nc_enddef(nc), "enddef")) return abandon(), false;

    // Coordinates now, so a run that stops early still leaves nothing behind but the target.
    std::vector<double> xs(grid->nx), lons(grid->nx), ys(grid->ny), lats(grid->ny);
    for (std::uint32_t i = 0; i < grid->nx; ++i) {
        xs[i] = (double(i) - kGeoRefCol) * kCellM;
        lons[i] = grid_column_longitude_deg(i);
    }
    for (std::uint32_t j = 0; j < grid->ny; ++j) {
        ys[j] = (double(j) - kGeoRefRow) * kCellM + kGeoRefOrdinate * kEarthRadiusM;
        lats[j] = grid_row_latitude_deg(j);
    }
    auto put = [&](const char* name, const double* data) {
        int vid;
        return check(nc_inq_varid(nc, name, &vid), name) &&
               check(nc_put_var_double(nc, vid, data), name);
    };
    if (!put("x", xs.data()) || !put("y", ys.data()) || !put("lon", lons.data()) ||
        !put("lat", lats.data()))
        return abandon(), false;
    return true;
}

bool NetcdfWriter::add_snapshot(const GridData* grid, const Simulation* sim, int t_s) {
    if (ncid_ < 0 || var_eta_ < 0) return false;
    const std::size_t nx = grid->nx, ny = grid->ny, cells = nx * ny;
    std::vector<float> eta(cells, kNetcdfFloatFill);
    const std::vector<float>& height = current_height(*sim);
    if (height.size() >= (ny + 2) * nx)
        for (std::size_t c = 0; c < cells; ++c)
            if (!cell_is_dry(grid, c)) {
                const float h = height[c + nx];
                eta[c] = std::isfinite(h) ? h : kNetcdfFloatFill;
            }
    const std::size_t start[3] = {snapshots_, 0, 0}, count[3] = {1, ny, nx};
    const int t = t_s;
    const bool ok = check(nc_put_var1_int(ncid_, var_time_, &snapshots_, &t), "time") &&
                    check(nc_put_vara_float(ncid_, var_eta_, start, count, eta.data()), "eta");
    if (!ok) return abandon(), false;
    ++snapshots_;
    return true;
}

bool NetcdfWriter::finish(const GridData* grid, const Simulation* sim) {
    if (ncid_ < 0) {
        if (error_.empty()) error_ = "NetCDF file " + path_ + " was not open";
        return false;
    }
    const int nc = ncid_;
    const std::size_t nx = grid->nx, cells = grid->cell_count();
    const bool have_field = sim->nx == grid->nx && sim->max_height.size() >= (grid->ny + 2) * nx;
    std::vector<float> maxh(cells, kNetcdfFloatFill), depth(cells, 0.0f);
    std::vector<int> arrival(cells, kNetcdfIntFill);
    std::vector<signed char> land(cells, 0);
    for (std::size_t c = 0; c < cells; ++c) {
        land[c] = c < grid->land.size() && grid->land[c] ? 1 : 0;
        if (c < grid->effective_depth_m.size() && std::isfinite(grid->effective_depth_m[c]))
            depth[c] = grid->effective_depth_m[c];
        if (!have_field || cell_is_dry(grid, c)) continue;
        const float m = sim->max_height[c + nx];
        maxh[c] = std::isfinite(m) ? m : kNetcdfFloatFill;
        const int a = sim->arrival_s.size() > c + nx ? sim->arrival_s[c + nx] : 0;
        if (a > 0) arrival[c] = a;
    }
    auto vid = [&](const char* name) {
        int v = -1;
        check(nc_inq_varid(nc, name, &v), name);
        return v;
    };
    bool ok = check(nc_put_var_float(nc, vid("max_height"), maxh.data()), "max_height") &&
              check(nc_put_var_int(nc, vid("arrival_time"), arrival.data()), "arrival_time") &&
              check(nc_put_var_float(nc, vid("depth"), depth.data()), "depth") &&
              check(nc_put_var_schar(nc, vid("land"), land.data()), "land");

    const std::vector<StationRow> rows = collect_station_rows(grid, sim);
    if (ok && rows.size() != stations_) {
        error_ = "the station set changed while writing " + path_;
        ok = false;
    }
    if (ok && !rows.empty()) {
        std::vector<int> no, zone, arr;
        std::vector<double> lat, lon;
        std::vector<float> mx;
        std::vector<const char*> names;
        for (const StationRow& r : rows) {
            no.push_back(r.index + 1);
            zone.push_back(r.zone_id);
            arr.push_back(r.arrival_s > 0 ? r.arrival_s : kNetcdfIntFill);
            lat.push_back(r.lat);
            lon.push_back(r.lon);
            mx.push_back(r.max_m);
            names.push_back(forecast_zone_name_from_id(r.zone_id));
        }
        ok = check(nc_put_var_int(nc, vid("station_no"), no.data()), "station_no") &&
             check(nc_put_var_double(nc, vid("station_lat"), lat.data()), "station_lat") &&
             check(nc_put_var_double(nc, vid("station_lon"), lon.data()), "station_lon") &&
             check(nc_put_var_int(nc, vid("station_zone_id"), zone.data()), "zone") &&
             check(nc_put_var_string(nc, vid("station_zone_name"), names.data()), "zone name") &&
             check(nc_put_var_float(nc, vid("station_max_height"), mx.data()), "max") &&
             check(nc_put_var_int(nc, vid("station_arrival_time"), arr.data()), "arrival");
    }
    for (std::size_t k = 0; ok && k < g_ts_rec_count && k < g_ts_recorders.size(); ++k) {
        const TimeSeriesRecorder& rec = g_ts_recorders[k];
        const int nx_i = int(grid->nx);
        const long long cell =
            rec.station_index >= 0 && std::size_t(rec.station_index) < grid->station_cell.size()
                ? grid->station_cell[std::size_t(rec.station_index)]
                : -1;
        const int station_no = rec.station_index + 1;
        const double lat = grid->cell_valid(cell) ? grid_row_latitude_deg(double(cell / nx_i)) : 0;
        const double lon =
            grid->cell_valid(cell) ? grid_column_longitude_deg(double(cell % nx_i)) : 0;
        const std::size_t at[1] = {k};
        ok = check(nc_put_var1_int(nc, vid("series_station_no"), at, &station_no), "series") &&
             check(nc_put_var1_double(nc, vid("series_lat"), at, &lat), "series") &&
             check(nc_put_var1_double(nc, vid("series_lon"), at, &lon), "series");
        const std::size_t n = std::min(rec.count, rec.samples.size());
        if (!ok || n == 0) continue;
        std::vector<int> t(n);
        std::vector<float> level(n), rise(n), peak(n);
        for (std::size_t s = 0; s < n; ++s) {
            t[s] = rec.samples[s].time_s;
            level[s] = rec.samples[s].level_m;
            rise[s] = rec.samples[s].positive_rise_m;
            peak[s] = rec.samples[s].peak_positive_rise_m;
        }
        const std::size_t start[2] = {k, 0}, count[2] = {1, n};
        ok =
            check(nc_put_vara_int(nc, vid("series_time"), start, count, t.data()), "series_time") &&
            check(nc_put_vara_float(nc, vid("level"), start, count, level.data()), "level") &&
            check(nc_put_vara_float(nc, vid("positive_rise"), start, count, rise.data()), "rise") &&
            check(nc_put_vara_float(nc, vid("peak_positive_rise"), start, count, peak.data()),
                  "peak");
    }
    // The model time the grids belong to is known only now.
    const int model_time = g_time_s;
    ok = ok && check(nc_redef(nc), "redef") &&
         check(nc_put_att_int(nc, NC_GLOBAL, "model_time_s", NC_INT, 1, &model_time), "time") &&
         check(nc_enddef(nc), "enddef");
    if (!ok) return abandon(), false;
    ncid_ = -1;
    if (!check(nc_close(nc), "close")) {
        std::remove(partial_.c_str());
        return false;
    }
    std::error_code ec;
    std::filesystem::rename(partial_, path_, ec);
    if (ec) {
        error_ = "could not write NetCDF file " + path_ + ": " + ec.message();
        std::remove(partial_.c_str());
        return false;
    }
    return true;
}

bool write_netcdf_results(const std::string& path, const NetcdfRunInfo& info, std::string* error) {
    NetcdfWriter w;
    NetcdfRunInfo no_snapshots = info;
    no_snapshots.snapshots = false;
    const bool ok = w.open(path, &g_grid, no_snapshots) && w.finish(&g_grid, &g_sim);
    if (!ok && error) *error = w.error();
    return ok;
}

}  // namespace kaitoro
