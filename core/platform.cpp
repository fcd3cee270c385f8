#include "core/platform.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

namespace kaitoro {

namespace {
HeadlessPlatform g_headless;
Platform* g_platform = &g_headless;
}  // namespace

Platform& platform() { return *g_platform; }
void set_platform(Platform* p) { g_platform = p ? p : &g_headless; }

MessageAnswer HeadlessPlatform::message_box(const std::string& title, const std::string& text,
                                            MessageIcon, MessageButtons buttons) {
    // No one to ask: show the text on stderr and take the safe answer.
    std::fprintf(stderr, "%s: %s\n", title.c_str(), text.c_str());
    switch (buttons) {
        case MessageButtons::Ok: return MessageAnswer::Ok;
        case MessageButtons::OkCancel: return MessageAnswer::Cancel;
        case MessageButtons::YesNo: return MessageAnswer::No;
        case MessageButtons::YesNoCancel: return MessageAnswer::Cancel;
    }
    return MessageAnswer::Cancel;
}

std::uint64_t HeadlessPlatform::tick_count_ms() {
    using namespace std::chrono;
    return std::uint64_t(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

bool HeadlessPlatform::performance_counter(std::int64_t* value) {
    using namespace std::chrono;
    *value = std::int64_t(
        duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count());
    return true;
}

bool HeadlessPlatform::performance_frequency(std::int64_t* value) {
    *value = 1000000000;
    return true;
}

std::string HeadlessPlatform::executable_path() {
    std::error_code ec;
    auto p = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : p.string();
}

}  // namespace kaitoro
