#include "core/grid.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/solver.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::encode_grid_file;
using testing::GridSpec;
using testing::load_spec;
using testing::make_ocean;
using testing::TempDir;
using testing::write_file_bytes;

class GridFileFaults : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    // Loads bytes from a file in a child process; the child exits 0 when loading succeeds.
    static void load_bytes(const std::vector<std::uint8_t>& bytes) {
        TempDir dir;
        const std::string path = dir.file("g.bin");
        write_file_bytes(path, bytes);
        load_grid_data(path.c_str());
        std::exit(0);
    }
    GridSpec spec_ = [] {
        GridSpec g = make_ocean(6, 5, 100.0f);
        g.add_station(1, 1, 11);
        g.add_station(2, 2, 12);
        return g;
    }();
};

TEST_F(GridFileFaults, TruncationAtEverySectionGivesTheSectionsMessage) {
    const auto full = encode_grid_file(spec_);
    const std::size_t cells = 30, stations = 2;
    struct Cut {
        std::size_t size;
        const char* message;
    };
    const Cut cuts[] = {
        {0, "data file is truncated"},
        {15, "data file is truncated"},
        {16, "data file header is truncated"},
        {27, "data file header is truncated"},
        {28, "data file body is truncated"},
        {28 + 4 * cells - 1, "data file body is truncated"},
        {28 + 5 * cells - 1, "data file body is truncated"},
        {28 + 5 * cells + 4 * stations, "data file body is truncated"},
        {full.size() - 1, "data file body is truncated"},
    };
    for (const Cut& cut : cuts) {
        std::vector<std::uint8_t> bytes(full.begin(), full.begin() + std::ptrdiff_t(cut.size));
        EXPECT_EXIT(load_bytes(bytes), ::testing::ExitedWithCode(1),
                    std::string("^Error: ") + cut.message + "\n$")
            << "cut at " << cut.size;
    }
    EXPECT_EXIT(load_bytes(full), ::testing::ExitedWithCode(0), "");
}

TEST_F(GridFileFaults, MagicIsComparedOnItsFirstFourteenBytesOnly) {
    auto bytes = encode_grid_file(spec_);
    bytes[14] = 'X';
    bytes[15] = 'Y';
    EXPECT_EXIT(load_bytes(bytes), ::testing::ExitedWithCode(0), "");
    bytes[13] = '2';
    EXPECT_EXIT(load_bytes(bytes), ::testing::ExitedWithCode(1),
                "^Error: data file magic does not match TSUNAMI_SIM_V1\n$");
    bytes = encode_grid_file(spec_);
    bytes[0] = 't';
    EXPECT_EXIT(load_bytes(bytes), ::testing::ExitedWithCode(1), "magic does not match");
}

