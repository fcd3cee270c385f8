#include "batch/scenario.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace kaitoro {
namespace {

TEST(ScenarioTableTest, TheThreeSourceFormsAndTheirDefaults) {
    ScenarioTable t;
    scenario_table_parse(
        "id,fault,lat,lon,mw,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m,"
        "hours,true_speed\n"
        "f,events/a.csv,,,,,,,,,,,0.5,1\n"
        "g,/abs/b.csv,,,,,,,,,,,,\n"
        "r,,38.3,143,,20,200,15,90,100,50,5,2,0\n",
        "/data/tables", &t);
    ASSERT_TRUE(t.errors.empty()) << t.errors[0];
    ASSERT_EQ(t.scenarios.size(), 3u);
    EXPECT_EQ(t.scenarios[0].kind, ScenarioKind::FaultFile);
    EXPECT_EQ(t.scenarios[0].fault_path, "/data/tables/events/a.csv");
    EXPECT_EQ(t.scenarios[0].params, "fault=events/a.csv;hours=0.5;true_speed=1");
    EXPECT_EQ(t.scenarios[1].fault_path, "/abs/b.csv");
    EXPECT_EQ(t.scenarios[1].hours, kScenarioDefaultHours);
    const Scenario& r = t.scenarios[2];
    EXPECT_EQ(r.kind, ScenarioKind::Rectangle);
    EXPECT_EQ(r.params, "rect=38.3,143,20,200,15,90,100,50,5;hours=2;true_speed=0");
    EXPECT_EQ(r.fault.strike_deg, 200);
    EXPECT_EQ(r.fault.slip_m, 5);
    EXPECT_EQ(r.line, 4);
}

// Strasser et al. (2010) interface: at Mw 9.0 a 614 km x 189 km rupture with about 11.4 m of
// slip; the slip always gives back the asked moment with the program's rigidity.
TEST(ScenarioTableTest, InterfaceScalingSizesTheRuptureAndKeepsTheMoment) {
    struct Case {
        double mw, length_km, width_km, slip_m;
    } cases[] = {{7.5, 81.377, 56.299, 1.6288},
                 {8.5, 312.97, 126.33, 5.9687},
                 {9.0, 613.76, 189.23, 11.426}};
    for (const Case& c : cases) {
        const InterfaceRupture r = interface_rupture_from_mw(c.mw);
        EXPECT_NEAR(r.length_km, c.length_km, 0.05 * 1e-2 * c.length_km) << c.mw;
        EXPECT_NEAR(r.width_km, c.width_km, 0.05 * 1e-2 * c.width_km) << c.mw;
        EXPECT_NEAR(r.slip_m, c.slip_m, 1e-3 * c.slip_m) << c.mw;
        Subfault s;
        s.fault.length_km = r.length_km;
        s.fault.width_km = r.width_km;
        s.fault.slip_m = r.slip_m;
        EXPECT_NEAR(moment_magnitude_from_nm(fault_table_moment_nm({s})), c.mw, 1e-9);
    }
    // A Mw 9.0 at 20 km depth and 15 degrees would break the sea floor: its centroid sinks so
    // the top edge just reaches it.
    ScenarioTable t;
    scenario_table_parse("id,lat,lon,mw\nbig,38.3,143,9.0\n", "", &t);
    ASSERT_EQ(t.scenarios.size(), 1u);
    const OkadaFault& f = t.scenarios[0].fault;
    EXPECT_NEAR(f.depth_km - 0.5 * f.width_km * std::sin(15 * std::numbers::pi / 180), 0.0, 1e-9);
    EXPECT_EQ(f.strike_deg, 195);
    EXPECT_EQ(f.rake_deg, 90);
}

}  // namespace
}  // namespace kaitoro
