#include "validate/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "render/canvas.h"
#include "render/png.h"

namespace kaitoro {

const char* validation_mode_name(int mode) {
    return mode == kModeTrueSpeed ? "true speed" : "documented";
}
const char* validation_mode_slug(int mode) {
    return mode == kModeTrueSpeed ? "true_speed" : "documented";
}

const char* quantity_name(int q) {
    static const char* const kNames[] = {"first arrival", "onset at 25 % of peak", "peak time",
                                         "maximum height"};
    return q >= 0 && q < kQuantityCount ? kNames[q] : "";
}

ObsSim quantity_pair(const GaugeResult& g, int quantity, int mode) {
    const GaugePicks& s = g.sim[mode];
    switch (quantity) {
        case kFirstArrival:
            return {g.obs.first_arrival_min, s.arrival_min};
        case kOnset25:
            return {g.obs.onset25_min, s.onset25_min};
        case kPeakTime:
            return {g.obs.time_of_max_min, s.peak_time_min};
        default:
            return {g.obs.max_m, s.peak_m};
    }
}

PairStats event_stats(const EventResult& e, int quantity, int mode) {
    std::vector<ObsSim> pairs;
    for (const GaugeResult& g : e.gauges) pairs.push_back(quantity_pair(g, quantity, mode));
    return pair_stats(pairs);
}

std::string validation_figure_name(const EventResult& e, int mode) {
    return e.slug + "_" + validation_mode_slug(mode) + ".png";
}

// --- The figure -------------------------------------------------------------------------------

namespace {

constexpr int kFigW = 1200, kFigH = 640;
constexpr int kPlotTop = 110, kPlotBottom = 560, kPlotSize = kPlotBottom - kPlotTop;
constexpr int kLeftX = 100, kRightX = 700;
constexpr std::uint32_t kAxisRgb = 0x202020, kGridRgb = 0xE4E4E4, kOneRgb = 0x808080,
                        kBandRgb = 0xC8C8C8, kArrivalRgb = 0x1F5FBF, kPeakRgb = 0xC03020,
                        kHeightRgb = 0x1E7A3A, kTextRgb = 0x111111;

void dot(Rgb24Canvas* c, int x, int y, int r, std::uint32_t rgb, bool filled) {
    for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx) {
            const int d2 = dx * dx + dy * dy;
            if (d2 > r * r || (!filled && d2 < (r - 1) * (r - 1))) continue;
            rgb24_fill_rect_rgb(c, x + dx, y + dy, x + dx, y + dy, rgb);
        }
}

void square(Rgb24Canvas* c, int x, int y, int r, std::uint32_t rgb) {
    for (int k = 0; k < 2; ++k) {
        rgb24_draw_line_rgb(c, x - r + k, y - r, x - r + k, y + r, rgb);
        rgb24_draw_line_rgb(c, x + r - k, y - r, x + r - k, y + r, rgb);
        rgb24_draw_line_rgb(c, x - r, y - r + k, x + r, y - r + k, rgb);
        rgb24_draw_line_rgb(c, x - r, y + r - k, x + r, y + r - k, rgb);
    }
}

void text(Rgb24Canvas* c, int x, int y, const std::string& s, int size = 16, int bold = 0) {
    rgb24_draw_text(c, x, y, s.c_str(), size, bold, kTextRgb);
}

void text_right(Rgb24Canvas* c, int x, int y, const std::string& s, int size = 16) {
    const int w = rgb24_text_width(s.c_str(), size, 0);
    text(c, x - std::max(w, 0), y, s, size);
}

void text_center(Rgb24Canvas* c, int x, int y, const std::string& s, int size = 16) {
    const int w = rgb24_text_width(s.c_str(), size, 0);
    text(c, x - std::max(w, 0) / 2, y, s, size);
}

// One square panel mapping [lo, hi] on both axes (log10 values for the height panel).
struct Panel {
    int x0;
    double lo, hi;
    int px(double v) const { return x0 + int(std::lround((v - lo) / (hi - lo) * kPlotSize)); }
    int py(double v) const {
        return kPlotBottom - int(std::lround((v - lo) / (hi - lo) * kPlotSize));
    }
    bool inside(double v) const { return v >= lo && v <= hi; }
};

void frame(Rgb24Canvas* c, const Panel& p, const std::vector<double>& ticks,
           const std::vector<std::string>& labels) {
    for (std::size_t k = 0; k < ticks.size(); ++k) {
        const int x = p.px(ticks[k]), y = p.py(ticks[k]);
        rgb24_draw_line_rgb(c, x, kPlotTop, x, kPlotBottom, kGridRgb);
        rgb24_draw_line_rgb(c, p.x0, y, p.x0 + kPlotSize, y, kGridRgb);
        rgb24_draw_line_rgb(c, x, kPlotBottom, x, kPlotBottom + 5, kAxisRgb);
        rgb24_draw_line_rgb(c, p.x0 - 5, y, p.x0, y, kAxisRgb);
        text_center(c, x, kPlotBottom + 8, labels[k]);
        text_right(c, p.x0 - 8, y - 9, labels[k]);
    }
    rgb24_draw_line_rgb(c, p.x0, kPlotTop, p.x0, kPlotBottom, kAxisRgb);
    rgb24_draw_line_rgb(c, p.x0, kPlotBottom, p.x0 + kPlotSize, kPlotBottom, kAxisRgb);
    rgb24_draw_line_rgb(c, p.x0 + kPlotSize, kPlotTop, p.x0 + kPlotSize, kPlotBottom, kAxisRgb);
    rgb24_draw_line_rgb(c, p.x0, kPlotTop, p.x0 + kPlotSize, kPlotTop, kAxisRgb);
    // The 1:1 line: a perfect model puts every point on it.
    rgb24_draw_line_rgb(c, p.px(p.lo), p.py(p.lo), p.px(p.hi), p.py(p.hi), kOneRgb);
}

std::string number_text(double v, int decimals) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

}  // namespace

