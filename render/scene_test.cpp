#include "render/scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "core/driver.h"
#include "core/stations.h"
#include "core/status.h"
#include "core/time_series.h"
#include "quick_ff/ff_grid.h"
#include "quick_ff/placement.h"
#include "render/colors.h"
#include "render/max_wave.h"
#include "render/recording_surface.h"
#include "render/viewport.h"
#include "source_design/node_tune.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"
#include "tests/support/synthetic_grid.h"

namespace kaitoro {
namespace {

constexpr std::uint32_t kSea = 0x112C58, kCoast = 0xD6C474, kLand = 0xB2A25E;

std::uint32_t rgb(int r, int g, int b) {
    return std::uint32_t(r << 16 | g << 8 | b);
}

// A 40 x 20 grid: land in columns 0..4, sea elsewhere, three stations on the coast.
class SceneTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto layout = testing::make_ocean(40, 20, 3500.0f);
        testing::fill_rect(layout, 0, 0, 4, 19, -50.0f);
        layout.add_station(5, 10, 11);
        layout.add_station(5, 12, 11);
        layout.add_station(5, 14, 12);
        layout.add_station(5, 8, kZoneOutside);
        testing::install_grid(testing::load_spec(layout));
        std::fill(g_grid.hidden.begin(), g_grid.hidden.end(), 0);
        window_ = SceneWindow{720, 200, 0};
        compute_viewport(window_.client_w, window_.client_h);  // 10 pixels per cell at (0, 0)
    }
    void TearDown() override { testing::reset_all_globals(); }

    std::uint32_t base_at(int x, int y) {  // base pixel of grid cell (x, y)
        const int col = g_display_flip_x ? 39 - x : x, row = g_display_flip_y ? 19 - y : y;
        return g_base_pixels[std::size_t(row) * 40 + col];
    }
    std::uint32_t frame_at(int x, int y) {
        const int col = g_display_flip_x ? 39 - x : x, row = g_display_flip_y ? 19 - y : y;
        return g_pixels[std::size_t(row) * 40 + col];
    }
    float& height(int x, int y) { return g_sim.height[g_sim.bordered_index(x, y)]; }
    float& max_height(int x, int y) { return g_sim.max_height[g_sim.bordered_index(x, y)]; }

    SceneWindow window_;
    RecordingSurface surface_;
};

TEST_F(SceneTest, BaseMapColoursLandCoastSeaAndBathymetry) {
    scene_update_base_map();
    EXPECT_EQ(base_at(10, 10), kSea);
    EXPECT_EQ(base_at(4, 10), kCoast);  // land beside sea
    EXPECT_EQ(base_at(3, 10), kLand);
    EXPECT_EQ(base_at(0, 0), kLand);  // the grid edge is not sea
    // Row 0 of the buffer is the northern edge: flip Y is on by default.
    EXPECT_EQ(g_base_pixels[0], kLand);
    EXPECT_EQ(g_base_pixels[39], kSea);

    g_show_bathymetry = 1;
    g_grid.depth_m[std::size_t(3) * 40 + 20] = 9000.0f;
    g_grid.depth_m[std::size_t(3) * 40 + 21] = -2.0f;  // water forced onto a cell above sea level
    scene_update_base_map();
    EXPECT_EQ(base_at(10, 10), rgb(17, 83, 150));  // half of 7000 m
    EXPECT_EQ(base_at(20, 3), rgb(8, 42, 214));
    EXPECT_EQ(base_at(21, 3), rgb(26, 124, 86));

    // Inverted: the sea is drawn as land (its edge along the land as coast), the land as sea.
    g_show_bathymetry = 0;
    g_invert_landsea_display = 1;
    scene_update_base_map();
    EXPECT_EQ(base_at(3, 10), kSea);
    EXPECT_EQ(base_at(5, 10), kCoast);
    EXPECT_EQ(base_at(20, 10), kLand);
}

