#include "app/qt_platform.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFileDialog>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>

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

namespace {

// One dialog for both directions, so the default name, suffix and checks behave alike.
std::optional<std::string> run_file_dialog(QWidget* parent, const FileDialogRequest& req,
                                           bool save) {
    QFileDialog dialog(parent, QString::fromStdString(req.title));
    dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog.setFileMode(save ? QFileDialog::AnyFile
                            : (req.file_must_exist ? QFileDialog::ExistingFile
                                                   : QFileDialog::AnyFile));
    dialog.setNameFilter(qt_filter_string(req));
    if (!req.default_extension.empty())
        dialog.setDefaultSuffix(QString::fromStdString(req.default_extension));
    if (save && !req.confirm_overwrite) dialog.setOption(QFileDialog::DontConfirmOverwrite);
    if (!req.default_name.empty()) dialog.selectFile(QString::fromStdString(req.default_name));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    const QString path = dialog.selectedFiles().first();
    const std::string s = path.toStdString();
    if (s.empty() || s.size() >= req.max_path) return std::nullopt;
    if (req.file_must_exist && !QFileInfo::exists(path)) return std::nullopt;
    if (req.path_must_exist && !QFileInfo(path).absoluteDir().exists()) return std::nullopt;
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
