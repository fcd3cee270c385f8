#include "app/qt_platform.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFileDialog>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <functional>

namespace kaitoro {

QtPlatform::QtPlatform() { clock_.start(); }

void QtPlatform::beep(BeepKind) { QApplication::beep(); }

MessageAnswer QtPlatform::message_box(const std::string& title, const std::string& text,
                                      MessageIcon icon, MessageButtons buttons) {
    QMessageBox box(main_window_);
    box.setWindowTitle(QString::fromStdString(title));
    box.setText(QString::fromStdString(text));
    switch (icon) {
        case MessageIcon::None: box.setIcon(QMessageBox::NoIcon); break;
        case MessageIcon::Information: box.setIcon(QMessageBox::Information); break;
        case MessageIcon::Warning: box.setIcon(QMessageBox::Warning); break;
        case MessageIcon::Error: box.setIcon(QMessageBox::Critical); break;
        case MessageIcon::Question: box.setIcon(QMessageBox::Question); break;
    }
    switch (buttons) {
        case MessageButtons::Ok: box.setStandardButtons(QMessageBox::Ok); break;
        case MessageButtons::OkCancel:
            box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
            break;
        case MessageButtons::YesNo: box.setStandardButtons(QMessageBox::Yes | QMessageBox::No); break;
        case MessageButtons::YesNoCancel:
            box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
            break;
    }
    switch (box.exec()) {
        case QMessageBox::Yes: return MessageAnswer::Yes;
        case QMessageBox::No: return MessageAnswer::No;
        case QMessageBox::Cancel: return MessageAnswer::Cancel;
        default: return MessageAnswer::Ok;
    }
}

QString qt_filter_string(const FileDialogRequest& req) {
    QStringList parts;
    for (const FileFilter& f : req.filters)
        parts << QString::fromStdString(f.label) + " (" + QString::fromStdString(f.pattern) + ")";
    return parts.join(";;");
}

std::string file_dialog_path_problem(const std::string& path, const FileDialogRequest& req,
                                    bool save) {
    if (path.empty()) return "No file name was given.";
    if (path.size() >= req.max_path)
        return "The path is too long (" + std::to_string(path.size()) +
               " bytes); it must stay under " + std::to_string(req.max_path) + ".";
    const QFileInfo info(QString::fromStdString(path));
    if ((save || req.path_must_exist) && !info.absoluteDir().exists())
        return "The folder \"" + info.absolutePath().toStdString() + "\" does not exist.";
    if (!save && req.file_must_exist && !info.exists())
        return "The file \"" + path + "\" does not exist.";
    if (info.isDir()) return "\"" + path + "\" is a folder, not a file.";
    return {};
}

std::function<void(QWidget*, const QString&, const QString&)> g_file_dialog_warning =
    [](QWidget* parent, const QString& title, const QString& text) {
        QMessageBox::warning(parent, title, text);
    };

CheckedFileDialog::CheckedFileDialog(QWidget* parent, const FileDialogRequest& req, bool save)
    : QFileDialog(parent, QString::fromStdString(req.title)), req_(req), save_(save) {
    // Qt's own dialog on every desktop, so the check below runs before it closes.
    setOption(QFileDialog::DontUseNativeDialog);
    setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    setFileMode(save ? QFileDialog::AnyFile
                     : (req.file_must_exist ? QFileDialog::ExistingFile : QFileDialog::AnyFile));
    setNameFilter(qt_filter_string(req));
    if (!req.default_extension.empty())
        setDefaultSuffix(QString::fromStdString(req.default_extension));
    if (save && !req.confirm_overwrite) setOption(QFileDialog::DontConfirmOverwrite);
    if (!req.default_name.empty()) selectFile(QString::fromStdString(req.default_name));
}

// A choice the command could not use would otherwise close the dialog as if cancelled: say
// why and stay open, as a native dialog does.
void CheckedFileDialog::accept() {
    const QStringList files = selectedFiles();
    const std::string path = files.isEmpty() ? std::string() : files.first().toStdString();
    const std::string problem = file_dialog_path_problem(path, req_, save_);
    if (!problem.empty()) {
        last_problem_ = problem;
        g_file_dialog_warning(this, windowTitle(), QString::fromStdString(problem));
        return;
    }
    last_problem_.clear();
    QFileDialog::accept();
}

namespace {

// One dialog for both directions, so the default name, suffix and checks behave alike.
std::optional<std::string> run_file_dialog(QWidget* parent, const FileDialogRequest& req,
                                           bool save) {
    CheckedFileDialog dialog(parent, req, save);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    const std::string s = dialog.selectedFiles().first().toStdString();
    if (!file_dialog_path_problem(s, req, save).empty()) return std::nullopt;
    return s;
}

}  // namespace

std::optional<std::string> QtPlatform::open_file_dialog(const FileDialogRequest& req) {
    return run_file_dialog(main_window_, req, false);
}

std::optional<std::string> QtPlatform::save_file_dialog(const FileDialogRequest& req) {
    return run_file_dialog(main_window_, req, true);
}

std::uint64_t QtPlatform::tick_count_ms() { return std::uint64_t(clock_.elapsed()); }

bool QtPlatform::performance_counter(std::int64_t* value) {
    *value = clock_.nsecsElapsed();
    return true;
}

bool QtPlatform::performance_frequency(std::int64_t* value) {
    *value = 1000000000;
    return true;
}

std::string QtPlatform::executable_path() {
    return QCoreApplication::applicationFilePath().toStdString();
}

void QtPlatform::request_repaint() {
    if (main_window_) main_window_->update();
}

}  // namespace kaitoro