TEST_F(SceneTest, BaseMapIsCachedUntilAKeyChanges) {
    scene_update_base_map();
    g_grid.land[std::size_t(10) * 40 + 20] = 1;  // nobody told the cache
    scene_update_base_map();
    EXPECT_EQ(base_at(20, 10), kSea);

    g_display_flip_x = 1;  // a key changed: rebuilt, mirrored; a lone land cell is coast
    scene_update_base_map();
    EXPECT_EQ(base_at(20, 10), kCoast);
    EXPECT_EQ(g_base_pixels[std::size_t(19 - 10) * 40 + 39 - 20], kCoast);

    g_grid.land[std::size_t(10) * 40 + 20] = 0;
    g_base_cache_valid = 0;  // what the display commands do
    scene_update_base_map();
    EXPECT_EQ(base_at(20, 10), kSea);
    g_grid.land[std::size_t(10) * 40 + 20] = 1;
    g_base_cache_overrides = 1;  // the first-build mark forces a rebuild as well
    scene_update_base_map();
    EXPECT_EQ(base_at(20, 10), kCoast);
}

TEST_F(SceneTest, FrameThresholdsLayersAndBlend) {
    g_orvex_transmit_mode = 0;
    g_wave_overlay_alpha = 1.0f;
    height(10, 10) = 0.0019f;
    height(11, 10) = -0.002f;
    height(12, 10) = 3.0f;
    height(3, 10) = 3.0f;  // land never takes the wave
    max_height(13, 10) = 1.0f;
    scene_update_frame();
    EXPECT_EQ(frame_at(10, 10), kSea);
    EXPECT_EQ(frame_at(11, 10), tsunami_wave_color_log(-0.002f));
    EXPECT_EQ(frame_at(12, 10), tsunami_wave_color_log(3.0f));
    EXPECT_EQ(frame_at(3, 10), kLand);
    EXPECT_EQ(frame_at(13, 10), kSea);  // layer 0 shows the live field only

    g_grid.hidden[std::size_t(10) * 40 + 12] = 1;
    scene_update_frame();
    EXPECT_EQ(frame_at(12, 10), kSea);

    g_wave_layer_mode = 1;
    scene_update_frame();
    EXPECT_EQ(frame_at(11, 10), kSea);
    EXPECT_EQ(frame_at(13, 10), tsunami_wave_color_log(1.0f));

    // Half opacity: each channel base x 0.5 + wave x 0.5, rounded.
    g_wave_overlay_alpha = 0.5f;
    scene_update_frame();
    const std::uint32_t w = tsunami_wave_color_log(1.0f);
    auto mix = [](int b, int v) { return int(float(b) * 0.5f + float(v) * 0.5f + 0.5f); };
    EXPECT_EQ(frame_at(13, 10),
              rgb(mix(17, int(w >> 16)), mix(44, int(w >> 8 & 255)), mix(88, int(w & 255))));

    // Layer 2 draws contours on the plain sea as well.
    g_wave_layer_mode = 2;
    g_wave_overlay_alpha = 1.0f;
    g_sim.arrival_s[g_sim.bordered_index(20, 5)] = 3600;
    scene_update_frame();
    EXPECT_EQ(frame_at(20, 5), contour_blend_rgb32(kSea, 3));
    EXPECT_EQ(frame_at(13, 10), w);

    // Opacity 0 (the default) or transmit-only mode show the base only.
    g_wave_overlay_alpha = 0.0f;
    scene_update_frame();
    EXPECT_EQ(frame_at(13, 10), kSea);
    EXPECT_EQ(frame_at(20, 5), kSea);
    g_wave_overlay_alpha = 1.0f;
    g_orvex_transmit_mode = 1;
    scene_update_frame();
    EXPECT_EQ(frame_at(13, 10), kSea);
}

