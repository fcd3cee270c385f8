// kaitoro-cli validate end to end: one event at reduced length on the bundled grid, so the
// report and its figures cannot rot.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <regex>
#include <string>

#include "tests/support/png_reader.h"
#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

const std::string kCli = KAITORO_CLI_PATH;

TEST(CliValidateTest, OneEventAtReducedLengthWritesTheReportAndFigures) {
    testing::TempDir dir;
    const auto r = testing::run_command(kCli + " validate --event noto --hours 0.75 --out " +
                                        dir.path() + " --work " + dir.file("runs"));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("2024 Noto Peninsula, true speed: 0.75 model hours, 19 gauge(s)...\n"),
              std::string::npos)
        << r.out;
    const std::string md = testing::read_file_text(dir.file("validation.md"));
    EXPECT_EQ(md.find("Tohoku"), std::string::npos);  // only the chosen event
    // Summary rows: counts, signed minutes with one decimal, ratio with two, percent with one.
    const std::regex row(
        "\\| 2024 Noto Peninsula \\| (documented|true speed) \\| first arrival \\| \\d+ \\| \\d+ "
        "\\| [+-]\\d+\\.\\d min \\| [+-]\\d+\\.\\d min \\| \\d+\\.\\d\\d \\| \\d+\\.\\d % \\|\n");
    EXPECT_EQ(
        std::distance(std::sregex_iterator(md.begin(), md.end(), row), std::sregex_iterator()), 2)
        << md;
    // Toyama's gauge row: its cell, depth and distance, then observed / simulated values.
    EXPECT_TRUE(std::regex_search(
        md, std::regex("\\| Toyama \\| tide gauge \\(JMA/GSI/MLIT\\) \\| \\(\\d+, \\d+\\) \\| "
                       "\\d+ \\| \\d+\\.\\d \\| 2\\.9 / \\d+\\.\\d / \\d+\\.\\d \\|")))
        << md;
    for (const char* mode : {"documented", "true_speed"}) {
        const std::string png =
            dir.file(std::string("validation/2024_noto_peninsula_") + mode + ".png");
        EXPECT_NE(md.find(std::string("(validation/2024_noto_peninsula_") + mode + ".png)"),
                  std::string::npos);
        testing::DecodedPng img;
        std::string err;
        ASSERT_TRUE(testing::decode_png(png, &img, &err)) << png << ": " << err;
        EXPECT_EQ(img.width, 1200);
        EXPECT_EQ(img.height, 640);
    }
}

TEST(CliValidateTest, MissingObservationsFailWithoutAReport) {
    testing::TempDir dir;
    const auto r = testing::run_command(kCli + " validate --observations " + dir.file("none.csv") +
                                        " --out " + dir.path());
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("Error: could not read observations: " + dir.file("none.csv") +
                         ": No such file or directory\n"),
              std::string::npos)
        << r.out;
    EXPECT_FALSE(std::filesystem::exists(dir.file("validation.md")));
}

}  // namespace
}  // namespace kaitoro
