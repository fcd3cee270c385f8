#include "core/safe_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

using testing::read_file_text;
using testing::TempDir;
using testing::write_text_file;

TEST(SafeFile, TargetChangesOnlyOnASuccessfulCommit) {
    TempDir dir;
    const std::string path = dir.file("table.csv");
    write_text_file(path, "old\n");
    {
        SafeFile out(path.c_str());
        ASSERT_TRUE(out);
        std::fputs("half a ta", out.get());
        EXPECT_EQ(read_file_text(path), "old\n");  // a reader meanwhile sees the old file
    }  // abandoned, as after a failed write
    EXPECT_EQ(read_file_text(path), "old\n");
    EXPECT_FALSE(std::filesystem::exists(path + ".partial"));

    SafeFile out(path.c_str());
    std::fputs("new\n", out.get());
    EXPECT_TRUE(out.commit());
    EXPECT_EQ(read_file_text(path), "new\n");
    EXPECT_FALSE(std::filesystem::exists(path + ".partial"));
    EXPECT_FALSE(out.commit());  // once only

    // A device is written in place, never replaced by a regular file.
    SafeFile device("/dev/null");
    ASSERT_TRUE(device);
    std::fputs("x", device.get());
    EXPECT_TRUE(device.commit());
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_FALSE(std::filesystem::exists("/dev/null.partial"));

    SafeFile nowhere(dir.file("no/such/folder/x.csv").c_str());
    EXPECT_FALSE(nowhere);
    EXPECT_FALSE(nowhere.commit());
}

}  // namespace
}  // namespace kaitoro