TEST_F(SceneTest, DrawOrderAndInformationPanel) {
    g_orvex_transmit_mode = 0;
    g_show_coast_height_markers = 1;
    g_sim.station_max_m[0] = 0.5f;
    g_running = 1;
    g_time_s = 5400;
    std::strcpy(g_status, "Ready.");
    draw_scene_to_hdc(&surface_, &window_);

    // Background, the frame blitted 10 pixels a cell, the coast marker of station 1, and the
    // information panel right of the 400-pixel map.
    const auto& c = surface_.calls;
    ASSERT_GE(c.size(), 4u);
    EXPECT_EQ(c[0].kind, RecordedCall::FillRect);
    EXPECT_EQ(c[0].c, 720);
    EXPECT_EQ(c[1].kind, RecordedCall::Blit);
    EXPECT_EQ((std::vector<int>{c[1].a, c[1].b, c[1].c, c[1].d}),
              (std::vector<int>{0, 0, 400, 200}));
    EXPECT_EQ(c[1].pixels, g_pixels.data());
    EXPECT_EQ(c[2].kind, RecordedCall::Rectangle);
    EXPECT_EQ(surface_.of_kind(RecordedCall::FillRect).back().a, 400);

    const auto texts = surface_.of_kind(RecordedCall::Text);
    ASSERT_GE(texts.size(), 20u);
    EXPECT_EQ(texts[0].text, "Kaitoro");
    EXPECT_EQ(texts[0].a, 412);
    EXPECT_EQ(texts[1].text, "Running | 1.50 h | 4 step/frame");
    EXPECT_EQ(texts[1].b, texts[0].b + 26);
    EXPECT_EQ(texts[2].text, "Slip input 1.00m -> Mw 6.77, M0 1.82e+19");
    EXPECT_EQ(texts[3].text, "Fault area 303 km2, shallow 20km T80=0.15 SS50=0.05 peak 0.22m");
    EXPECT_EQ(texts[4].text, "Fault: strike 0 auto, smooth 2.0, dip 15");
    EXPECT_EQ(texts[5].text, "Rupture: 2.50 km/s, cursor 0.0s, unilateral");
    EXPECT_EQ(texts[6].text, "Source ramp: 120s smooth delay");
    EXPECT_EQ(texts[7].text, "Map top 46.29N, calibrated center scale 4.63 km/cell");
    EXPECT_EQ(texts[8].text, "Sub 45% | strike-slip 0% right-lateral");
    EXPECT_EQ(texts[9].text, "Coast absorb: on, loss 55%");
    EXPECT_EQ(texts[10].text, "Markers: source on, coast on/peak");
    EXPECT_EQ(texts[11].text, "Time-series stations: 0");
    EXPECT_EQ(texts[12].text, "Base map: land/sea only | sea-blue default");
    EXPECT_EQ(texts[13].text, "Wave coeff: 1.00x | alpha 0%");
    EXPECT_EQ(texts[14].text, "Wave layer: live waves");
    EXPECT_EQ(texts[15].text, "Render: cached visual base + wave overlay");
    EXPECT_EQ(texts[16].text, "Draw source: left click/drag on map");
    EXPECT_EQ(texts[18].text, "View: Ctrl+wheel zoom 1.00x, Ctrl+drag pan, markers scale");
    EXPECT_EQ(texts[20].text, "Ready.");
    EXPECT_EQ(texts[20].b, texts[19].b + 28);

    // Transmit-only mode: two more lines, and no station markers.
    surface_.calls.clear();
    g_orvex_transmit_mode = 1;
    g_wave_layer_mode = 2;
    max_height(20, 10) = 2.5f;
    draw_scene_to_hdc(&surface_, &window_);
    EXPECT_TRUE(surface_.of_kind(RecordedCall::Rectangle).empty());
    const auto t2 = surface_.texts();
    EXPECT_EQ(t2[2], "Mode: ORVEX transmit-only render");
    EXPECT_EQ(t2[3], "Transmit-only sim cap: 60 h");
    EXPECT_NE(std::find(t2.begin(), t2.end(), "Wave layer: max wave + 1m-eq arrival"), t2.end());
    EXPECT_NE(std::find(t2.begin(), t2.end(), "Max ocean cell: 2.50 m"), t2.end());
}

