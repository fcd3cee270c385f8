#include "validate/picking.h"

#include <algorithm>
#include <cmath>

namespace kaitoro {

GaugePicks gauge_picks(const std::vector<std::int32_t>& time_s, const std::vector<float>& level_m,
                       std::int32_t arrival_s) {
    GaugePicks p;
    const std::size_t n = std::min(time_s.size(), level_m.size());
    std::size_t peak = n;
    for (std::size_t k = 0; k < n; ++k)
        if (level_m[k] > 0 && (peak == n || level_m[k] > level_m[peak])) peak = k;
    if (peak < n) {
        p.peak_m = level_m[peak];
        p.peak_time_min = time_s[peak] / 60.0;
        const float quarter = 0.25f * level_m[peak];
        for (std::size_t k = 0; k <= peak; ++k)
            if (level_m[k] >= quarter) {
                p.onset25_min = time_s[k] / 60.0;
                break;
            }
    }
    if (arrival_s > 0) p.arrival_min = arrival_s / 60.0;
    return p;
}

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const std::size_t m = v.size() / 2;
    return v.size() % 2 ? v[m] : 0.5 * (v[m - 1] + v[m]);
}

PairStats pair_stats(const std::vector<ObsSim>& pairs) {
    PairStats s;
    std::vector<double> err, ratio, rel;
    double sum = 0;
    for (const ObsSim& p : pairs) {
        if (!p.obs) continue;
        if (!p.sim) {
            ++s.missed;
            continue;
        }
        err.push_back(*p.sim - *p.obs);
        sum += err.back();
        if (*p.obs > 0) {
            ratio.push_back(*p.sim / *p.obs);
            rel.push_back(std::fabs(*p.sim - *p.obs) / *p.obs);
        }
    }
    s.n = int(err.size());
    s.n_ratio = int(ratio.size());
    if (s.n > 0) s.mean_error = sum / s.n;
    s.median_error = median(err);
    s.median_ratio = median(ratio);
    s.median_abs_rel_error = median(rel);
    return s;
}

}  // namespace kaitoro
