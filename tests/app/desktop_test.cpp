// The desktop program's windows as Qt delivers their events; the command logic behind them
// is checked without a toolkit in shell/, so these check what Qt adds: events, widgets, pixels.
#include <gtest/gtest.h>

#include <QFontMetrics>
#include <QImage>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimerEvent>
#include <QWheelEvent>

#include "app/qt_keys.h"
#include "app/qt_surface.h"
#include "core/sources.h"
#include "feed/zone_assign.h"
#include "quick_ff/placement.h"
#include "shell/quick_ff_window.h"
#include "shell/settings.h"
#include "shell/zone_assign_window.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "tests/support/app_fixture.h"

namespace kaitoro {
namespace {

class DesktopTest : public testing::AppTest {
  protected:
    void tick() {
        QTimerEvent e(window_->run_timer_id());
        QApplication::sendEvent(window_.get(), &e);
    }
};

TEST_F(DesktopTest, TheWindowStartsWithItsCaptionSizeAndButtons) {
    EXPECT_EQ(window_->windowTitle().toStdString(),
              "Kaitoro - Default Coast Mask + Strong Absorber");
    EXPECT_EQ(window_->width(), 1280);
    EXPECT_EQ(window_->height(), 760);
    EXPECT_EQ(window_->panel_button(0)->text().toStdString(), "Run / Pause");
    EXPECT_EQ(window_->panel_button(8)->geometry(), QRect(1174, 720, 93, 28));
    EXPECT_EQ(window_->panel_button(3)->focusPolicy(), Qt::NoFocus);
    EXPECT_LE(QFontMetrics(window_->ui_font()).height(), 16);
    EXPECT_GE(QFontMetrics(window_->ui_font()).height(), 13);
}

TEST_F(DesktopTest, ADragOnTheMapPaintsNodesAndNamesTheStroke) {
    mouse(QEvent::MouseButtonPress, cell_pixel(60, 40), Qt::LeftButton, Qt::LeftButton);
    for (int x = 61; x <= 72; x += 2)
        mouse(QEvent::MouseMove, cell_pixel(x, 42), Qt::NoButton, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, cell_pixel(72, 42), Qt::LeftButton, Qt::NoButton);
    EXPECT_GT(g_sources.count, 10u);
    EXPECT_EQ(status().rfind("Finished source stroke. ", 0), 0u) << status();
}

TEST_F(DesktopTest, SpaceRunsAndTheModelTimeAdvancesOnTimerTicks) {
    key(QEvent::KeyPress, Qt::Key_Space);
    ASSERT_EQ(g_running, 1);
    tick();
    tick();
    EXPECT_EQ(g_time_s, 120);  // 4 steps of 15 s per tick
    QTimerEvent other(window_->run_timer_id() + 1000);
    QApplication::sendEvent(window_.get(), &other);
    EXPECT_EQ(g_time_s, 120);
    key(QEvent::KeyPress, Qt::Key_Space);
    tick();
    EXPECT_EQ(g_time_s, 120);
    EXPECT_EQ(status(), "Paused.");
}

TEST_F(DesktopTest, CtrlWheelKeepsTheCellUnderThePointer) {
    g_view_zoom = 2.0;
    const QPoint p = cell_pixel(35, 55) + QPoint(2, -1);
    int gx0, gy0, gx, gy;
    ASSERT_TRUE(screen_to_grid(p.x(), p.y(), &gx0, &gy0));
    for (int i = 0; i < 4; ++i) {
        QWheelEvent e(QPointF(p), window_->mapToGlobal(QPointF(p)), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(window_.get(), &e);
    }
    EXPECT_GT(g_view_zoom, 3.8);
    ASSERT_TRUE(screen_to_grid(p.x(), p.y(), &gx, &gy));
    EXPECT_EQ(gx, gx0);
    EXPECT_EQ(gy, gy0);

    const double zoom = g_view_zoom;  // a plain wheel is not a zoom
    QWheelEvent plain(QPointF(p), window_->mapToGlobal(QPointF(p)), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(window_.get(), &plain);
    EXPECT_EQ(g_view_zoom, zoom);
}

TEST_F(DesktopTest, SettingsApplyRejectsSpeedZeroAndChangesNothing) {
    window_->panel_button(7)->click();
    ASSERT_NE(g_settings_hwnd, nullptr);
    auto* settings = dynamic_cast<ToolWindow*>(g_settings_hwnd);
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->windowTitle().toStdString(), "Tsunami Settings");

    auto* slip = control<QLineEdit>(g_settings_hwnd, kSetEditSlip);
    auto* speed = control<QLineEdit>(g_settings_hwnd, kSetEditSpeed);
    ASSERT_TRUE(slip && speed);
    EXPECT_EQ(slip->text().toStdString(), "1.00");
    slip->setText("3.5");
    speed->setText("0");
    control<QPushButton>(g_settings_hwnd, kSetApplyNumeric)->click();
    ASSERT_EQ(fake_.boxes.size(), 1u);
    EXPECT_EQ(fake_.boxes[0].text, "Speed must be an integer from 1 to 100 steps/frame.");
    EXPECT_FLOAT_EQ(g_new_source_height_m, 1.0f);

    speed->setText("12");
    control<QPushButton>(g_settings_hwnd, kSetApplyNumeric)->click();
    EXPECT_EQ(g_steps_per_frame, 12);
    EXPECT_FLOAT_EQ(g_new_source_height_m, 3.5f);

    // Switching pages from a page button replaces the controls under the pressed button.
    control<QPushButton>(g_settings_hwnd, kSetPageColors)->click();
    QApplication::processEvents();
    auto* cell_colors = control<QPlainTextEdit>(g_settings_hwnd, kSetCellColorEdit);
    ASSERT_NE(cell_colors, nullptr);
    EXPECT_FALSE(cell_colors->toPlainText().isEmpty());
    EXPECT_EQ(control<QLineEdit>(g_settings_hwnd, kSetEditSlip), nullptr);
}

TEST_F(DesktopTest, PresetPageOffersTheFieldFormatExports) {
    window_->panel_button(7)->click();
    control<QPushButton>(g_settings_hwnd, kSetPagePreset)->click();
    QApplication::processEvents();
    struct Expected {
        int id;
        const char* text;
    };
    for (const Expected& e : {Expected{kSetExportNetcdf, "Export NetCDF"},
                              Expected{kSetExportGeojson, "Export GeoJSON"},
                              Expected{kSetSaveAnimation, "Save animation"}}) {
        auto* b = control<QPushButton>(g_settings_hwnd, e.id);
        ASSERT_NE(b, nullptr) << e.text;
        EXPECT_EQ(b->text().toStdString(), e.text);
        EXPECT_TRUE(b->isVisible());
    }
    control<QPushButton>(g_settings_hwnd, kSetExportGeojson)->click();
    EXPECT_EQ(fake_.save_requests.size(), 1u);
}

TEST_F(DesktopTest, TheEditorRefusesAnInvalidCellByNameAndStaysOpen) {
    key(QEvent::KeyPress, Qt::Key_S);
    ASSERT_NE(g_quick_ff_hwnd, nullptr);
    auto* editor = dynamic_cast<ToolWindow*>(g_quick_ff_hwnd);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->windowTitle().toStdString(), "Quick finite-fault grid editor");
    auto* c3 = control<QPlainTextEdit>(g_quick_ff_hwnd, kQffFirstCell + 12);
    ASSERT_NE(c3, nullptr);
    EXPECT_EQ(c3->toPlainText().toStdString(), "1\n0\n15.0");

    control<QPlainTextEdit>(g_quick_ff_hwnd, kQffFirstCell + 1)->setPlainText("2\nlater\n15");
    control<QPushButton>(g_quick_ff_hwnd, kQffApplyPlacement)->click();
    ASSERT_EQ(fake_.boxes.size(), 1u);
    EXPECT_EQ(fake_.boxes[0].text.rfind("Invalid value in cell B1.", 0), 0u);
    EXPECT_TRUE(editor->isVisible());
    EXPECT_EQ(g_quick_ff_place_mode, 0);

    // The frame's close box takes the same path; fixed and confirmed, placement starts.
    control<QPlainTextEdit>(g_quick_ff_hwnd, kQffFirstCell + 1)->setPlainText("2\n30\n15");
    fake_.box_answers = {MessageAnswer::No, MessageAnswer::Yes};
    editor->close();
    EXPECT_EQ(g_quick_ff_hwnd, nullptr);
    EXPECT_EQ(g_quick_ff_place_mode, 1);
}

TEST_F(DesktopTest, ShiftHoveringTwoStationsAndReleasingOpensTheZoneWindowForBoth) {
    mouse(QEvent::MouseMove, cell_pixel(10, 20), Qt::NoButton, Qt::NoButton, Qt::ShiftModifier);
    mouse(QEvent::MouseMove, cell_pixel(30, 25), Qt::NoButton, Qt::NoButton, Qt::ShiftModifier);
    mouse(QEvent::MouseMove, cell_pixel(10, 30), Qt::NoButton, Qt::NoButton, Qt::ShiftModifier);
    EXPECT_EQ(g_shift_zone_assign_count, 2);
    key(QEvent::KeyRelease, Qt::Key_Shift);
    auto* zone = dynamic_cast<ToolWindow*>(g_zone_assign_hwnd);
    ASSERT_NE(zone, nullptr);
    EXPECT_EQ(zone->windowTitle().toStdString(), "Assign forecast zone");

    control<QLineEdit>(g_zone_assign_hwnd, kZoneIdEdit)->setText("12");
    control<QLineEdit>(g_zone_assign_hwnd, kZoneNameEdit)->setText("");
    control<QPushButton>(g_zone_assign_hwnd, kZoneApply)->click();
    EXPECT_EQ(g_zone_assign_hwnd, nullptr);
    EXPECT_EQ(g_grid.station_zone[1], 12);
    EXPECT_EQ(status().rfind("Assigned 2 station(s) to zone 12: ", 0), 0u) << status();
}

TEST_F(DesktopTest, TheRenderedFrameHasTheMapLeftAndThePanelRight) {
    const QImage frame = window_->grab().toImage();
    ASSERT_EQ(frame.size(), QSize(1280, 760));
    auto rgb = [&](QPoint p) { return frame.pixel(p) & 0xFFFFFFu; };
    EXPECT_EQ(rgb(cell_pixel(60, 40)), 0x112C58u);  // open sea
    EXPECT_EQ(rgb(cell_pixel(4, 40)), 0xB2A25Eu);   // land
    EXPECT_EQ(rgb(cell_pixel(9, 40)), 0xD6C474u);   // coast
    // 8 pixels a cell: the map fills 960 x 640, centred in the area left of the panel.
    EXPECT_EQ(rgb(QPoint(480, 30)), 0x121216u);  // background above the map
    EXPECT_EQ(rgb(QPoint(959, 300)), 0x112C58u);
    EXPECT_EQ(rgb(QPoint(1275, 4)), 0x202026u);  // panel
    EXPECT_EQ(rgb(QPoint(962, 300)), 0x202026u);
    // The panel's heading is drawn in light text near its top-left.
    int light = 0;
    for (int y = 14; y < 36; ++y)
        for (int x = 972; x < 1060; ++x) light += qGray(frame.pixel(x, y)) > 150;
    EXPECT_GT(light, 20);
}

TEST(QtKeys, PhysicalKeysMapToTheProgramsCodes) {
    EXPECT_EQ(key_code_from_qt(Qt::Key_A, Qt::ControlModifier), 'A');
    EXPECT_EQ(key_code_from_qt(Qt::Key_NumberSign, Qt::ShiftModifier), '3');  // Shift+3
    EXPECT_EQ(key_code_from_qt(Qt::Key_ParenRight, Qt::ShiftModifier), '0');
    EXPECT_EQ(key_code_from_qt(Qt::Key_Minus, Qt::NoModifier), kKeyMinus);
    EXPECT_EQ(key_code_from_qt(Qt::Key_Underscore, Qt::ShiftModifier), kKeyMinus);
    EXPECT_EQ(key_code_from_qt(Qt::Key_Plus, Qt::ShiftModifier), kKeyPlusEquals);
    EXPECT_NE(key_code_from_qt(Qt::Key_Plus, Qt::KeypadModifier), kKeyPlusEquals);
    EXPECT_NE(key_code_from_qt(Qt::Key_5, Qt::KeypadModifier), '5');
    EXPECT_EQ(key_code_from_qt(Qt::Key_Less, Qt::ShiftModifier), kKeyComma);
    EXPECT_EQ(key_code_from_qt(Qt::Key_BraceRight, Qt::ShiftModifier), kKeyBracketRight);
    EXPECT_EQ(key_code_from_qt(Qt::Key_Backtab, Qt::ShiftModifier), kKeyTab);
    EXPECT_EQ(key_code_from_qt(Qt::Key_F5, Qt::NoModifier), 0);
}

TEST(QtSurface, ScalesWithoutSmoothingAndKeepsExclusiveEdges) {
    QImage img(40, 20, QImage::Format_RGB32);
    img.fill(Qt::black);
    {
        QPainter p(&img);
        QtSurface s(&p, make_ui_font());
        const std::uint32_t pixels[2] = {0xFF0000, 0x0000FF};
        s.blit_scaled(pixels, 2, 1, 0, 0, 40, 20);
        s.fill_rect(2, 2, 6, 5, 0x00FF00);
        s.rectangle(20, 2, 30, 8, DrawPen{0xFFFFFF, 1, PenStyle::Solid}, DrawBrush::none());
    }
    auto rgb = [&](int x, int y) { return img.pixel(x, y) & 0xFFFFFFu; };
    EXPECT_EQ(rgb(19, 15), 0xFF0000u);
    EXPECT_EQ(rgb(20, 15), 0x0000FFu);
    EXPECT_EQ(rgb(5, 4), 0x00FF00u);
    EXPECT_EQ(rgb(6, 4), 0xFF0000u);
    EXPECT_EQ(rgb(5, 5), 0xFF0000u);
    EXPECT_EQ(rgb(20, 2), 0xFFFFFFu);
    EXPECT_EQ(rgb(29, 7), 0xFFFFFFu);
    EXPECT_EQ(rgb(30, 8), 0x0000FFu);
    EXPECT_EQ(rgb(25, 5), 0x0000FFu);
}

}  // namespace
}  // namespace kaitoro
