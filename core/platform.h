// The few services a toolkit provides. The library calls only these; the desktop program
// installs a Qt implementation, tests install a scripted fake, and everything else runs on
// the headless default (dialogs cancel, clocks are std::chrono::steady_clock).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kaitoro {

enum class BeepKind { Default, Warning, Error };  // Error is also the stop sign.
enum class MessageIcon { None, Information, Warning, Error, Question };
enum class MessageButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class MessageAnswer { Ok, Cancel, Yes, No };

struct FileFilter {
    std::string label;    // "CSV files"
    std::string pattern;  // "*.csv"
};

struct FileDialogRequest {
    std::string title;
    std::vector<FileFilter> filters;
    std::string default_name;  // initial file name, may be empty
    std::string default_extension;
    bool confirm_overwrite = false;  // save dialogs
    bool file_must_exist = false;    // open dialogs
    bool path_must_exist = false;
    std::size_t max_path = 260;  // longer choices are refused (treated as cancel)
};

class Platform {
public:
    virtual ~Platform() = default;
    virtual void beep(BeepKind kind) = 0;
    virtual MessageAnswer message_box(const std::string& title, const std::string& text,
                                      MessageIcon icon, MessageButtons buttons) = 0;
    virtual std::optional<std::string> open_file_dialog(const FileDialogRequest& req) = 0;
    virtual std::optional<std::string> save_file_dialog(const FileDialogRequest& req) = 0;
    // Milliseconds since an arbitrary start, never decreasing.
    virtual std::uint64_t tick_count_ms() = 0;
    // High-resolution counter and its frequency; false when unavailable.
    virtual bool performance_counter(std::int64_t* value) = 0;
    virtual bool performance_frequency(std::int64_t* value) = 0;
    // Full path of the running executable ("" when unknown).
    virtual std::string executable_path() = 0;
    // Ask the main window to repaint; nothing happens without one.
    virtual void request_repaint() = 0;
};

// The headless implementation: no dialogs (cancel), no sound, steady_clock.
class HeadlessPlatform : public Platform {
public:
    void beep(BeepKind) override {}
    MessageAnswer message_box(const std::string& title, const std::string& text, MessageIcon icon,
                              MessageButtons buttons) override;
    std::optional<std::string> open_file_dialog(const FileDialogRequest&) override {
        return std::nullopt;
    }
    std::optional<std::string> save_file_dialog(const FileDialogRequest&) override {
        return std::nullopt;
    }
    std::uint64_t tick_count_ms() override;
    bool performance_counter(std::int64_t* value) override;
    bool performance_frequency(std::int64_t* value) override;
    std::string executable_path() override;
    void request_repaint() override {}
};

// The installed platform; the headless one until set_platform is called. The caller keeps
// ownership; passing nullptr restores the headless default.
Platform& platform();
void set_platform(Platform* p);

}  // namespace kaitoro
