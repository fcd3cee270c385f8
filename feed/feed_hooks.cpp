#include "feed/feed_hooks.h"

#include <cstring>

#include "core/driver.h"
#include "feed/arrivals.h"
#include "feed/observation_points.h"
#include "feed/warning_check.h"
#include "feed/zone_assign.h"

namespace kaitoro {

namespace {

bool hooks_empty(const FeedHooks& h) {
    return !h.load_points_if_needed && !h.point_count && !h.point_view && !h.zone_id_for_export &&
           !h.mark_virtual_station && !h.export_tick && !h.reset_export_state && !h.shutdown;
}

}  // namespace

void orvex_feed_shutdown() {
    orvex_free_wave_zone_map();
}

void orvex_install_feed_hooks() {
    if (!hooks_empty(g_feed_hooks)) return;
    FeedHooks& h = g_feed_hooks;
    h.load_points_if_needed = orvex_ensure_observation_points_loaded;
    h.point_count = [] { return std::size_t(g_orvex_observation_point_count); };
    h.point_view = [](std::size_t i, ObservationPointView* out) {
        if (i >= std::size_t(g_orvex_observation_point_count)) return false;
        const ObservationPoint& p = g_orvex_observation_points[i];
        out->cell = p.cell;
        out->zone_id = p.zone_id;
        out->agency = p.agency;
        return true;
    };
    h.zone_id_for_export = [](std::size_t i) {
        return orvex_observation_zone_id_for_export(int(i));
    };
    h.mark_virtual_station = [](std::size_t i, int station_no) {
        if (i >= std::size_t(g_orvex_observation_point_count)) return;
        ObservationPoint& p = g_orvex_observation_points[i];
        p.mapped_station_no = station_no;
        p.virtual_coast_cell = 1;
    };
    h.export_tick = orvex_export_tick;
    h.reset_export_state = orvex_reset_export_state;
    h.shutdown = orvex_feed_shutdown;
}

void orvex_feed_reset_all_for_tests() {
    orvex_observation_points_reset_for_tests();
    orvex_arrivals_reset_for_tests();
    orvex_warning_check_reset();
    orvex_free_wave_zone_map();
    g_orvex_landsea_inversion_hook = nullptr;
    zone_assign_reset_for_tests();
}

}  // namespace kaitoro
