#include "feed/json_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace kaitoro {
namespace {

std::string escaped(const char* text) {
    std::string s;
    orvex_json_escape(&s, text);
    return s;
}

TEST(JsonEscape, EscapesQuotesBackslashesAndEveryControlByte) {
    EXPECT_EQ(escaped(nullptr), "\"\"");
    EXPECT_EQ(escaped("a\"b\\c/d"), "\"a\\\"b\\\\c/d\"");
    EXPECT_EQ(escaped("\n\r\t"), "\"\\n\\r\\t\"");
    EXPECT_EQ(escaped("\x01\x08\x0c\x1f\x7f"), "\"\\u0001\\u0008\\u000c\\u001f\x7f\"");
    EXPECT_EQ(escaped("釜石 ウルルンド"), "\"釜石 ウルルンド\"");
    // Every byte 1..255 survives a real parser's round trip (the high half as UTF-8).
    std::string all;
    for (int c = 1; c < 128; ++c) all += char(c);
    all += "稚内";
    EXPECT_EQ(nlohmann::json::parse(escaped(all.c_str())).get<std::string>(), all);
}

TEST(TimeText, DayAndClockRoundedToTheMinute) {
    const std::pair<int, const char*> cases[] = {
        {0, "1日 00:00"},      {29, "1日 00:00"},     {30, "1日 00:01"},
        {3599, "1日 01:00"},   {86369, "1日 23:59"},  {86370, "2日 00:00"},
        {216000, "3日 12:00"}, {604800, "8日 00:00"}, {-5, "1日 00:00"}};
    for (const auto& [s, text] : cases) EXPECT_EQ(orvex_time_text(s), text) << s;
}

}  // namespace
}  // namespace kaitoro