bool validation_write_figure(const EventResult& e, int mode, const char* path) {
    Rgb24Canvas c;
    if (!rgb24_canvas_create(&c, kFigW, kFigH)) return false;
    text(&c, 30, 18, e.name + " - " + validation_mode_name(mode) + ": simulated against observed",
         24, 1);
    text(&c, 30, 50,
         std::string("Fault table ") + e.file + "; " + number_text(e.hours, 2) +
             " model hours; points on the grey line agree exactly.");

    // Times: arrival or onset (dots) and peak time (squares), minutes after origin.
    double tmax = 10;
    for (const GaugeResult& g : e.gauges)
        for (int q : {kFirstArrival, kOnset25, kPeakTime}) {
            const ObsSim p = quantity_pair(g, q, mode);
            if (p.obs && p.sim) tmax = std::max({tmax, *p.obs, *p.sim});
        }
    static const double kSteps[] = {5, 10, 15, 20, 30, 60, 120, 180, 240, 360};
    double step = kSteps[9];
    for (double s : kSteps)
        if (tmax / s <= 8) {
            step = s;
            break;
        }
    const Panel times{kLeftX, 0, std::ceil(tmax * 1.04 / step) * step};
    std::vector<double> ticks;
    std::vector<std::string> labels;
    for (double t = 0; t <= times.hi + 1e-9; t += step) {
        ticks.push_back(t);
        labels.push_back(number_text(t, 0));
    }
    frame(&c, times, ticks, labels);
    int plotted_t = 0, plotted_h = 0;
    for (const GaugeResult& g : e.gauges)
        for (int q : {kFirstArrival, kOnset25, kPeakTime}) {
            const ObsSim p = quantity_pair(g, q, mode);
            if (!p.obs || !p.sim || *p.obs < 0) continue;
            const int x = times.px(*p.obs), y = times.py(*p.sim);
            if (q == kPeakTime)
                square(&c, x, y, 5, kPeakRgb);
            else
                dot(&c, x, y, 5, kArrivalRgb, true);
            ++plotted_t;
        }
    text_center(&c, kLeftX + kPlotSize / 2, kPlotBottom + 30, "observed (minutes after origin)");
    text(&c, kLeftX - 60, kPlotTop - 26, "simulated (minutes)");
    dot(&c, kLeftX + 14, kPlotTop + 16, 5, kArrivalRgb, true);
    text(&c, kLeftX + 26, kPlotTop + 7, "first arrival / onset at 25 %");
    square(&c, kLeftX + 14, kPlotTop + 40, 5, kPeakRgb);
    text(&c, kLeftX + 26, kPlotTop + 31, "time of the maximum");

    // Heights on log axes, with the factor-1.5 band.
    double hmin = 1e9, hmax = 0;
    for (const GaugeResult& g : e.gauges) {
        const ObsSim p = quantity_pair(g, kMaxHeight, mode);
        if (!p.obs || !p.sim || *p.obs <= 0 || *p.sim <= 0) continue;
        hmin = std::min({hmin, *p.obs, *p.sim});
        hmax = std::max({hmax, *p.obs, *p.sim});
    }
    if (hmax <= 0) hmin = 0.1, hmax = 1;
    double lo = std::floor(std::log10(hmin)), hi = std::ceil(std::log10(hmax));
    if (hi <= lo) hi = lo + 1;
    const Panel heights{kRightX, lo, hi};
    ticks.clear();
    labels.clear();
    for (double d = lo; d <= hi + 1e-9; d += 1) {
        ticks.push_back(d);
        labels.push_back(number_text(std::pow(10.0, d), d < 0 ? int(-d) : 0));
    }
    frame(&c, heights, ticks, labels);
    const double band = std::log10(1.5);
    for (double s : {band, -band}) {
        const double a = std::max(lo, lo - s), b = std::min(hi, hi - s);
        rgb24_draw_line_rgb(&c, heights.px(a), heights.py(a + s), heights.px(b), heights.py(b + s),
                            kBandRgb);
    }
    for (const GaugeResult& g : e.gauges) {
        const ObsSim p = quantity_pair(g, kMaxHeight, mode);
        if (!p.obs || !p.sim || *p.obs <= 0 || *p.sim <= 0) continue;
        dot(&c, heights.px(std::log10(*p.obs)), heights.py(std::log10(*p.sim)), 5, kHeightRgb,
            true);
        ++plotted_h;
    }
    text_center(&c, kRightX + kPlotSize / 2, kPlotBottom + 30, "observed maximum (m)");
    text(&c, kRightX - 60, kPlotTop - 26, "simulated maximum (m); light lines: factor 1.5");
    text(&c, 30, kFigH - 30,
         std::to_string(plotted_t) + " time pair(s) and " + std::to_string(plotted_h) +
             " height pair(s) plotted; gauges without a simulated value are left out.");
    return png_write_rgb24_file(path, c.pixels.data(), c.width, c.height) == 1;
}