TEST_F(SceneTest, CoastMarkersPeakLiveAndZoneModes) {
    g_show_coast_height_markers = 1;
    g_sim.station_max_m = {0.5f, 0.049f, 2.0f, 9.0f};
    draw_coast_height_markers(&surface_);
    auto squares = surface_.of_kind(RecordedCall::Rectangle);
    ASSERT_EQ(squares.size(), 3u);  // 0.049 draws nothing
    // Station 1 at cell (5, 10): pixels 50..60 x (19-10)*10 = 90..100, centre (55, 95), r = 4.
    EXPECT_EQ((std::vector<int>{squares[0].a, squares[0].b, squares[0].c, squares[0].d}),
              (std::vector<int>{51, 91, 60, 100}));
    EXPECT_EQ(squares[0].brush.rgb, 0xFFE600u);
    EXPECT_EQ(squares[1].brush.rgb, 0xFF0000u);
    EXPECT_EQ(squares[2].brush.rgb, 0x460057u);  // zone 67 still shows its own peak

    // Zone mode: both zone-11 stations show the zone's peak; zone 67 gets no marker.
    surface_.calls.clear();
    g_coast_marker_use_zone_max = 1;
    draw_coast_height_markers(&surface_);
    squares = surface_.of_kind(RecordedCall::Rectangle);
    ASSERT_EQ(squares.size(), 3u);
    EXPECT_EQ(squares[0].brush.rgb, 0xFFE600u);
    EXPECT_EQ(squares[1].brush.rgb, 0xFFE600u);
    EXPECT_EQ(squares[2].brush.rgb, 0xFF0000u);
    EXPECT_FLOAT_EQ(zone_max_station_height(11), 0.5f);
    EXPECT_FLOAT_EQ(zone_max_station_height(kZoneOutside), 0.0f);

    // Live mode reads the sea level at each station now: all calm, no markers.
    surface_.calls.clear();
    g_coast_marker_use_zone_max = 0;
    g_coast_marker_use_peak = 0;
    draw_coast_height_markers(&surface_);
    EXPECT_TRUE(surface_.calls.empty());
}

TEST_F(SceneTest, HoverPickingHighlightAndTooltip) {
    // Station centres: 1 at (55, 95), 2 at (55, 75), 3 at (55, 55). Reach 4 + 8 = 12 pixels.
    EXPECT_EQ(find_hover_station_at_screen(55, 95), 0);
    EXPECT_EQ(find_hover_station_at_screen(55, 85), 1);  // equally near 1 and 2: the later
    EXPECT_EQ(find_hover_station_at_screen(67, 95), 0);
    EXPECT_EQ(find_hover_station_at_screen(68, 95), -1);
    EXPECT_EQ(find_hover_station_at_screen(300, 10), -1);

    g_hover_station_i = 0;
    g_mouse_screen_x = 55;
    g_mouse_screen_y = 95;
    g_sim.station_max_m[0] = 0.3f;
    g_sim.station_arrival_s[0] = 3725;
    window_.shift_down = 1;
    draw_hover_station_highlight(&surface_);
    draw_hover_station_tooltip(&surface_, &window_);
    const auto rects = surface_.of_kind(RecordedCall::Rectangle);
    ASSERT_EQ(rects.size(), 2u);
    EXPECT_EQ((std::vector<int>{rects[0].a, rects[0].b, rects[0].c, rects[0].d}),
              (std::vector<int>{47, 87, 64, 104}));
    EXPECT_TRUE(rects[0].brush.hollow);
    // Tooltip box: right limit 400 (the map area), 55 + 330 < 392, 95 + 165 >= 192.
    EXPECT_EQ((std::vector<int>{rects[1].a, rects[1].b, rects[1].c, rects[1].d}),
              (std::vector<int>{71, 8, 386, 158}));
    const auto texts = surface_.of_kind(RecordedCall::Text);
    ASSERT_EQ(texts.size(), 6u);
    EXPECT_EQ(texts[0].text, "Obs #1  station_id 11  [SHIFT batch]");
    EXPECT_EQ(texts[0].a, 81);
    EXPECT_EQ(texts[3].text, "Live level 0.0000 m  0.00 cm");
    EXPECT_EQ(texts[4].text, "Live rise 0.0000 m / Peak rise 0.3000 m");
    EXPECT_EQ(texts[5].text,
              std::string("Arrival >=5cm: 1h 02m 05s   Bin: ") + tsunami_height_color_bin(0.3f));

    EXPECT_EQ(station_arrival_text(0), "not reached");
    EXPECT_EQ(station_arrival_text(59), "59s");
    EXPECT_EQ(station_arrival_text(3600), "1h 00m 00s");
}

