#include "batch/trench.h"

#include <gtest/gtest.h>

namespace kaitoro {
namespace {

// A trench running due south for 1 degree of latitude (111.2 km), deepening from 10 to 30 km:
// positions every 50 km at 0, 50 and 100 km, strike 180 (dipping west), depth interpolated.
TEST(TrenchTest, PositionsAlongThePolylineTimesMagnitudes) {
    std::vector<TrenchVertex> line;
    std::string error;
    ASSERT_TRUE(
        trench_parse("# two vertices\nlat,lon,depth_km,dip_deg\n39,143,10,10\n"
                     "38,143,30,20\n",
                     &line, &error))
        << error;
    TrenchScenarioOptions o;
    o.mw_min = 8.0;
    o.mw_max = 8.5;
    o.mw_step = 0.25;
    o.spacing_km = 50;
    o.id_prefix = "jt";
    int count = 0;
    const std::string text = trench_scenario_table(line, o, &count);
    EXPECT_EQ(count, 9);
    const std::string body = text.substr(text.find("id,lat,"));
    EXPECT_EQ(body,
              "id,lat,lon,depth_km,strike_deg,dip_deg,rake_deg,mw,hours,true_speed\n"
              "jt_k0000_m8.00,39.0000,143.0000,10.0,180.0,10.0,90,8.00,3,0\n"
              "jt_k0000_m8.25,39.0000,143.0000,10.0,180.0,10.0,90,8.25,3,0\n"
              "jt_k0000_m8.50,39.0000,143.0000,10.0,180.0,10.0,90,8.50,3,0\n"
              "jt_k0050_m8.00,38.5503,143.0000,19.0,180.0,14.5,90,8.00,3,0\n"
              "jt_k0050_m8.25,38.5503,143.0000,19.0,180.0,14.5,90,8.25,3,0\n"
              "jt_k0050_m8.50,38.5503,143.0000,19.0,180.0,14.5,90,8.50,3,0\n"
              "jt_k0100_m8.00,38.1007,143.0000,28.0,180.0,19.0,90,8.00,3,0\n"
              "jt_k0100_m8.25,38.1007,143.0000,28.0,180.0,19.0,90,8.25,3,0\n"
              "jt_k0100_m8.50,38.1007,143.0000,28.0,180.0,19.0,90,8.50,3,0\n");
    // 7.5:9.0:0.25 ends on 9.0 exactly (seven magnitudes), whatever the rounding of the step.
    o.mw_min = 7.5;
    o.mw_max = 9.0;
    o.spacing_km = 200;
    trench_scenario_table(line, o, &count);
    EXPECT_EQ(count, 7);
}

TEST(TrenchTest, BadFilesNameTheLine) {
    struct Case {
        const char* text;
        const char* error;
    } cases[] = {
        {"lat,lon,depth_km\n38,143,20\n", "line 1: the header needs lat,lon,depth_km,dip_deg"},
        {"lat,lon,depth_km,dip_deg\n38,143,20,15\n38,143,20,0\n",
         "line 3: dip_deg '0' is not a number in [1, 90]"},
        {"lat,lon,depth_km,dip_deg\n38,143,20\n", "line 2: 3 fields, the header has 4"},
        {"lat,lon,depth_km,dip_deg\n38,143,20,15\n", "a trench needs at least two vertices"},
    };
    for (const Case& c : cases) {
        std::vector<TrenchVertex> line;
        std::string error;
        EXPECT_FALSE(trench_parse(c.text, &line, &error));
        EXPECT_EQ(error, c.error);
    }
}

}  // namespace
}  // namespace kaitoro
