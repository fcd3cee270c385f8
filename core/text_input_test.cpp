#include "core/text_input.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

TEST(Utf8Copy, CutsAtCharacterBoundariesAndReplacesStrayBytes) {
    struct Case {
        const char* in;
        std::size_t size;
        const char* out;
    };
    const Case cases[] = {
        {"abc", 4, "abc"},
        {"abcd", 4, "abc"},
        {"a\xE7\xB6\xB2", 4, "a"},  // 網 needs 3 bytes + NUL
        {"a\xE7\xB6\xB2", 5, "a\xE7\xB6\xB2"},
        {"\xE7\xB6z", 8, "\xEF\xBF\xBD\xEF\xBF\xBDz"},  // a cut character: two stray bytes
        {"\xC0\xAF", 8, "\xEF\xBF\xBD\xEF\xBF\xBD"},    // overlong '/'
        {"\xED\xA0\x80", 4, "\xEF\xBF\xBD"},            // surrogate: first byte replaced
        {"\xF4\x90\x80\x80", 4, "\xEF\xBF\xBD"},        // above U+10FFFF
        {"\xF0\x9F\x8C\x8A", 5, "\xF0\x9F\x8C\x8A"},
        {"\xFFok", 2, ""},  // the replacement does not fit
        {nullptr, 4, ""},
    };
    for (const Case& c : cases) {
        char buf[16];
        utf8_copy(buf, c.size, c.in);
        EXPECT_EQ(std::string(buf), c.out) << (c.in ? c.in : "(null)") << " size " << c.size;
    }
}

TEST(ReadLine, AnOverlongLineKeepsItsFirstPieceAndDropsItsTail) {
    testing::TempDir dir;
    const std::string path = dir.file("t.csv");
    testing::write_text_file(path, std::string("12345678") + "30,30,land\nab\r\nlast");
    std::FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    char buf[9];
    std::vector<std::string> got;
    while (read_line(f, buf, sizeof buf)) got.push_back(buf);
    std::fclose(f);
    EXPECT_EQ(got, (std::vector<std::string>{"12345678", "ab\r\n", "last"}));
}

TEST(NarrowToFloat, OnlyFiniteValuesWithinFloatRange) {
    const std::pair<double, bool> cases[] = {{0.0, true},   {3.4e38, true}, {-3.4e38, true},
                                             {1e-50, true}, {1e39, false},  {-1e39, false},
                                             {1e300, false}};
    for (const auto& [v, ok] : cases) {
        float out = 7.0f;
        EXPECT_EQ(narrow_to_float(v, &out), ok) << v;
        if (ok) {
            EXPECT_EQ(out, float(v));
        }
    }
    int i = 0;
    EXPECT_FALSE(narrow_to_int(4294967296LL + 560, &i));
    EXPECT_TRUE(narrow_to_int(-2147483648LL, &i));
}

TEST(OpenRegularFile, ADirectoryIsAFileThatCannotBeOpened) {
    testing::TempDir dir;
    errno = 0;
    EXPECT_EQ(open_regular_file(dir.path().c_str()), nullptr);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(open_regular_file(dir.file("missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_STREQ(skip_bom("\xEF\xBB\xBF"
                          "1,2"),
                 "1,2");
}

}  // namespace
}  // namespace kaitoro
