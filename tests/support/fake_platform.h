// A scripted platform for tests: chosen dialog answers, recorded beeps and message boxes,
// and a clock the test steps by hand.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "core/platform.h"

namespace kaitoro::testing {

class FakePlatform : public Platform {
public:
    struct Box {
        std::string title, text;
        MessageIcon icon;
        MessageButtons buttons;
    };

    // Answers, consumed in order; an empty queue cancels.
    std::deque<std::optional<std::string>> open_answers, save_answers;
    std::deque<MessageAnswer> box_answers;  // empty: Ok
    std::vector<FileDialogRequest> open_requests, save_requests;
    std::vector<BeepKind> beeps;
    std::vector<Box> boxes;
    int repaints = 0;
    std::uint64_t now_ms = 1000;
    std::int64_t counter = 0;
    std::int64_t frequency = 1000000;
    bool counter_ok = true;
    std::string exe_path = "/nonexistent/kaitoro";

    void beep(BeepKind kind) override { beeps.push_back(kind); }
    MessageAnswer message_box(const std::string& title, const std::string& text, MessageIcon icon,
                              MessageButtons buttons) override;
    std::optional<std::string> open_file_dialog(const FileDialogRequest& req) override;
    std::optional<std::string> save_file_dialog(const FileDialogRequest& req) override;
    std::uint64_t tick_count_ms() override { return now_ms; }
    bool performance_counter(std::int64_t* v) override {
        *v = counter;
        return counter_ok;
    }
    bool performance_frequency(std::int64_t* v) override {
        *v = frequency;
        return counter_ok;
    }
    std::string executable_path() override { return exe_path; }
    void request_repaint() override { ++repaints; }

    // Moves both clocks forward together.
    void advance_ms(std::uint64_t ms) {
        now_ms += ms;
        counter += std::int64_t(ms) * frequency / 1000;
    }
};

// Installs a FakePlatform for the lifetime of the object.
class ScopedFakePlatform {
public:
    ScopedFakePlatform() { set_platform(&fake); }
    ~ScopedFakePlatform() { set_platform(nullptr); }
    FakePlatform fake;
};

}  // namespace kaitoro::testing
