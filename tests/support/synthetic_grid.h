// Synthetic grid files for tests and benchmarks: encoded with the real file layout and loaded
// through the real loader, so every test exercises the same path as the program.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "core/grid.h"

namespace kaitoro::testing {

struct GridSpec {
    std::uint32_t nx = 0;
    std::uint32_t ny = 0;
    std::vector<float> depth;  // nx * ny, row 0 first; > 0 is sea
    std::vector<std::int32_t> station_cell;
    std::vector<std::int32_t> station_zone;

    float& at(int x, int y) { return depth[std::size_t(y) * nx + x]; }
    void add_station(int x, int y, int zone) {
        station_cell.push_back(y * int(nx) + x);
        station_zone.push_back(zone);
    }
};

// Open sea of one depth.
GridSpec make_ocean(std::uint32_t nx, std::uint32_t ny, float depth_m);
// Sets every cell of the inclusive rectangle to depth (<= 0 makes land).
void fill_rect(GridSpec& g, int x0, int y0, int x1, int y1, float depth_m);
// Adds a station (zone given by zone_of(x, y)) on every sea cell that touches land
// 4-neighbourly, numbered in row-major order from row 0.
void add_coastal_stations(GridSpec& g, int (*zone_of)(int x, int y));
// The desktop tests' map: 120 x 80 cells 4000 m deep, land in columns 0..9, stations on
// column 10 at rows 20, 30 and 40 (zones 11, 12, 13).
GridSpec three_station_coast();
// The end-to-end runs' small sea: 60 x 40 cells 2000 m deep, land in columns 0..8, a station
// on every coastal cell (zone 12 above row 20, 11 from it), written as a grid file to `path`.
bool write_west_coast_grid(const std::string& path);

// A full-size stand-in for the bundled grid until the real one is used: an ocean basin with a
// continental coast in the west, an island arc with one-cell straits, a trench, lakes and
// thousands of coastal stations. Deterministic for a given seed.
GridSpec make_realistic_grid(std::uint32_t nx = 851, std::uint32_t ny = 539,
                             std::uint32_t seed = 1);

// The exact bytes of a grid file.
std::vector<std::uint8_t> encode_grid_file(const GridSpec& g);
bool write_file_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes);
bool write_text_file(const std::string& path, const std::string& text);
std::string read_file_text(const std::string& path);

// A fresh directory under the system temp dir, removed when the object goes away.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Makes `dir` the working directory for the lifetime of the object.
class ScopedChdir {
public:
    explicit ScopedChdir(const std::string& dir) : old_(std::filesystem::current_path()) {
        std::filesystem::current_path(dir);
    }
    ~ScopedChdir() { std::filesystem::current_path(old_); }

private:
    std::filesystem::path old_;
};

// Writes the grid layout to a temp file and loads it with load_grid_data.
GridData load_spec(const GridSpec& g);

}  // namespace kaitoro::testing
