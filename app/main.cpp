// Kaitoro, the desktop program: start-up, the main window and the event loop, shutdown.
#include <QApplication>
#include <clocale>

#include "app/main_window.h"
#include "app/qt_platform.h"
#include "app/qt_surface.h"
#include "core/driver.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);  // takes its own options out of argv
    // Qt adopts the user's locale; files and number fields use '.' whatever the desktop says.
    std::setlocale(LC_NUMERIC, "C");

    kaitoro::QtPlatform qt_platform;
    kaitoro::set_platform(&qt_platform);
    const QFont ui_font = kaitoro::make_ui_font();
    QApplication::setFont(ui_font);

    if (const int rc = kaitoro::driver_startup(argc, argv)) {
        kaitoro::set_platform(nullptr);
        return rc;
    }
    int rc = 0;
    {
        kaitoro::MainWindow window(ui_font);
        qt_platform.set_main_window(&window);
        kaitoro::install_shell_windows(&window);
        window.show();
        window.setFocus();
        rc = app.exec();
        qt_platform.set_main_window(nullptr);
    }
    kaitoro::driver_shutdown();
    kaitoro::set_platform(nullptr);
    return rc == 0 ? 0 : 1;
}
