// What the validation reads from a simulated gauge record, picked by the same rules the
// observations were: onset at 25 % of the peak, the peak and its time, the first arrival; and
// the statistics that compare many gauges at once.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace kaitoro {

struct GaugePicks {
    std::optional<double> onset25_min;    // first time the record reaches 25 % of its peak
    std::optional<double> peak_m;         // highest positive height (absent when never above 0)
    std::optional<double> peak_time_min;  // first time of that height
    std::optional<double> arrival_min;    // the model's arrival stamp of the cell
};

// `arrival_s` is the cell's arrival stamp (the 0.05 m shoreline-equivalent rule), 0 for none.
GaugePicks gauge_picks(const std::vector<std::int32_t>& time_s, const std::vector<float>& level_m,
                       std::int32_t arrival_s);

// Simulated against observed over the gauges that have both. Errors are simulated minus
// observed; ratios and relative errors use only observations above zero.
struct PairStats {
    int n = 0;       // pairs with both values
    int missed = 0;  // observations the model gave no value for
    double median_error = 0, mean_error = 0;
    int n_ratio = 0;
    double median_ratio = 0, median_abs_rel_error = 0;
};

struct ObsSim {
    std::optional<double> obs, sim;
};

PairStats pair_stats(const std::vector<ObsSim>& pairs);
double median(std::vector<double> v);  // 0 for an empty list

}  // namespace kaitoro