TEST_F(SceneTest, SourceMarkersPaletteSelectionAndNodeTune) {
    source_list_append(&g_sources, 20, 10, 0.0004f, 0);  // grey
    source_list_append(&g_sources, 21, 10, 0.0004f, 0);
    g_sources[1].fault_id = 9;  // outline from the palette
    source_list_append(&g_sources, 22, 10, -0.3f, 0);
    source_list_append(&g_sources, 23, 10, 1.0f, 0);
    draw_source_markers(&surface_);
    auto circles = surface_.of_kind(RecordedCall::Ellipse);
    ASSERT_EQ(circles.size(), 4u);
    EXPECT_EQ(circles[0].pen.rgb, rgb(180, 180, 180));
    EXPECT_EQ(circles[1].pen.rgb, rgb(255, 190, 60));
    EXPECT_EQ(circles[1].brush.rgb, rgb(120, 120, 120));
    EXPECT_EQ(circles[2].brush.rgb, rgb(40, 150, 255));
    EXPECT_EQ(circles[3].pen.rgb, rgb(255, 255, 80));
    // Cell (20, 10): centre (205, 95), radius 4.
    EXPECT_EQ((std::vector<int>{circles[0].a, circles[0].b, circles[0].c, circles[0].d}),
              (std::vector<int>{201, 91, 210, 100}));

    surface_.calls.clear();
    g_node_tune_mode = 1;
    g_node_tune_selected.assign(4, 0);
    g_node_tune_selected[2] = g_node_tune_selected[3] = 1;
    g_selected_source_i = 3;
    g_node_tune_box_select_active = 1;
    g_node_tune_box_start_x = 300;
    g_node_tune_box_start_y = 50;
    g_node_tune_box_cur_x = 250;
    g_node_tune_box_cur_y = 80;
    draw_source_markers(&surface_);
    circles = surface_.of_kind(RecordedCall::Ellipse);
    ASSERT_EQ(circles.size(), 2u + 2u + 3u);
    EXPECT_EQ(circles[2].brush.rgb, rgb(220, 80, 255));  // selected: radius 4 and a ring at 8
    EXPECT_EQ(circles[3].c - circles[3].a, 17);
    EXPECT_EQ(circles[4].brush.rgb, rgb(255, 80, 255));  // primary: radius 5, rings at 9 and 12
    EXPECT_EQ(circles[4].c - circles[4].a, 11);
    EXPECT_EQ(circles[6].c - circles[6].a, 25);
    const auto rects = surface_.of_kind(RecordedCall::Rectangle);
    ASSERT_EQ(rects.size(), 3u);  // dotted squares of the two unselected nodes, then the box
    EXPECT_EQ(rects[0].pen.style, PenStyle::Dot);
    EXPECT_EQ(rects[0].c - rects[0].a, 11);
    EXPECT_EQ(rects[2].pen.style, PenStyle::Dash);
    EXPECT_EQ((std::vector<int>{rects[2].a, rects[2].b, rects[2].c, rects[2].d}),
              (std::vector<int>{250, 50, 301, 81}));
}

