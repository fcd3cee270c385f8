// The file dialog of every open and save command refuses a path it cannot use, says why,
// and stays open; a usable path closes it.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <fstream>
#include <string>
#include <vector>

#include "app/qt_platform.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

TEST(FileDialog, RefusesUnusablePathsWithTheReasonAndStaysOpen) {
    testing::TempDir dir;
    const std::string existing = dir.file("present.csv");
    std::ofstream(existing) << "x\n";
    const std::string long_name = dir.path() + "/" + std::string(300 - dir.path().size(), 'a') + ".csv";
    struct Case {
        const char* name;
        bool save;
        std::string path;
        std::string refusal;  // empty: accepted
    } cases[] = {
        {"save into a missing folder", true, dir.path() + "/no_such_folder/out.csv",
         "The folder \"" + dir.path() + "/no_such_folder\" does not exist."},
        {"save with a path of 300+ bytes", true, long_name,
         "The path is too long (" + std::to_string(long_name.size()) +
             " bytes); it must stay under 260."},
        {"open a missing file", false, dir.file("absent.csv"),
         "The file \"" + dir.file("absent.csv") + "\" does not exist."},
        {"save a new file", true, dir.file("new.csv"), ""},
        {"open an existing file", false, existing, ""},
    };
    std::vector<std::string> warnings;
    const auto saved = g_file_dialog_warning;
    g_file_dialog_warning = [&](QWidget*, const QString&, const QString& text) {
        warnings.push_back(text.toStdString());
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        warnings.clear();
        FileDialogRequest req;
        req.title = "Save station CSV";
        req.filters = {{"CSV files", "*.csv"}};
        req.file_must_exist = !c.save;
        req.path_must_exist = true;
        CheckedFileDialog dialog(nullptr, req, c.save);
        auto* name = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        ASSERT_NE(name, nullptr);
        name->setText(QString::fromStdString(c.path));  // typed by the user
        dialog.open();
        dialog.accept();
        if (c.refusal.empty()) {
            EXPECT_EQ(dialog.result(), QDialog::Accepted);
            EXPECT_TRUE(warnings.empty());
            ASSERT_FALSE(dialog.selectedFiles().isEmpty());
            EXPECT_EQ(dialog.selectedFiles().first().toStdString(), c.path);
        } else {
            EXPECT_TRUE(dialog.isVisible());  // still open for another try
            EXPECT_EQ(warnings, std::vector<std::string>{c.refusal});
            EXPECT_EQ(dialog.last_problem(), c.refusal);
        }
        dialog.reject();
    }
    g_file_dialog_warning = saved;
}

}  // namespace
}  // namespace kaitoro
