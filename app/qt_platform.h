// The platform services bound to Qt: native dialogs, message boxes, beeps and clocks.
#pragma once

#include <QElapsedTimer>
#include <QPointer>
#include <QWidget>

#include "core/platform.h"

namespace kaitoro {

class QtPlatform : public Platform {
public:
    QtPlatform();
    // Dialogs and boxes are parented to this window (may be null), and repaints go to it.
    void set_main_window(QWidget* w) { main_window_ = w; }

    void beep(BeepKind kind) override;
    MessageAnswer message_box(const std::string& title, const std::string& text, MessageIcon icon,
                              MessageButtons buttons) override;
    std::optional<std::string> open_file_dialog(const FileDialogRequest& req) override;
    std::optional<std::string> save_file_dialog(const FileDialogRequest& req) override;
    std::uint64_t tick_count_ms() override;
    bool performance_counter(std::int64_t* value) override;
    bool performance_frequency(std::int64_t* value) override;
    std::string executable_path() override;
    void request_repaint() override;

private:
    QPointer<QWidget> main_window_;
    QElapsedTimer clock_;
};

// "CSV files (*.csv);;All files (*.*)" from the request's filters.
QString qt_filter_string(const FileDialogRequest& req);

}  // namespace kaitoro
