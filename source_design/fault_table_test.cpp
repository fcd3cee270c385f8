#include "source_design/fault_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/driver.h"
#include "core/geo.h"
#include "core/sources.h"
#include "core/status.h"
#include "source_design/source_cell.h"
#include "source_design/undo.h"
#include "tests/support/fake_platform.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

constexpr char kHeader[] = "lat,lon,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m";

TEST(FaultTableTest, HeaderlessAndDuplicateColumnTablesLoadNothing) {
    FaultTable t;
    fault_table_parse("38,143,20,200,15,90,100,50,2\n", &t);
    EXPECT_TRUE(t.subfaults.empty());
    ASSERT_EQ(t.rejected.size(), 1u);
    EXPECT_EQ(t.rejected[0].rfind("line 1: not a fault-table header (missing lat,lon,", 0), 0u);
    fault_table_parse(std::string(kHeader) + ",lat\n38,143,20,200,15,90,100,50,2,38\n", &t);
    EXPECT_EQ(t.rejected, (std::vector<std::string>{"line 1: column lat appears twice",
                                                    "line 2: no usable header line before this "
                                                    "line"}));
    // Columns in any order; unknown ones are carried along and ignored.
    fault_table_parse("id,slip_m,width_km,length_km,rake_deg,dip_deg,strike_deg,depth_km,lon,lat\n"
                      "A1,2,50,100,90,15,200,20,143,38\n",
                      &t);
    ASSERT_EQ(t.subfaults.size(), 1u);
    EXPECT_EQ(t.subfaults[0].fault.lat_deg, 38);
    EXPECT_EQ(t.subfaults[0].fault.slip_m, 2);
    EXPECT_TRUE(fault_table_header_line(std::string("\xEF\xBB\xBF ") + kHeader + "\r"));
    EXPECT_FALSE(fault_table_header_line("grid_x,grid_y,height_m,delay_s"));
}

// The reference points resolve to the same centroid: a top-centre 8.66 km up-dip (dip 30,
// W 20, strike 0 dips east) and a top corner 50 km further south along strike.
TEST(FaultTableTest, TopReferencesResolveToTheCentroid) {
    FaultTable t;
    fault_table_parse(std::string(kHeader) +
                          ",reference\n"
                          "38,143,15,0,30,90,100,20,1,centroid\n"
                          "38,142.901165,10,0,30,90,100,20,1,top_center\n"
                          "37.550338,142.901165,10,0,30,90,100,20,1,top_corner\n",
                      &t);
    ASSERT_EQ(t.subfaults.size(), 3u) << t.rejected[0];
    for (int k = 1; k < 3; ++k) {
        EXPECT_NEAR(t.subfaults[k].fault.lat_deg, 38.0, 1e-5) << k;
        EXPECT_NEAR(t.subfaults[k].fault.lon_deg, 143.0, 1e-5) << k;
        EXPECT_DOUBLE_EQ(t.subfaults[k].fault.depth_km, 15.0) << k;
    }
}

class FaultSourceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // 200 x 120 cells of 4000 m sea around 35.9 N / 135.8 E with land in the east.
        testing::GridSpec g = testing::make_ocean(200, 120, 4000.0f);
        testing::fill_rect(g, 170, 0, 199, 119, 0.0f);
        testing::install_grid(testing::load_spec(g));
        set_platform(&fake_.fake);
        source_design_install_hooks();
    }
    void TearDown() override { testing::reset_all_globals(); }
    testing::ScopedFakePlatform fake_;
    testing::TempDir dir_;
};

TEST_F(FaultSourceTest, DislocationSourceRisesAndSinksAndCarriesTheTableMoment) {
    // Strike 0 at column 150, dipping east under the land: uplift west, subsidence east.
    float lat, lon;
    latlon_from_grid_xy(150, 60, &lat, &lon);
    const std::string path = dir_.file("quake.csv");
    char line[200];
    std::snprintf(line, sizeof line, "%.5f,%.5f,20,0,15,90,120,60,4,45\n", lat, lon);
    testing::write_text_file(path, std::string("# name: test\n") + kHeader + ",rupture_s\n" +
                                       line + "not,a,subfault\n");
    source_list_append(&g_sources, 20, 20, 1.0f, 0);  // a painted point stays
    const double painted = current_seismic_moment_nm();

    fake_.fake.open_answers.push_back(path);
    load_source_csv_dialog(nullptr);
    ASSERT_EQ(fake_.fake.open_requests.size(), 1u);
    EXPECT_EQ(fake_.fake.open_requests[0].filters.back().label, "Fault tables");
    std::size_t up = 0, down = 0;
    float west = 0, east = 0;
    for (std::size_t i = 1; i < g_sources.count; ++i) {
        const SourcePoint& p = g_sources[i];
        EXPECT_EQ(p.fault_id, kFaultTableFaultId);
        EXPECT_EQ(p.delay_s, 45);
        EXPECT_EQ(p.slip_m, 0.0f);
        EXPECT_GE(std::fabs(p.height_m), 0.0005f);
        (p.height_m > 0 ? up : down)++;
        if (p.grid_y == 60 && p.grid_x == 140) west = p.height_m;
        if (p.grid_y == 60 && p.grid_x == 165) east = p.height_m;
    }
    EXPECT_GT(up, 100u);
    EXPECT_GT(down, 100u);
    EXPECT_GT(west, 0.1f);
    EXPECT_LT(east, -0.1f);
    // The table's standard moment plus the painted point's documented one.
    const double m0 = 3e10 * 120e3 * 60e3 * 4;
    bool standard = false;
    EXPECT_DOUBLE_EQ(displayed_source_moment_nm(&standard), m0 + painted);
    EXPECT_TRUE(standard);
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "Loaded fault table: 1 subfault(s), %zu source point(s), standard Mw %.2f; 1 "
                  "line(s) rejected, first line 4: 3 fields, the header has 10.",
                  g_sources.count - 1, moment_magnitude_from_nm(m0 + painted));
    EXPECT_STREQ(g_status, expected);
    EXPECT_EQ(g_time_s, 0);
    EXPECT_NE(g_sim.source_height[60 * 200 + 140], 0.0f);

    // One undo step takes the whole table, and its moment, back.
    source_undo_restore(nullptr);
    EXPECT_EQ(g_sources.count, 1u);
    EXPECT_DOUBLE_EQ(displayed_source_moment_nm(&standard), painted);
    EXPECT_FALSE(standard);
}

TEST_F(FaultSourceTest, ATableWithoutAValidSubfaultChangesNothing) {
    const std::string path = dir_.file("bad.csv");
    testing::write_text_file(path, std::string(kHeader) + "\n38,143,20,200,15,90,100,50\n");
    source_list_append(&g_sources, 20, 20, 1.0f, 0);
    g_time_s = 600;
    fake_.fake.open_answers.push_back(path);
    load_source_csv_dialog(nullptr);
    EXPECT_EQ(g_sources.count, 1u);
    EXPECT_EQ(g_time_s, 600);
    EXPECT_EQ(g_source_undo_count, 0);
    EXPECT_STREQ(g_status,
                 "Fault table: no valid subfault, source unchanged (1 line(s) rejected; line 2: "
                 "8 fields, the header has 9).");
}

}  // namespace
}  // namespace kaitoro
