// The platform services bound to Qt: native dialogs, message boxes, beeps and clocks.
#pragma once

#include <QElapsedTimer>
#include <QFileDialog>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <string>

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

// Why a chosen path cannot be used (too long, missing folder, missing file to open), or empty
// when it can.
std::string file_dialog_path_problem(const std::string& path, const FileDialogRequest& req,
                                     bool save);

// The file dialog of every open and save command: refuses a path it cannot use with a warning
// naming the reason and stays open, instead of closing as if cancelled.
class CheckedFileDialog : public QFileDialog {
public:
    CheckedFileDialog(QWidget* parent, const FileDialogRequest& req, bool save);
    void accept() override;
    // The reason of the last refusal; empty after an accepted choice.
    const std::string& last_problem() const { return last_problem_; }

private:
    FileDialogRequest req_;
    bool save_;
    std::string last_problem_;
};

// Shows a refusal (a warning box); tests replace it to record instead of blocking.
extern std::function<void(QWidget*, const QString&, const QString&)> g_file_dialog_warning;

}  // namespace kaitoro
