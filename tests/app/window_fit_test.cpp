// The main window's text, tooltip and buttons measured with the desktop's own font, and the
// windows on small screens. Text is measured as the window draws it: QFontMetrics of the UI
// font.
#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetrics>
#include <QPushButton>
#include <QScrollArea>
#include <cstdio>
#include <string>

#include "app/qt_surface.h"
#include "core/sources.h"
#include "core/status.h"
#include "feed/observation_points.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "shell/main_window.h"
#include "shell/settings.h"
#include "source_design/source_cell.h"
#include "tests/support/app_fixture.h"

namespace kaitoro {
namespace {

// Paints the scene with the window's own surface and records what it drew: each text with
// the width it has in the font it was set in, and the boxes and markers.
class MeasuredSurface : public QtSurface {
  public:
    struct Drawn {
        char kind;  // 't' text, 'r' filled rectangle, 'e' ellipse
        int x, y, right, bottom;
        std::string text;
        std::uint32_t fill;
    };
    MeasuredSurface(QPainter* p, const QFont& f) : QtSurface(p, f) {}

    void text(int x, int y, const std::string& s) override {
        if (!inner_) drawn.push_back({'t', x, y, x + text_width(s), y, s, 0});
        QtSurface::text(x, y, s);
    }
    void text_within(int x, int y, const std::string& s, int max_width_px) override {
        const QString q = QString::fromUtf8(s.data(), int(s.size()));
        const int w = QFontMetrics(font_within(q, max_width_px)).horizontalAdvance(q);
        drawn.push_back({'t', x, y, x + w, y, s, 0});
        inner_ = true;
        QtSurface::text_within(x, y, s, max_width_px);
        inner_ = false;
    }
    void rectangle(int l, int t, int r, int b, const DrawPen& p, const DrawBrush& br) override {
        if (!br.hollow) drawn.push_back({'r', l, t, r, b, {}, br.rgb});
        QtSurface::rectangle(l, t, r, b, p, br);
    }
    void ellipse(int l, int t, int r, int b, const DrawPen& p, const DrawBrush& br) override {
        drawn.push_back({'e', l, t, r, b, {}, br.rgb});
        QtSurface::ellipse(l, t, r, b, p, br);
    }
    std::vector<Drawn> drawn;

