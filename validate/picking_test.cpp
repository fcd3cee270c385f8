#include "validate/picking.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace kaitoro {
namespace {

TEST(GaugePicksTest, OnsetPeakAndArrivalFollowTheObservationRules) {
    const std::vector<std::int32_t> t = {0, 60, 120, 180, 240, 300};
    struct Case {
        std::vector<float> level;
        std::int32_t stamp;
        std::optional<double> onset, peak, peak_time, arrival;
    } cases[] = {
        // 25 % of 2.0 is 0.5: reached at 3 min, not at the 0.49 of 2 min.
        {{0, 0.2f, 0.49f, 0.5f, 2.0f, 1.0f}, 600, 3.0, 2.0, 4.0, 10.0},
        // A trough first: the onset is on the rise, the peak's first time wins a tie.
        {{0, -1.0f, 0.3f, 1.2f, 1.2f, 0}, 0, 2.0, 1.2, 3.0, std::nullopt},
        // A record that only falls has no peak and no onset.
        {{0, -0.5f, -1.0f, -0.2f, 0, 0}, 0, std::nullopt, std::nullopt, std::nullopt, std::nullopt},
    };
    for (const Case& c : cases) {
        const GaugePicks p = gauge_picks(t, c.level, c.stamp);
        EXPECT_EQ(p.onset25_min, c.onset);
        EXPECT_EQ(p.peak_m.has_value(), c.peak.has_value());
        if (p.peak_m && c.peak) {
            EXPECT_FLOAT_EQ(float(*p.peak_m), float(*c.peak));
        }
        EXPECT_EQ(p.peak_time_min, c.peak_time);
        EXPECT_EQ(p.arrival_min, c.arrival);
    }
}

TEST(PairStatsTest, MediansMeansRatiosAndMisses) {
    struct Case {
        std::vector<ObsSim> pairs;
        int n, missed, n_ratio;
        double median_error, mean_error, median_ratio, median_abs_rel;
    } cases[] = {
        // Even count: the median is the mean of the middle two.
        {{{10.0, 11.0}, {20.0, 18.0}, {30.0, 36.0}, {40.0, 40.0}}, 4, 0, 4, 0.5, 1.25, 1.05, 0.1},
        // No simulated value is a miss; no observation is no pair at all.
        {{{10.0, std::nullopt}, {std::nullopt, 5.0}, {2.0, 3.0}}, 1, 1, 1, 1.0, 1.0, 1.5, 0.5},
        // An observation at or below zero counts for errors but not for ratios.
        {{{-0.1, 4.9}, {20.0, 22.0}}, 2, 0, 1, 3.5, 3.5, 1.1, 0.1},
        {{}, 0, 0, 0, 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        const PairStats s = pair_stats(c.pairs);
        EXPECT_EQ(s.n, c.n);
        EXPECT_EQ(s.missed, c.missed);
        EXPECT_EQ(s.n_ratio, c.n_ratio);
        EXPECT_NEAR(s.median_error, c.median_error, 1e-12);
        EXPECT_NEAR(s.mean_error, c.mean_error, 1e-12);
        EXPECT_NEAR(s.median_ratio, c.median_ratio, 1e-12);
        EXPECT_NEAR(s.median_abs_rel_error, c.median_abs_rel, 1e-12);
    }
}

}  // namespace
}  // namespace kaitoro
