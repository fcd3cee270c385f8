#include "feed/observation_points.h"

#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/driver.h"
#include "core/stations.h"
#include "core/text_input.h"
#include "feed/point_mapping.h"
#include "feed/warning_check.h"

namespace kaitoro {

std::array<ObservationPoint, kOrvexMaxObservationPoints> g_orvex_observation_points;
int g_orvex_observation_point_count = 0;
int g_orvex_observation_points_loaded = 0;
int g_orvex_observation_csv_station_no_col = -1;
int g_orvex_observation_csv_zone_id_col = -1;

std::array<std::int32_t, kStationZoneOverrideSlots> g_station_zone_override_id;
std::array<std::array<char, 96>, kStationZoneOverrideSlots> g_station_zone_override_name;
int g_station_zone_override_initialized = 0;

namespace {

struct CodeZone {
    const char* code;
    int zone;
};

const CodeZone kDefaultZones[] = {
    {"ABASHIRI", 1},
    {"KUSHIRO", 2},
    {"NEMURO", 2},
    {"HAKODATE", 4},
    {"WAKKANAI", 5},
    {"AOMORI", 7},
    {"OFF25_060", 7},
    {"OFF25_085", 8},
    {"OFF25_118", 8},
    {"HACHINOHE", 9},
    {"OFF25_018", 9},
    {"OFF25_117", 9},
    {"MIYAKO", 10},
    {"KAMAISHI", 10},
    {"OFUNATO", 10},
    {"OFF25_019", 10},
    {"AYUKAWA", 11},
    {"SENDAI", 11},
    {"OFF25_020", 11},
    {"ONAHAMA", 12},
    {"OFF25_063", 12},
    {"OFF25_084", 12},
    {"OFF25_061", 13},
    {"OFF25_062", 14},
    {"OFF25_081", 14},
    {"OFF25_029", 15},
    {"OFF25_113", 15},
    {"CHOSHI", 16},
    {"TOKYO", 18},
    {"YOKOHAMA", 18},
    {"IZU_OSHIMA_OKADA", 19},
    {"TOSHIMA", 19},
    {"NIIJIMA", 19},
    {"SHIKINEJIMA", 19},
    {"KOZUSHIMA", 19},
    {"MIYAKEJIMA_AKO", 19},
    {"MIKURAJIMA", 19},
    {"HACHIJOJIMA_YAENE", 19},
    {"AOGASHIMA", 19},
    {"SHIMIZU", 22},
    {"OMAEZAKI", 22},
    {"NAGOYA", 24},
    {"KOBE", 34},
    {"OSAKA", 36},
    {"HIROSHIMA", 42},
    {"UWAJIMA", 45},
    {"KOCHI", 47},
    {"KAGOSHIMA", 61},
    {"NAZE", 63},
    {"NAHA", 64},
    {"ISHIGAKI", 66},
};

struct BuiltinPoint {
    const char* code;
    const char* name;
    const char* agency;
    float lat, lon;
};

const BuiltinPoint kBuiltinPoints[] = {
    {"WAKKANAI", "稚内", "JMA", 45.4167f, 141.6833f},
    {"ABASHIRI", "網走", "JMA", 44.0167f, 144.2833f},
    {"KUSHIRO", "釧路", "JMA", 42.9833f, 144.3667f},
    {"NEMURO", "根室", "JMA", 43.3333f, 145.5833f},
    {"HAKODATE", "函館", "JMA", 41.7667f, 140.7167f},
    {"AOMORI", "青森", "JMA", 40.8333f, 140.7333f},
    {"HACHINOHE", "八戸", "JMA", 40.5333f, 141.5333f},
    {"MIYAKO", "宮古", "JMA", 39.6333f, 141.9667f},
    {"KAMAISHI", "釜石", "JMA", 39.2667f, 141.8833f},
    {"OFUNATO", "大船渡", "JMA", 39.0667f, 141.7167f},
    {"AYUKAWA", "鮎川", "JMA", 38.3f, 141.5f},
    {"SENDAI", "仙台新港", "JMA", 38.2667f, 141.0167f},
    {"ONAHAMA", "小名浜", "JMA", 36.9333f, 140.9167f},
    {"CHOSHI", "銚子漁港", "JMA", 35.7333f, 140.8667f},
    {"TOKYO", "東京", "JMA", 35.65f, 139.7667f},
    {"YOKOHAMA", "横浜", "JMA", 35.45f, 139.65f},
    {"IZU_OSHIMA_OKADA", "伊豆大島岡田", "JMA-VIRTUAL", 34.782f, 139.393f},
    {"TOSHIMA", "利島", "JMA-VIRTUAL", 34.52f, 139.282f},
    {"NIIJIMA", "新島", "JMA-VIRTUAL", 34.377f, 139.257f},
    {"SHIKINEJIMA", "式根島", "JMA-VIRTUAL", 34.326f, 139.217f},
    {"KOZUSHIMA", "神津島", "JMA-VIRTUAL", 34.205f, 139.134f},
    {"MIYAKEJIMA_AKO", "三宅島阿古", "JMA-VIRTUAL", 34.075f, 139.48f},
    {"MIKURAJIMA", "御蔵島", "JMA-VIRTUAL", 33.875f, 139.602f},
    {"HACHIJOJIMA_YAENE", "八丈島八重根", "JMA-VIRTUAL", 33.109f, 139.775f},
    {"AOGASHIMA", "青ヶ島", "JMA-VIRTUAL", 32.458f, 139.763f},
    {"OMAEZAKI", "御前崎", "JMA", 34.6f, 138.2167f},
    {"NAGOYA", "名古屋", "JMA", 35.0833f, 136.8833f},
    {"OSAKA", "大阪", "JMA", 34.65f, 135.4333f},
    {"KOBE", "神戸", "JMA", 34.6833f, 135.2f},
    {"HIROSHIMA", "広島", "JMA", 34.35f, 132.4667f},
    {"UWAJIMA", "宇和島", "JMA", 33.2167f, 132.5667f},
    {"KOCHI", "高知", "JMA", 33.5f, 133.5667f},
    {"KAGOSHIMA", "鹿児島", "JMA", 31.5833f, 130.5667f},
    {"NAZE", "名瀬", "JMA", 28.3833f, 129.5f},
    {"NAHA", "那覇", "JMA", 26.2167f, 127.6667f},
    {"ISHIGAKI", "石垣", "JMA", 24.3333f, 124.1667f},
};

// Katakana readings of the KMA zones, id 68..93 at index id - 68, for speech output on the
// receiving side. The dot of 91 and 92 is the katakana middle dot.
const char* const kKmaZoneReadings[26] = {
    "カンウォン 北部 沿岸",            // 68
    "カンウォン 中部 沿岸",            // 69
    "カンウォン 南部 沿岸",            // 70
    "キョンブク 北部 沿岸",            // 71
    "キョンブク 南部 沿岸",            // 72
    "ウルサン 沿岸",                   // 73
    "プサン 沿岸",                     // 74
    "コジェ 東部 沿岸",                // 75
    "キョンナム 中部 南海 沿岸",       // 76
    "キョンナム 西部 南海 沿岸",       // 77
    "チェジュド 北部 沿岸",            // 78
    "チェジュド 東部 沿岸",            // 79
    "チェジュド 南部 沿岸",            // 80
    "チェジュド 西部 沿岸",            // 81
    "チョンナム 東部 南海 沿岸",       // 82
    "チョンナム 西部 南海 沿岸",       // 83
    "チョンナム 南部 西海 沿岸",       // 84
    "チョンナム 中部 西海 沿岸",       // 85
    "チョンナム 北部 西海 沿岸",       // 86
    "チョンブク 南部 西海 沿岸",       // 87
    "チョンブク 北部 西海 沿岸",       // 88
    "チュンナム 南部 西海 沿岸",       // 89
    "チュンナム 北部 西海 沿岸",       // 90
    "インチョン・キョンギ 南部 沿岸",  // 91
    "インチョン・キョンギ 北部 沿岸",  // 92
    "ウルルンド 沿岸",                 // 93
};

// Names are cut to their field at a character boundary and invalid bytes replaced, so every
// name that reaches the outbox is whole UTF-8.
void copy_text(char* dst, std::size_t size, const char* src, const char* fallback) {
    utf8_copy(dst, size, (src && *src) ? src : fallback);
}

// A whole decimal integer that fits an int, else 0 (atoi would wrap or be undefined).
int int_or_zero(const char* text) {
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text, &end, 10);
    int out = 0;
    if (end == text || errno == ERANGE || !narrow_to_int(v, &out)) return 0;
    return out;
}

bool is_trim_char(char c) {
    return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

char* trim(char* s) {
    while (is_trim_char(*s)) ++s;
    char* end = s + std::strlen(s);
    while (end > s && is_trim_char(end[-1])) --end;
    *end = '\0';
    return s;
}

bool is_station_column_name(const char* f) {
    for (const char* n :
         {"station_no", "sim_station_no", "mapped_station_no", "station", "station_id"})
        if (!strcasecmp(f, n)) return true;
    return false;
}

int field_int(char* const* fields, int count, int col) {
    if (col < 0 || col >= count || !*fields[col]) return 0;
    return int_or_zero(fields[col]);
}

}  // namespace

bool orvex_is_real_zone(int zone) {
    return zone >= 1 && zone <= 93 && zone != kZoneOutside;
}

void orvex_add_observation_point(const char* code, const char* name, const char* agency, float lat,
                                 float lon) {
    if (g_orvex_observation_point_count >= kOrvexMaxObservationPoints) return;
    ObservationPoint& p = g_orvex_observation_points[std::size_t(g_orvex_observation_point_count)];
    p = ObservationPoint{};
    copy_text(p.code, sizeof p.code, code, "OBS");
    copy_text(p.name, sizeof p.name, name, p.code);
    copy_text(p.agency, sizeof p.agency, agency, "JMA");
    p.lat = lat;
    p.lon = lon;
    p.zone_id = orvex_observation_default_zone_id(code);
    p.csv_station_no = 0;
    p.station_shared = 0;
    p.mapped_station_no = 0;
    p.cell = p.x = p.y = -1;
    p.virtual_coast_cell = 0;
    p.mapped_depth_m = 0.0f;
    ++g_orvex_observation_point_count;
}

int orvex_observation_default_zone_id(const char* code) {
    if (!code || !*code) return 0;
    for (const CodeZone& cz : kDefaultZones)
        if (!strcasecmp(code, cz.code)) return cz.zone;
    return 0;
}

void orvex_load_builtin_observation_points() {
    for (const BuiltinPoint& b : kBuiltinPoints)
        orvex_add_observation_point(b.code, b.name, b.agency, b.lat, b.lon);
}

void orvex_parse_observation_csv_line(char* line) {
    constexpr int kMaxFields = 8;
    char* fields[kMaxFields];
    int count = 0;
    char* p = line;
    while (p && count < kMaxFields) {
        fields[count++] = p;
        char* comma = std::strchr(p, ',');
        if (comma) {
            *comma = '\0';
            p = comma + 1;
        } else {
            p = nullptr;
        }
    }
    for (int i = 0; i < count; ++i) fields[i] = trim(fields[i]);
    if (count < 5) return;
    if (!*fields[0] || fields[0][0] == '#') return;

    if (!strcasecmp(fields[0], "id")) {
        g_orvex_observation_csv_station_no_col = -1;
        g_orvex_observation_csv_zone_id_col = -1;
        for (int i = 0; i < count; ++i) {
            if (is_station_column_name(fields[i])) g_orvex_observation_csv_station_no_col = i;
            if (!strcasecmp(fields[i], "zone_id") || !strcasecmp(fields[i], "preferred_zone_id"))
                g_orvex_observation_csv_zone_id_col = i;
        }
        return;
    }

    const float lat = float(std::atof(fields[3]));
    const float lon = float(std::atof(fields[4]));
    if (!(lat >= 20.0f && lat <= 50.0f && lon >= 120.0f && lon <= 150.0f)) return;

    int station_no = field_int(fields, count, g_orvex_observation_csv_station_no_col);
    int zone = field_int(fields, count, g_orvex_observation_csv_zone_id_col);
    if (g_orvex_observation_csv_station_no_col < 0 && g_orvex_observation_csv_zone_id_col < 0 &&
        count >= 6 && *fields[5]) {
        // Without a header, one extra column is told apart by its size: station numbers
        // start above the largest zone id.
        const int v = int_or_zero(fields[5]);
        if (v >= 94)
            station_no = v;
        else
            zone = v;
    }

    const int before = g_orvex_observation_point_count;
    orvex_add_observation_point(fields[0], fields[1], fields[2], lat, lon);
    if (g_orvex_observation_point_count == before) return;
    ObservationPoint& pt = g_orvex_observation_points[std::size_t(before)];
    if (station_no >= 1) pt.csv_station_no = station_no;
    if (zone >= 1 && zone <= 93) pt.zone_id = zone;
}

void orvex_load_observation_points() {
    g_orvex_observation_points_loaded = 1;
    g_orvex_observation_point_count = 0;
    g_orvex_observation_csv_station_no_col = -1;
    g_orvex_observation_csv_zone_id_col = -1;

    if (std::FILE* f = open_regular_file(kOrvexObservationCsvName)) {
        char line[512];
        bool first = true;
        while (g_orvex_observation_point_count < kOrvexMaxObservationPoints &&
               read_line(f, line, sizeof line)) {
            // A spreadsheet's UTF-8 byte-order mark would otherwise hide the header line.
            char* text = first ? skip_bom(line) : line;
            first = false;
            orvex_parse_observation_csv_line(text);
        }
        std::fclose(f);
    }
    if (g_orvex_observation_point_count == 0) orvex_load_builtin_observation_points();
    orvex_map_observation_points_to_stations();
}

void orvex_ensure_observation_points_loaded() {
    if (!g_orvex_observation_points_loaded) orvex_load_observation_points();
}

const char* orvex_zone_tts_name_from_id(int zone) {
    if (zone >= 68 && zone <= 93) return kKmaZoneReadings[zone - 68];
    return forecast_zone_name_from_id(zone);
}

void station_zone_override_ensure_initialized() {
    if (g_station_zone_override_initialized) return;
    g_station_zone_override_id.fill(-1);
    for (auto& name : g_station_zone_override_name) name[0] = '\0';
    g_station_zone_override_initialized = 1;
}

int station_zone_override_of(int s) {
    if (s < 0 || s >= kStationZoneOverrideSlots) return 0;
    station_zone_override_ensure_initialized();
    const int id = g_station_zone_override_id[std::size_t(s)];
    return id > 0 ? id : 0;
}

int orvex_observation_zone_id_for_export(int i) {
    if (i < 0 || i >= g_orvex_observation_point_count) return 0;
    const ObservationPoint& p = g_orvex_observation_points[std::size_t(i)];
    if (p.zone_id > 0) return p.zone_id;
    if (p.cell >= 0 && !g_orvex_wave_zone_map.empty() &&
        (long long)p.cell < (long long)g_orvex_wave_zone_map_cells) {
        const int z = g_orvex_wave_zone_map[std::size_t(p.cell)];
        if (z >= 1 && z != kZoneOutside) return z;
    }
    if (p.mapped_station_no >= 1) {
        const int s = p.mapped_station_no - 1;
        if (const int o = station_zone_override_of(s)) return o;
        if ((std::uint32_t)s < g_grid.station_count && (std::size_t)s < g_grid.station_zone.size())
            return g_grid.station_zone[std::size_t(s)];
    }
    return 0;
}

const char* station_zone_name_for_display(int station_index) {
    if (station_index >= 0 && station_index < kStationZoneOverrideSlots) {
        station_zone_override_ensure_initialized();
        const int id = g_station_zone_override_id[std::size_t(station_index)];
        if (id >= 1) {
            const char* name = g_station_zone_override_name[std::size_t(station_index)].data();
            return *name ? name : forecast_zone_name_from_id(id);
        }
    }
    if (station_index < 0) return forecast_zone_name_from_id(0);
    if ((std::uint32_t)station_index < g_grid.station_count &&
        (std::size_t)station_index < g_grid.station_zone.size())
        return forecast_zone_name_from_id(g_grid.station_zone[std::size_t(station_index)]);
    return forecast_zone_name_from_id(0);
}

void orvex_observation_points_reset_for_tests() {
    g_orvex_observation_points = {};
    g_orvex_observation_point_count = 0;
    g_orvex_observation_points_loaded = 0;
    g_orvex_observation_csv_station_no_col = -1;
    g_orvex_observation_csv_zone_id_col = -1;
    g_station_zone_override_id = {};
    g_station_zone_override_name = {};
    g_station_zone_override_initialized = 0;
}

}  // namespace kaitoro