  private:
    bool inner_ = false;
};

class WindowFitTest : public testing::AppTest {
  protected:
    std::vector<MeasuredSurface::Drawn> draw(int w, int h) {
        QImage image(w, h, QImage::Format_RGB32);
        QPainter painter(&image);
        MeasuredSurface s(&painter, window_->ui_font());
        const SceneWindow scene{w, h, 0};
        draw_scene_to_hdc(&s, &scene);
        return s.drawn;
    }
    static std::vector<MeasuredSurface::Drawn> texts_of(
        const std::vector<MeasuredSurface::Drawn>& all) {
        std::vector<MeasuredSurface::Drawn> out;
        for (const auto& d : all)
            if (d.kind == 't') out.push_back(d);
        return out;
    }
};

void add_wide_source() {  // a fault area of four digits
    for (int y = 10; y < 70; ++y)
        for (int x = 30; x < 60; ++x) source_list_append(&g_sources, x, y, 2.0f, 0);
    for (std::size_t i = 0; i < g_sources.count; ++i) g_sources[i].slip_m = 20.0f;
}

// Every text of the panel lies whole within the panel, in states that lengthen its lines.
TEST_F(WindowFitTest, PanelTextStaysInsideThePanel) {
    struct Case {
        const char* name;
        void (*setup)();
        const char* must_show;  // the start of a line that must be drawn whole
    } cases[] = {
        {"defaults", [] {}, "Fault area "},
        {"four-digit fault area and a large peak",
         [] {
             add_wide_source();
             g_new_source_height_m = 60.0f;
         },
         "Fault area "},
        {"transmit-only with a long status",
         [] {
             g_orvex_transmit_mode = 1;
             set_status("Saved station CSV: /a/very/long/path/with/many/folders/in/it/"
                        "results_of_the_third_run.csv");
         },
         "Ctrl+R: show the wave"},
        {"max-wave layer and a wide view zoom",
         [] {
             g_wave_layer_mode = 2;
             g_view_zoom = 12.25;
         },
         "Max ocean cell: "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TearDown();
        SetUp();
        c.setup();
        bool shown = false;
        for (const auto& t : texts_of(draw(1280, 760))) {
            SCOPED_TRACE(t.text);
            EXPECT_GE(t.x, 1280 - kInfoPanelWidthPx);
            EXPECT_LE(t.right, 1280);
            shown |= t.text.rfind(c.must_show, 0) == 0;
        }
        EXPECT_TRUE(shown);
    }
}

TEST_F(WindowFitTest, TooltipTextStaysInItsBoxAndIsDrawnOverSourceMarkers) {
    // A long hand-made zone name, and a source marker under the tooltip.
    station_zone_override_ensure_initialized();
    g_station_zone_override_id[1] = 12;
    std::snprintf(g_station_zone_override_name[1].data(), 96, "%s",
                  "Miyagi Prefecture northern coast including the Oshika Peninsula area");
    g_orvex_transmit_mode = 0;
    const QPoint at = cell_pixel(10, 30);
    mouse(QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton);
    ASSERT_EQ(g_hover_station_i, 1);
    int gx, gy;
    ASSERT_TRUE(screen_to_grid(at.x() + 40, at.y() + 40, &gx, &gy));
    source_list_append(&g_sources, gx, gy, 1.0f, 0);
    g_show_source_markers = 1;
    g_orvex_transmit_mode = 0;

    const auto drawn = draw(window_->width(), window_->height());
    int last_box = -1, last_marker = -1;
    for (int i = 0; i < int(drawn.size()); ++i) {
        if (drawn[std::size_t(i)].kind == 'r' && drawn[std::size_t(i)].fill == 0x18181E)
            last_box = i;
        if (drawn[std::size_t(i)].kind == 'e') last_marker = i;
    }
    ASSERT_GE(last_marker, 0);
    ASSERT_GT(last_box, last_marker);  // the box and its text come after the markers
    const auto& box = drawn[std::size_t(last_box)];
    bool zone_line = false;
    for (std::size_t i = std::size_t(last_box) + 1; i < drawn.size(); ++i) {
        const auto& t = drawn[i];
        if (t.kind != 't' || t.x >= window_->width() - kInfoPanelWidthPx) continue;
        SCOPED_TRACE(t.text);
        EXPECT_GT(t.x, box.x);
        EXPECT_LE(t.right, box.right);
        EXPECT_LE(t.y + kSceneLineHeight, box.bottom);
        zone_line |= t.text == "Miyagi Prefecture northern coast including the Oshika Peninsula area";
    }
    EXPECT_TRUE(zone_line);
}

TEST_F(WindowFitTest, MainWindowKeepsItsPanelTextAboveTheButtons) {
    window_->resize(700, 400);
    QApplication::processEvents();
    EXPECT_GE(window_->width(), kMainWindowMinWidth);
    EXPECT_GE(window_->height(), kMainWindowMinHeight);
    // At the smallest size, with the longest usual panel (transmit-only, max layer, a status
    // of two lines), no text reaches the first row of buttons.
    g_orvex_transmit_mode = 1;
    g_wave_layer_mode = 2;
    set_status("Saved station CSV: /home/user/results/tohoku_2011/station_table_run_03.csv");
    window_->resize(kMainWindowMinWidth, kMainWindowMinHeight);
    QApplication::processEvents();
    const int buttons_top = window_->panel_button(0)->geometry().top();
    for (const auto& t : texts_of(draw(window_->width(), window_->height()))) {
        SCOPED_TRACE(t.text);
        EXPECT_LE(t.y + QFontMetrics(window_->ui_font()).height(), buttons_top);
    }
    EXPECT_LE(window_->panel_button(8)->geometry().bottom(), window_->height());
}

TEST_F(WindowFitTest, ThePanelHintFollowsTheMode) {
    auto hint_shown = [this] {
        for (const auto& t : texts_of(draw(window_->width(), window_->height())))
            if (t.text == "Ctrl+R: show the wave") return true;
        return false;
    };
    ASSERT_EQ(g_orvex_transmit_mode, 1);  // the program starts in transmit-only mode
    EXPECT_TRUE(hint_shown());
    key(QEvent::KeyPress, Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(g_orvex_transmit_mode, 0);
    EXPECT_FALSE(hint_shown());
}

TEST_F(WindowFitTest, SettingsWindowScrollsOnASmallScreen) {
    open_or_raise_settings_window();
    auto* settings = dynamic_cast<ToolWindow*>(g_settings_hwnd);
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->scroll_area(), nullptr);  // a full-HD screen holds it
    EXPECT_EQ(settings->size(), QSize(740, 930));

    settings->fit_to_screen(QSize(1366, 728));  // 1366 x 768 less a 40-pixel task bar
    ASSERT_NE(settings->scroll_area(), nullptr);
    EXPECT_LE(settings->height(), 728 - 40);
    EXPECT_LE(settings->width(), 1366);
    // Every control, Close included, is still there and can be scrolled into view.
    QPushButton* close = nullptr;
    for (QPushButton* b : settings->findChildren<QPushButton*>())
        if (b->text() == QStringLiteral("Close")) close = b;
    ASSERT_NE(close, nullptr);
    settings->scroll_area()->ensureWidgetVisible(close);
    const QPoint in_window = close->mapTo(settings, QPoint(0, 0));
    EXPECT_GE(in_window.y(), 0);
    EXPECT_LE(in_window.y() + close->height(), settings->height());
    // Controls still answer to their ids.
    EXPECT_TRUE(settings->has_control(kSetEditSlip));
}

}  // namespace
}  // namespace kaitoro
