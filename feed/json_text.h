// The text pieces of the outbox: JSON strings, the day-and-clock time text, and a small
// writer that builds one JSON line in memory so a packet reaches the file in one append.
#pragma once

#include <string>
#include <vector>

namespace kaitoro {

// Appends `text` as a JSON string (quotes included). Whole UTF-8 characters pass through
// untouched, so names stay readable; a byte that is not part of one becomes U+FFFD. A null
// text is the empty string.
void orvex_json_escape(std::string* stream, const char* text);

// "%d日 %02d:%02d": day counted from 1, clock rounded to the nearest minute. Model time 0 is
// "1日 00:00"; negative times are treated as 0.
std::string orvex_time_text(int t_s);

// Builds one object per line with no spaces between tokens. Members go in the order they are
// added; commas are placed by the writer.
class JsonLine {
  public:
    JsonLine();
    void key(const char* k);
    void int_member(const char* k, long long v);
    // A number printed with a printf format such as "%.1f". Non-finite values print as 0 so
    // the line stays valid JSON whatever the wave field holds.
    void number_member(const char* k, const char* fmt, double v);
    // Bare token exactly as given (fixed numbers, true/false).
    void raw_member(const char* k, const char* raw);
    void bool_member(const char* k, bool v);
    void string_member(const char* k, const char* text);
    // A JSON string holding a formatted number, e.g. "0.4m".
    void formatted_string_member(const char* k, const char* fmt, double v);
    void begin_array(const char* k);
    void end_array();
    void begin_object();  // an element of the current array
    void end_object();
    // Closes every open level and adds the line feed.
    std::string finish();

  private:
    void separator();
    std::string text_;
    std::vector<bool> first_;  // per open level: nothing written in it yet
};

}  // namespace kaitoro
