"""Reads kaitoro-cli's NetCDF and GeoJSON back with netCDF4, xarray and json and compares them
with the CSV tables the same run wrote (the test grid puts its source at cell x 30, y 20).
Prints one line per mismatch; exit status 1 if any."""
import csv
import json
import math
import sys

import netCDF4
import numpy as np
import xarray as xr

out_dir, nc_path, geojson_path, snapshots, series_station = sys.argv[1:6]
errors = []


def check(cond, what):
    if not cond:
        errors.append(what)


def read_csv(path):
    with open(path, encoding="utf-8-sig", newline="") as f:
        return [r for r in csv.reader(f) if r and not r[0].startswith("#")]


stations = read_csv(out_dir + "/tsunami_station_points.csv")
head, rows = stations[0], stations[1:]
col = {name: i for i, name in enumerate(head)}

# The station table, cell for cell, through netCDF4 (masked arrival = CSV 0).
nc = netCDF4.Dataset(nc_path)
check(nc.Conventions == "CF-1.8", "Conventions")
check(nc.mode == "documented coupling", "mode " + nc.mode)
check(nc.featureType == "timeSeries", "featureType")
check(nc.source.startswith("Kaitoro "), "source")
check("--netcdf" in nc.history, "history lacks the command line")
check(nc.data_model == "NETCDF4", "data model " + nc.data_model)
check(nc["max_height"].filters()["zlib"], "max_height not deflated")
check(len(nc.dimensions["station"]) == len(rows), "station count")
for k, r in enumerate(rows):
    check(int(nc["station_no"][k]) == int(r[col["station_no"]]), f"station_no row {k}")
    check(int(nc["station_zone_id"][k]) == int(r[col["forecast_zone_id"]]), f"zone row {k}")
    check(nc["station_zone_name"][k] == r[col["forecast_zone_name"]], f"zone name row {k}")
    check("%.6g" % float(nc["station_max_height"][k]) == r[col["max_height_m"]], f"max row {k}")
    a = nc["station_arrival_time"][k]
    check((0 if np.ma.is_masked(a) else int(a)) == int(r[col["arrival_s"]]), f"arrival row {k}")
    gx, gy = int(r[col["grid_x"]]), int(r[col["grid_y"]])
    check(nc["station_lon"][k] == nc["lon"][gx], f"station lon row {k}")
    check(nc["station_lat"][k] == nc["lat"][gy], f"station lat row {k}")

# Grid attributes, as a CF reader needs them.
for name, std, units in [("max_height", "sea_surface_height_above_mean_sea_level", "m"),
                         ("depth", "sea_floor_depth_below_mean_sea_level", "m"),
                         ("lat", "latitude", "degrees_north"),
                         ("lon", "longitude", "degrees_east"),
                         ("land", "land_binary_mask", "1")]:
    v = nc[name]
    check(v.standard_name == std, name + " standard_name")
    check(v.units == units, name + " units")
for name in ["max_height", "arrival_time", "eta"]:
    check(hasattr(nc[name], "_FillValue"), name + " _FillValue")
    check(nc[name].grid_mapping == "mercator", name + " grid_mapping")
check(nc["mercator"].grid_mapping_name == "mercator", "grid mapping")
nc.close()

# The same file through xarray: rows south to north, land and unreached cells masked.
ds = xr.open_dataset(nc_path)
check(bool((np.diff(ds.lat.values) > 0).all()), "lat not increasing northward")
check(bool((np.diff(ds.lon.values) > 0).all()), "lon not increasing eastward")
land = ds.land.values == 1
check(bool(np.isnan(ds.max_height.values[land]).all()), "max_height not masked on land")
# Open sea west of the hidden east-edge strip holds values; the source cell is the highest.
check(bool(np.isfinite(ds.max_height.values[:, :-1][~land[:, :-1]]).all()),
      "max_height masked at sea")
check(float(ds.max_height.values[20, 30]) == float(ds.max_height.max()), "max not at the source")
check(int(ds.sizes["time"]) == int(snapshots), "snapshot count %d" % ds.sizes["time"])
check(ds.time.values[0] == 0, "first snapshot time")
check(float(ds.eta.isel(time=-1).max()) > 0.01, "last snapshot flat")
arr = ds.arrival_time.values
check(bool(np.nanmin(arr) > 0), "arrival of 0 not masked")

# The picked station's series against its time-series CSV, sample for sample.
series = read_csv(out_dir + "/station_%04d_timeseries.csv" % int(series_station))
check(int(ds.series_station_no.values[0]) == int(series_station), "series station number")
n = len(series) - 1
t = ds.series_time.values[0]
level = ds.level.values[0]
check(int(np.isfinite(t).sum()) == n, "series length %d vs %d" % (np.isfinite(t).sum(), n))
for k, r in enumerate(series[1:]):
    check(int(t[k]) == int(r[0]), f"series time {k}")
    check("%.8f" % level[k] == r[3], f"series level {k}: {level[k]:.8f} vs {r[3]}")

# GeoJSON: every station row once, zones with their maximum and members.
with open(geojson_path, encoding="utf-8") as f:
    gj = json.load(f)
feats = gj["features"]
pts = [f for f in feats if f["properties"]["feature"] == "station"]
zones = [f for f in feats if f["properties"]["feature"] == "forecast_zone"]
check(len(pts) == len(rows), "geojson station count")
for f, r in zip(pts, rows):
    p = f["properties"]
    check(f["geometry"]["type"] == "Point", "geometry")
    check(p["station_no"] == int(r[col["station_no"]]), "geojson station_no")
    check(p["forecast_zone_name"] == r[col["forecast_zone_name"]], "geojson zone name")
    check("%.6g" % p["max_height_m"] == r[col["max_height_m"]], "geojson max")
    check(p["arrival_s"] == int(r[col["arrival_s"]]), "geojson arrival")
    check(p["color_bin"] == r[col["color_bin"]], "geojson bin")
    check(p["color_hex"] == r[col["color_hex"]], "geojson hex")
zrows = read_csv(out_dir + "/tsunami_station_points_forecast_zones.csv")
zmax = {int(r[0]): (r[2], int(r[4]), int(r[9])) for r in zrows[1:]}
check(len(zones) == sum(1 for v in zmax.values() if v[2] > 0), "geojson zone count")
for f in zones:
    p = f["properties"]
    want = zmax[p["forecast_zone_id"]]
    check(f["geometry"]["type"] == "MultiPoint", "zone geometry")
    check(len(f["geometry"]["coordinates"]) == want[2] == p["station_count"], "zone members")
    check(("%.6g" % p["max_height_m"], p["station_no_of_max"]) == want[:2], "zone max")

for e in errors[:20]:
    print(e)
print("checked %d stations, %d zones, %d samples; %d mismatches" % (len(rows), len(zones), n,
                                                                    len(errors)))
sys.exit(1 if errors else 0)