// --- The page ---------------------------------------------------------------------------------

namespace {

std::string fmt(const std::optional<double>& v, int decimals) {
    return v ? number_text(*v, decimals) : "n/a";
}

std::string signed_text(double v, int decimals) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%+.*f", decimals, v);
    return buf;
}

}  // namespace

std::string validation_report_markdown(const std::vector<EventResult>& events,
                                       const std::string& figure_dir, const std::string& command,
                                       const std::string& observations_path) {
    std::string md;
    md += "# Validation against recorded tsunamis\n\n";
    md += "Made by `" + command + "` from the event library (`data/events/`) and the " +
          "observations in `" + observations_path +
          "` (their sources and citations are in the README beside them). Regenerate it with " +
          "the same command; do not edit it by hand. Nothing in the model was fitted to these "
          "observations.\n\n";
    md +=
        "Every event runs twice on the bundled grid with its fault table as an elastic-"
        "dislocation source: in the **documented** mode (coupling depth/18000) and with "
        "**true speed** (sqrt(g h) at each latitude). A virtual gauge sits on the sea cell "
        "nearest to each observation point and records the sea-surface height every 15 s "
        "step. From each record the same quantities are picked as the observations hold: the "
        "**onset** (first time at 25 % of the record's peak), the **maximum height** and its "
        "**time**, and the **first arrival** (the model's arrival stamp of the cell: the "
        "shoreline-equivalent height first reaching 0.05 m). Errors are simulated minus "
        "observed; ratios are simulated over observed; relative errors use only observations "
        "above zero. A gauge the model gave no value for is counted as missed.\n\n";

    md += "## Summary\n\n";
    md +=
        "| event | mode | quantity | n | missed | median error | mean error | median ratio | "
        "median abs. relative error |\n";
    md += "|---|---|---|---:|---:|---:|---:|---:|---:|\n";
    for (const EventResult& e : events)
        for (int mode = 0; mode < kModeCount; ++mode) {
            if (!e.ran[mode]) continue;
            for (int q = 0; q < kQuantityCount; ++q) {
                const PairStats s = event_stats(e, q, mode);
                if (s.n + s.missed == 0) continue;
                const bool height = q == kMaxHeight;
                const char* unit = height ? " m" : " min";
                const int dec = height ? 2 : 1;
                md += "| " + e.name + " | " + validation_mode_name(mode) + " | " +
                      quantity_name(q) + " | " + std::to_string(s.n) + " | " +
                      std::to_string(s.missed) + " | ";
                if (s.n > 0)
                    md += signed_text(s.median_error, dec) + unit + " | " +
                          signed_text(s.mean_error, dec) + unit + " | ";
                else
                    md += "n/a | n/a | ";
                if (s.n_ratio > 0)
                    md += number_text(s.median_ratio, 2) + " | " +
                          number_text(100.0 * s.median_abs_rel_error, 1) + " % |\n";
                else
                    md += "n/a | n/a |\n";
            }
        }

    for (const EventResult& e : events) {
        md += "\n## " + e.name + "\n\n";
        md += "Fault table `" + e.file + "`, standard Mw " + number_text(e.mw, 2) + ". " +
              e.citation + "\n\n";
        md += "Each mode ran " + number_text(e.hours, 2) + " model hours.";
        for (int mode = 0; mode < kModeCount; ++mode)
            if (!e.ran[mode])
                md += std::string(" The ") + validation_mode_name(mode) + " run failed.";
        md += "\n\n";
        for (int mode = 0; mode < kModeCount; ++mode)
            if (e.ran[mode])
                md += "![" + e.name + ", " + validation_mode_name(mode) + "](" + figure_dir + "/" +
                      validation_figure_name(e, mode) + ")\n";
        md +=
            "\nEach cell: observed / documented / true speed. Times in minutes after the "
            "origin, heights in metres.\n\n";
        md +=
            "| gauge | type | cell (x, y) | depth (m) | off by (km) | first arrival | onset "
            "25 % | peak time | maximum |\n";
        md += "|---|---|---|---:|---:|---|---|---|---|\n";
        for (const GaugeResult& g : e.gauges) {
            md += "| " + g.obs.gauge + " | " + g.obs.type + " | ";
            if (g.placed)
                md += "(" + std::to_string(g.cell_x) + ", " + std::to_string(g.cell_y) + ") | " +
                      number_text(g.depth_m, 0) + " | " + number_text(g.distance_km, 1) + " | ";
            else
                md += "no sea cell near | n/a | n/a | ";
            for (int q : {kFirstArrival, kOnset25, kPeakTime, kMaxHeight}) {
                const int dec = q == kMaxHeight ? 2 : 1;
                std::string cell = fmt(quantity_pair(g, q, 0).obs, dec);
                for (int mode = 0; mode < kModeCount; ++mode)
                    cell += " / " + (e.ran[mode] ? fmt(quantity_pair(g, q, mode).sim, dec)
                                                 : std::string("n/a"));
                md += cell + " |";
                if (q != kMaxHeight) md += " ";
            }
            md += "\n";
        }
    }
    return md;
}

}  // namespace kaitoro
