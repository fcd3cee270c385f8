#include "validate/report.h"

#include <gtest/gtest.h>

#include <string>

#include "validate/observations.h"

namespace kaitoro {
namespace {

TEST(ObservationCsvTest, QuotedFieldsKeepCommasAndQuotes) {
    const struct {
        const char* line;
        std::vector<std::string> fields;
    } cases[] = {
        {"a,\"b, c\",d\r", {"a", "b, c", "d"}},
        {"\"say \"\"hi\"\"\",,", {"say \"hi\"", "", ""}},
    };
    for (const auto& c : cases) EXPECT_EQ(csv_fields(c.line), c.fields) << c.line;
}

TEST(ValidationReportTest, SummaryAndGaugeRowsHaveTheirFormats) {
    EventResult e;
    e.name = "2024 Noto Peninsula";
    e.file = "data/events/noto.csv";
    e.slug = "noto";
    e.mw = 7.4812;
    e.hours = 0.5;
    e.ran[kModeDocumented] = e.ran[kModeTrueSpeed] = true;
    GaugeResult a;
    a.obs.gauge = "Toyama";
    a.obs.type = "tide gauge";
    a.obs.first_arrival_min = 2.9;
    a.obs.max_m = 0.8;
    a.placed = true;
    a.cell_x = 453;
    a.cell_y = 291;
    a.depth_m = 153.4;
    a.distance_km = 2.96;
    a.sim[0].arrival_min = 15.8;
    a.sim[0].peak_m = 0.291;
    a.sim[1].arrival_min = 17.5;
    a.sim[1].peak_m = 0.32;
    GaugeResult b = a;
    b.obs.gauge = "Kanazawa";
    b.obs.first_arrival_min.reset();
    b.placed = false;
    b.sim[1].peak_m.reset();
    e.gauges = {a, b};
    const std::string md = validation_report_markdown({e}, "fig", "kaitoro-cli validate", "v.csv");
    const char* expected[] = {
        "| 2024 Noto Peninsula | documented | first arrival | 1 | 0 | +12.9 min | +12.9 min | "
        "5.45 | 444.8 % |\n",
        "| 2024 Noto Peninsula | true speed | maximum height | 1 | 1 | -0.48 m | -0.48 m | 0.40 | "
        "60.0 % |\n",
        "Fault table `data/events/noto.csv`, standard Mw 7.48. ",
        "![2024 Noto Peninsula, true speed](fig/noto_true_speed.png)\n",
        "| Toyama | tide gauge | (453, 291) | 153 | 3.0 | 2.9 / 15.8 / 17.5 | n/a / n/a / n/a | "
        "n/a / n/a / n/a | 0.80 / 0.29 / 0.32 |\n",
        "| Kanazawa | tide gauge | no sea cell near | n/a | n/a | n/a / 15.8 / 17.5 | n/a / n/a / "
        "n/a | n/a / n/a / n/a | 0.80 / 0.29 / n/a |\n",
    };
    for (const char* line : expected) EXPECT_NE(md.find(line), std::string::npos) << line << md;
    // Quantities no gauge observed get no summary row.
    EXPECT_EQ(md.find("| documented | peak time |"), std::string::npos);
}

}  // namespace
}  // namespace kaitoro
