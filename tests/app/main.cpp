// The desktop tests run on Qt's offscreen platform unless told otherwise, so they need no
// display (test discovery included).
#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <clocale>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // The offscreen screen is 800 x 600 unless configured; the windows are checked at their
    // usual sizes on a full-HD screen (small screens are tested by size explicitly).
    QString config;
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen") {
        config = QDir::temp().filePath(
            QStringLiteral("kaitoro_app_tests_screen_%1.json").arg(QCoreApplication::applicationPid()));
        QFile f(config);
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            f.write(R"({"screens": [{"name": "test", "x": 0, "y": 0, "width": 1920,
                         "height": 1080, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
            f.close();
            qputenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + config).toUtf8());
        }
    }
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    if (!config.isEmpty()) QFile::remove(config);
    std::setlocale(LC_NUMERIC, "C");
    return RUN_ALL_TESTS();
}