TEST_F(GridFileFaults, DimensionLimits) {
    auto with_dims = [](std::uint32_t nx, std::uint32_t ny) {
        GridSpec g = make_ocean(nx == 0 ? 1 : nx, ny == 0 ? 1 : ny, 10.0f);
        g.nx = nx;
        g.ny = ny;
        return encode_grid_file(g);
    };
    EXPECT_EXIT(load_bytes(with_dims(10000, 1)), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(load_bytes(with_dims(1, 10000)), ::testing::ExitedWithCode(0), "");
    for (auto [nx, ny] : {std::pair{10001u, 1u}, {1u, 10001u}, {0u, 5u}, {5u, 0u}})
        EXPECT_EXIT(load_bytes(with_dims(nx, ny)), ::testing::ExitedWithCode(1),
                    "^Error: invalid grid dimensions in data file\n$");
}

// Many stations spread over a large open grid, so the smoothing passes see no neighbours
// unless a test puts them there.
GridSpec sparse_stations(int count, int zone) {
    GridSpec g = make_ocean(400, 400, 100.0f);
    for (int i = 0; i < count; ++i) g.add_station((i % 66) * 6, (i / 66) * 6, zone);
    return g;
}

TEST(GridZoneCorrections, FixedTablesApplyInOrderAndSkipMissingStations) {
    GridData g = load_spec(sparse_stations(4891, 10));
    auto zone = [&](int no) { return g.station_zone[std::size_t(no) - 1]; };
    EXPECT_EQ(zone(1463), 48);
    EXPECT_EQ(zone(1483), 48);
    EXPECT_EQ(zone(1500), 49);  // the last pass moves four of the zone-48 stations to 49
    EXPECT_EQ(zone(1524), 49);
    EXPECT_EQ(zone(2683), 28);
    EXPECT_EQ(zone(4891), 6);
    EXPECT_EQ(zone(1543), 42);
    EXPECT_EQ(zone(1182), 81);  // KMA table, as embedded
    EXPECT_EQ(zone(1183), 80);
    EXPECT_EQ(zone(3187), 68);
    EXPECT_EQ(zone(1000), 10);

    GridData small = load_spec(sparse_stations(1200, 10));
    EXPECT_EQ(small.station_count, 1200u);
    EXPECT_EQ(small.station_zone[1181], 81);
    EXPECT_EQ(small.station_zone[1140], 58);
}

TEST(GridZoneCorrections, OutsideZoneStationTakesTheMajorityOfItsJapaneseNeighbours) {
    GridSpec g = make_ocean(60, 30, 100.0f);
    // Cluster A: a lone zone-67 station among four zone-11 stations.
    g.add_station(10, 10, 67);
    for (int k = 1; k <= 4; ++k) g.add_station(10 + k, 10, 11);
    // Cluster B: 3 of 5 Japanese neighbours agree: 60% is not enough.
    g.add_station(30, 10, 67);
    for (int k = 1; k <= 3; ++k) g.add_station(30 + k, 10, 12);
    for (int k = 1; k <= 2; ++k) g.add_station(30, 10 + k, 13);
    // Cluster C: two candidates with equal counts: the lower zone id wins... but 50% < 70%, so
    // it stays; with three outside neighbours it stays as well.
    g.add_station(45, 20, 67);
    for (int k = 1; k <= 4; ++k) g.add_station(45 + k, 20, 14);
    for (int k = 1; k <= 3; ++k) g.add_station(45, 20 + k, 67);
    // Cluster D: more Korean than Japanese neighbours.
    g.add_station(20, 25, 67);
    for (int k = 1; k <= 4; ++k) g.add_station(20 + k, 25, 15);
    for (int k = 1; k <= 5; ++k) g.add_station(20 - k, 25, 70);
    GridData loaded = load_spec(g);
    EXPECT_EQ(loaded.station_zone[0], 11);
    EXPECT_EQ(loaded.station_zone[5], 67);
    EXPECT_EQ(loaded.station_zone[11], 67);
    EXPECT_EQ(loaded.station_zone[19], 67);
}

TEST(GridZoneCorrections, SmoothingSeesEarlierChangesAndSkipsTheEastEdge) {
    GridSpec g = make_ocean(40, 20, 100.0f);
    // Station 0 converts first (four zone-20 neighbours); station 1 then has four zone-20
    // neighbours including station 0, and one outside neighbour.
    g.add_station(10, 10, 67);
    g.add_station(14, 10, 67);
    for (int k = 0; k < 3; ++k) g.add_station(11 + k, 11, 20);
    g.add_station(10, 11, 20);
    // Zone 67 in column nx-2 is never smoothed and stays disabled.
    g.add_station(38, 5, 67);
    for (int k = 0; k < 5; ++k) g.add_station(35 + (k % 3), 4 + k / 3, 22);
    GridData loaded = load_spec(g);
    EXPECT_EQ(loaded.station_zone[0], 20);
    EXPECT_EQ(loaded.station_zone[1], 20);
    EXPECT_EQ(loaded.station_zone[6], 67);
    EXPECT_EQ(loaded.station_flags[6], 0);
}

TEST(GridZoneCorrections, Zone45FollowsSurroundingZone42) {
    GridSpec g = make_ocean(40, 20, 100.0f);
    g.add_station(10, 10, 45);
    for (int k = 1; k <= 4; ++k) g.add_station(10 + k, 10, 42);
    g.add_station(30, 10, 45);
    for (int k = 1; k <= 4; ++k) g.add_station(30 + k, 10, 42);
    g.add_station(30, 11, 45);  // a second 45 and one other zone outweigh nothing yet...
    g.add_station(30, 12, 44);  // ...but 45 + other = 3 <= 4 still converts; add one more:
    g.add_station(29, 10, 44);
    GridData loaded = load_spec(g);
    EXPECT_EQ(loaded.station_zone[0], 42);
    // Station 5 sees 4 of zone 42, one of 45 and two others: 3 > ... 1 + 2 <= 4 converts.
    EXPECT_EQ(loaded.station_zone[5], 42);
    // Station 10 (zone 45) then sees five 42s (station 5 changed) and converts too.
    EXPECT_EQ(loaded.station_zone[10], 42);
}

TEST(GridStationFlags, DisabledStationsOpenTheHiddenStripSouthToNorth) {
    GridSpec g = make_ocean(30, 40, 100.0f);
    g.add_station(5, 5, 11);
    g.station_cell.push_back(-3);  // no cell: disabled, marks nothing
    g.station_zone.push_back(11);
    g.add_station(29, 20, 67);  // east edge, outside zone: disabled, row 20
    g.add_station(27, 30, 67);  // column nx - 3: enabled even though outside
    GridData loaded = load_spec(g);
    EXPECT_EQ(loaded.station_flags[0], 1);
    EXPECT_EQ(loaded.station_flags[1], 0);
    EXPECT_EQ(loaded.station_flags[2], 0);
    EXPECT_EQ(loaded.station_flags[3], 1);
    for (int y = 0; y < 40; ++y)
        EXPECT_EQ(loaded.hidden[std::size_t(y) * 30 + 29], y >= 18 ? 1 : 0) << "row " << y;
    for (int y = 0; y < 40; ++y) EXPECT_EQ(loaded.hidden[std::size_t(y) * 30 + 28], 0);
}

TEST(GridStationFlags, WithoutDisabledStationsOnlyTheTwoNorthernRowsAreHidden) {
    GridSpec g = make_ocean(10, 12, 100.0f);
    g.add_station(2, 2, 5);
    GridData loaded = load_spec(g);
    for (int y = 0; y < 12; ++y) EXPECT_EQ(loaded.hidden[std::size_t(y) * 10 + 9], y >= 10 ? 1 : 0);
}

TEST(GridDepthRules, DisplayAndSolverDepths) {
    GridSpec g = make_ocean(20, 10, 9000.0f);
    g.at(3, 3) = -50.0f;
    fill_rect(g, 0, 0, 19, 0, -10.0f);  // a southern land row
    GridData grid = load_spec(g);
    EXPECT_FLOAT_EQ(visible_effective_depth_m(&grid, 3 * 20 + 3), 1.0f);
    EXPECT_FLOAT_EQ(visible_effective_depth_m(&grid, 5 * 20 + 5), 7000.0f);
    EXPECT_FLOAT_EQ(visible_effective_depth_m(&grid, -1), 1.0f);
    EXPECT_FLOAT_EQ(visible_effective_depth_m(&grid, 200), 1.0f);
    EXPECT_FLOAT_EQ(visible_effective_depth_m(nullptr, 0), 1.0f);

    Simulation geom;
    geom.pad = 80;
    const int p = 80;
    EXPECT_FLOAT_EQ(solver_depth_m(&grid, &geom, p + 5, p + 5), 7000.0f);
    // Hidden east-edge cells (rows 8, 9) and the margin east of them run at 4000 m.
    EXPECT_FLOAT_EQ(solver_depth_m(&grid, &geom, p + 19, p + 9), 4000.0f);
    EXPECT_FLOAT_EQ(solver_depth_m(&grid, &geom, p + 40, p + 8), 4000.0f);
    // East of a row whose edge is not hidden: the nearest cell's depth.
    EXPECT_FLOAT_EQ(solver_depth_m(&grid, &geom, p + 40, p + 5), 7000.0f);
    // South of the land row: the nearest cell is solid.
    EXPECT_FLOAT_EQ(solver_depth_m(&grid, &geom, p + 5, 3), 6000.0f);
}

TEST(GridLoad, NanDepthIsLand) {
    GridSpec g = make_ocean(8, 8, 50.0f);
    g.at(4, 4) = std::nanf("");
    GridData grid = load_spec(g);
    EXPECT_EQ(grid.raw_land[4 * 8 + 4], 1);
    EXPECT_EQ(grid.land_override[0], -1);
}

}  // namespace
}  // namespace kaitoro
