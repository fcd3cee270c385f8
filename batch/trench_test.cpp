#include "batch/trench.h"

#include <gtest/gtest.h>

namespace kaitoro {
namespace {

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
