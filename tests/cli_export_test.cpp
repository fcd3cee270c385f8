// kaitoro-cli run writing CF NetCDF, GeoJSON and animations, end to end on a synthetic grid.
// Every file is read back by the field's own tools: netCDF4, xarray and json in Python,
// gdalinfo, ogrinfo and ffprobe.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/run_command.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::run_command;
using testing::TempDir;

const std::string kCli = KAITORO_CLI_PATH;
const std::string kChecker = std::string(KAITORO_SOURCE_DIR) + "/tests/scripts/check_exports.py";
// Debian's interpreter, which has the netCDF4 and xarray packages.
const std::string kPython = "/usr/bin/python3";

class CliExportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        grid_ = dir_.file("grid.bin");
        ASSERT_TRUE(testing::write_west_coast_grid(grid_));
        testing::write_text_file(dir_.file("src.csv"),
                                 "grid_x,grid_y,height_m,delay_s\n"
                                 "30,20,3.0,0\n31,20,3.0,0\n30,21,3.0,0\n31,21,3.0,0\n");
    }
    std::string run_base() const {
        return kCli + " run " + grid_ + " --sources " + dir_.file("src.csv") + " --out " +
               dir_.file("out") + " --hours 1";
    }
    TempDir dir_;
    std::string grid_;
};

TEST_F(CliExportTest, NetcdfAndGeojsonMatchTheCsvTables) {
    const std::string nc = dir_.file("r.nc"), gj = dir_.file("r.geojson");
    auto r = run_command(run_base() + " --station 3 --netcdf " + nc +
                         " --snapshot-every 15 --geojson " + gj);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Saved NetCDF: " + nc), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Saved GeoJSON: " + gj), std::string::npos) << r.out;
    // One hour, a snapshot every 15 minutes including time 0: 5.
    r = run_command(kPython + " " + kChecker + " " + dir_.file("out") + " " + nc + " " + gj +
                    " 5 3");
    EXPECT_EQ(r.code, 0) << r.out;

    r = run_command("gdalinfo NETCDF:" + nc + ":max_height");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("Mercator"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Size is 60, 40"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Pixel Size = (5720.9"), std::string::npos) << r.out;
    r = run_command("ogrinfo -ro -so -al " + gj);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("EPSG\",4326"), std::string::npos) << r.out;
}

struct AnimationCase {
    const char* name;
    const char* codec;
    const char* pix_fmt;
};

TEST_F(CliExportTest, AnimationsHaveOneFramePerInterval) {
    for (const AnimationCase& c :
         {AnimationCase{"a.mp4", "h264", "yuv420p"}, AnimationCase{"a.gif", "gif", "bgra"}}) {
        const std::string path = dir_.file(c.name);
        auto r = run_command(run_base() + " --animate " + path + " --frame-every 10");
        ASSERT_EQ(r.code, 0) << r.out;
        EXPECT_NE(r.out.find("Saved animation: " + path + " (7 frames"), std::string::npos)
            << r.out;
        r = run_command(
            "ffprobe -v error -count_frames -show_entries "
            "stream=codec_name,width,height,pix_fmt,nb_read_frames -of "
            "default=nw=1 " +
            path);
        ASSERT_EQ(r.code, 0) << r.out;
        // 60 x 40 cells at 8 pixels per cell, a 30-pixel caption band.
        EXPECT_EQ(r.out, std::string("codec_name=") + c.codec + "\nwidth=480\nheight=350\n" +
                             "pix_fmt=" + c.pix_fmt + "\nnb_read_frames=7\n")
            << c.name;
    }
}

struct FailureCase {
    const char* option;
    const char* file;
    const char* message;
};

// A file that cannot be written fails the run, names the file and leaves nothing behind.
TEST_F(CliExportTest, UnwritableTargetsFailWithoutLeavingFiles) {
    const std::string missing = dir_.file("no/such/dir/");
    for (const FailureCase& c :
         {FailureCase{"--netcdf", "r.nc", "Error: could not write NetCDF file "},
          FailureCase{"--geojson", "r.geojson", "Error: could not write GeoJSON file "},
          FailureCase{"--animate", "r.mp4", "Error: could not write animation "}}) {
        const std::string path = missing + c.file;
        auto r = run_command(run_base() + " " + c.option + " " + path);
        EXPECT_EQ(r.code, 1) << c.option << r.out;
        EXPECT_NE(r.out.find(c.message + path), std::string::npos) << r.out;
    }
    EXPECT_FALSE(std::filesystem::exists(dir_.file("no")));
}

TEST_F(CliExportTest, BadExportOptionsAreUsageErrors) {
    for (const char* opts : {"--animate a.avi", "--snapshot-every 5",
                             "--netcdf r.nc "
                             "--snapshot-every 0.1",
                             "--animate a.gif --frame-every 0"}) {
        auto r = run_command(run_base() + " " + opts);
        EXPECT_EQ(r.code, 2) << opts << r.out;
    }
}

}  // namespace
}  // namespace kaitoro
