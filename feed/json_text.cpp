#include "feed/json_text.h"

#include <cmath>
#include <cstdio>

#include "core/text_input.h"

namespace kaitoro {

void orvex_json_escape(std::string* stream, const char* text) {
    stream->push_back('"');
    for (const char* p = text ? text : ""; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        switch (c) {
            case '"':
                stream->append("\\\"");
                break;
            case '\\':
                stream->append("\\\\");
                break;
            case '\n':
                stream->append("\\n");
                break;
            case '\r':
                stream->append("\\r");
                break;
            case '\t':
                stream->append("\\t");
                break;
            default:
                if (c < 32) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", c);
                    stream->append(buf);
                } else if (c < 0x80) {
                    stream->push_back(char(c));
                } else {
                    // Whole UTF-8 characters pass through; a stray byte becomes U+FFFD so
                    // the line stays valid UTF-8 for any JSON reader.
                    const int len = utf8_char_length(p);
                    if (len) {
                        stream->append(p, std::size_t(len));
                        p += len - 1;
                    } else {
                        stream->append("\xEF\xBF\xBD");
                    }
                }
        }
    }
    stream->push_back('"');
}

std::string orvex_time_text(int t_s) {
    const long long t = (t_s < 0 ? 0LL : (long long)t_s) + 30;
    const long long day = t / 86400 + 1;
    const long long minutes = t / 60 - 1440 * (t / 86400);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%lld日 %02lld:%02lld", day, minutes / 60, minutes % 60);
    return buf;
}

JsonLine::JsonLine() : text_("{"), first_{true} {}

void JsonLine::separator() {
    if (!first_.back()) text_.push_back(',');
    first_.back() = false;
}

void JsonLine::key(const char* k) {
    separator();
    orvex_json_escape(&text_, k);
    text_.push_back(':');
}

void JsonLine::int_member(const char* k, long long v) {
    key(k);
    text_ += std::to_string(v);
}

static std::string format_number(const char* fmt, double v) {
    if (!std::isfinite(v)) v = 0.0;
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, v);
    return buf;
}

void JsonLine::number_member(const char* k, const char* fmt, double v) {
    key(k);
    text_ += format_number(fmt, v);
}

void JsonLine::raw_member(const char* k, const char* raw) {
    key(k);
    text_ += raw;
}

void JsonLine::bool_member(const char* k, bool v) {
    raw_member(k, v ? "true" : "false");
}

void JsonLine::string_member(const char* k, const char* text) {
    key(k);
    orvex_json_escape(&text_, text);
}

void JsonLine::formatted_string_member(const char* k, const char* fmt, double v) {
    string_member(k, format_number(fmt, v).c_str());
}

void JsonLine::begin_array(const char* k) {
    key(k);
    text_.push_back('[');
    first_.push_back(true);
}

void JsonLine::end_array() {
    text_.push_back(']');
    first_.pop_back();
}

void JsonLine::begin_object() {
    separator();
    text_.push_back('{');
    first_.push_back(true);
}

void JsonLine::end_object() {
    text_.push_back('}');
    first_.pop_back();
}

std::string JsonLine::finish() {
    // Only objects remain open here: arrays are always closed by their writers.
    while (!first_.empty()) {
        text_.push_back('}');
        first_.pop_back();
    }
    text_.push_back('\n');
    return std::move(text_);
}

}  // namespace kaitoro