TEST_F(SceneTest, TimeSeriesRingsMarkTheSelectedStation) {
    g_show_time_series_markers = 1;
    time_series_add_station(0, 1);
    time_series_add_station(2, 0);
    draw_time_series_markers(&surface_);
    const auto rings = surface_.of_kind(RecordedCall::Ellipse);
    ASSERT_EQ(rings.size(), 2u);
    const int selected = g_ts_station_i == 0 ? 0 : 1;
    EXPECT_EQ(rings[std::size_t(selected)].pen.rgb, 0xFFFFFFu);
    EXPECT_EQ(rings[std::size_t(1 - selected)].pen.rgb, rgb(60, 240, 255));
}

TEST_F(SceneTest, StatusWrapsAtBreakOpportunities) {
    // 7 pixels a character: at most 42 characters on a 296-pixel line.
    auto wrap = [&](const char* s) { return wrap_status_lines(&surface_, s, 296); };
    EXPECT_EQ(wrap("Saved station CSV and forecast-zone CSV: /tmp/out/tsunami_station_points.csv"),
              (std::vector<std::string>{"Saved station CSV and forecast-zone CSV: /",
                                        "tmp/out/tsunami_station_points.csv"}));
    EXPECT_EQ(wrap("  first line\r\n\tsecond|third"),
              (std::vector<std::string>{"first line", "second|third"}));
    const std::string word(50, 'x');
    EXPECT_EQ(wrap(word.c_str()),
              (std::vector<std::string>{std::string(42, 'x'), std::string(8, 'x')}));
    EXPECT_EQ(wrap("a,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q,r,s,t,u,v,w"),
              (std::vector<std::string>{"a,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q,r,s,t,u,", "v,w"}));
    // Bytes that are not UTF-8 are still shown, one character each.
    EXPECT_EQ(wrap("bad \xff byte").size(), 1u);

    int y = 100;
    std::strcpy(g_status, "one two");
    draw_text_wrapped(&surface_, 5, &y);
    EXPECT_EQ(y, 120);
    EXPECT_EQ(surface_.texts(), (std::vector<std::string>{"one two"}));
}

TEST_F(SceneTest, PlacementPreviewFollowsTheMouseCell) {
    quick_ff_init_empty_grid(3, 3, 1);  // only C3 active: the epicentre patch
    g_quick_ff_place_mode = 1;
    g_mouse_grid_x = 20;
    g_mouse_grid_y = 10;
    g_fault_strike_deg = 90.0f;  // along strike = east
    g_fault_stamp_length_km = 40.0f;
    draw_scene_to_hdc(&surface_, &window_);
    const auto polys = surface_.of_kind(RecordedCall::Polygon);
    ASSERT_EQ(polys.size(), 1u);
    const double k = cell_km_at_row(10.0f);
    const double half_len = std::max(40.0 / k, 1.0) / 2;
    // The patch spans the mouse cell +- half a length east-west: x pixels 10 per cell.
    int xmin = 1 << 30, xmax = -xmin;
    for (const DrawPoint& p : polys[0].points) {
        xmin = std::min(xmin, p.x);
        xmax = std::max(xmax, p.x);
    }
    EXPECT_EQ(xmin, int((20 - half_len) * 10));
    EXPECT_EQ(xmax, int((20 + half_len) * 10));
    const auto lines = surface_.of_kind(RecordedCall::Line);
    ASSERT_EQ(lines.size(), 6u);  // strike line, arrow and its head, the cross
    // The cross sits on the top-left pixel of the mouse cell: (200, (19 - 10) * 10 = 90).
    EXPECT_EQ((std::vector<int>{lines[4].a, lines[4].b, lines[4].c, lines[4].d}),
              (std::vector<int>{192, 82, 208, 98}));

    surface_.calls.clear();
    g_mouse_grid_x = -1;
    draw_scene_to_hdc(&surface_, &window_);
    EXPECT_TRUE(surface_.of_kind(RecordedCall::Polygon).empty());
}

}  // namespace
}  // namespace kaitoro
