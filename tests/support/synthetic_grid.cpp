#include "tests/support/synthetic_grid.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace kaitoro::testing {

GridSpec make_ocean(std::uint32_t nx, std::uint32_t ny, float depth_m) {
    GridSpec g;
    g.nx = nx;
    g.ny = ny;
    g.depth.assign(std::size_t(nx) * ny, depth_m);
    return g;
}

void fill_rect(GridSpec& g, int x0, int y0, int x1, int y1, float depth_m) {
    for (int y = std::max(0, y0); y <= std::min<int>(y1, int(g.ny) - 1); ++y)
        for (int x = std::max(0, x0); x <= std::min<int>(x1, int(g.nx) - 1); ++x)
            g.at(x, y) = depth_m;
}

GridSpec three_station_coast() {
    GridSpec g = make_ocean(120, 80, 4000.0f);
    fill_rect(g, 0, 0, 9, 79, -50.0f);
    for (int i = 0; i < 3; ++i) g.add_station(10, 20 + 10 * i, 11 + i);
    return g;
}

bool write_west_coast_grid(const std::string& path) {
    GridSpec g = make_ocean(60, 40, 2000.0f);
    fill_rect(g, 0, 0, 8, 39, -20.0f);
    add_coastal_stations(g, [](int, int y) { return y < 20 ? 12 : 11; });
    return write_file_bytes(path, encode_grid_file(g));
}

void add_coastal_stations(GridSpec& g, int (*zone_of)(int x, int y)) {
    const int nx = int(g.nx), ny = int(g.ny);
    auto land = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < nx && y < ny && !(g.at(x, y) > 0);
    };
    for (int y = 0; y < ny; ++y)
        for (int x = 0; x < nx; ++x) {
            if (land(x, y)) continue;
            if (land(x - 1, y) || land(x + 1, y) || land(x, y - 1) || land(x, y + 1))
                g.add_station(x, y, zone_of(x, y));
        }
}

namespace {

int realistic_zone(int x, int y) {
    // Korean side of the basin gets KMA zones, the arc JMA zones, far east is outside.
    if (x < 300) return 68 + (y * 26 / 539) % 26;
    if (x > 800) return 67;
    return 1 + ((x / 12 + y / 9) % 66);
}

}  // namespace

GridSpec make_realistic_grid(std::uint32_t nx, std::uint32_t ny, std::uint32_t seed) {
    GridSpec g = make_ocean(nx, ny, 4000.0f);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    const float fx = float(nx) / 851.0f, fy = float(ny) / 539.0f;

    for (std::uint32_t y = 0; y < ny; ++y) {
        for (std::uint32_t x = 0; x < nx; ++x) {
            const float X = float(x) / fx, Y = float(y) / fy;
            // Continental coast in the west, wavy.
            const float coast = 180.0f + 40.0f * std::sin(Y / 37.0f) + 15.0f * std::sin(Y / 7.0f);
            float d;
            if (X < coast) {
                d = -50.0f - (coast - X) * 3.0f;
            } else {
                // Shelf rising to the coast, a trench along the arc's ocean side.
                const float off = X - coast;
                d = std::min(4500.0f, 20.0f + off * 25.0f);
                const float arc_x = 470.0f + 0.35f * (Y - 270.0f) + 30.0f * std::sin(Y / 60.0f);
                const float t = X - (arc_x + 60.0f);
                d += 3000.0f * std::exp(-t * t / 200.0f);
                // Island arc: a band of land with a few one-cell straits cut through it.
                const float band = std::fabs(X - arc_x);
                if (band < 14.0f + 6.0f * std::sin(Y / 23.0f)) d = -100.0f;
                else if (band < 30.0f) d = std::min(d, 30.0f + band * 8.0f);
            }
            d += 5.0f * noise(rng);
            g.at(int(x), int(y)) = d;
        }
    }
    // One-cell straits through the arc and a diagonal gap.
    for (int yy : {int(120 * fy), int(300 * fy), int(420 * fy)}) {
        for (std::uint32_t x = 0; x < nx; ++x) {
            const float X = float(x) / fx, Y = float(yy) / fy;
            const float arc_x = 470.0f + 0.35f * (Y - 270.0f) + 30.0f * std::sin(Y / 60.0f);
            if (std::fabs(X - arc_x) < 25.0f) g.at(int(x), yy) = 40.0f;
        }
    }
    // A lake inside the continent and small islands offshore.
    fill_rect(g, int(60 * fx), int(200 * fy), int(75 * fx), int(210 * fy), 30.0f);
    for (int k = 0; k < 12; ++k) {
        const int cx = int((560 + 20 * k) * fx), cy = int((60 + 35 * k) * fy);
        fill_rect(g, cx, cy, cx + 2, cy + 1, -20.0f);
    }
    add_coastal_stations(g, realistic_zone);
    return g;
}

std::vector<std::uint8_t> encode_grid_file(const GridSpec& g) {
    std::vector<std::uint8_t> out;
    auto put = [&](const void* p, std::size_t n) {
        const auto* b = static_cast<const std::uint8_t*>(p);
        out.insert(out.end(), b, b + n);
    };
    const char magic[16] = "TSUNAMI_SIM_V1";
    put(magic, 16);
    const std::uint32_t hdr[3] = {g.nx, g.ny, std::uint32_t(g.station_cell.size())};
    put(hdr, sizeof hdr);
    put(g.depth.data(), g.depth.size() * sizeof(float));
    out.insert(out.end(), g.depth.size(), std::uint8_t(0));
    put(g.station_cell.data(), g.station_cell.size() * 4);
    put(g.station_zone.data(), g.station_zone.size() * 4);
    return out;
}

bool write_file_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(f);
}

bool write_text_file(const std::string& path, const std::string& text) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << text;
    return bool(f);
}

std::string read_file_text(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

namespace {

// Folders still alive, with the process that made them. A death test's child leaves through
// exit() without running destructors; this removes what that child made (and only that: the
// parent's folders, inherited in the list, belong to the parent).
struct LiveDirs {
    std::vector<std::pair<std::string, pid_t>> dirs;
    LiveDirs() {
        std::atexit([] {
            std::error_code ec;
            for (const auto& [path, pid] : live_dirs().dirs)
                if (pid == getpid()) std::filesystem::remove_all(path, ec);
        });
    }
    static LiveDirs& live_dirs() {
        static LiveDirs* d = new LiveDirs;  // never destroyed: the handler may run late
        return *d;
    }
};

}  // namespace

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "kaitoro-test-XXXXXX").string();
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) std::abort();
    path_ = buf.data();
    LiveDirs::live_dirs().dirs.emplace_back(path_, getpid());
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
    auto& dirs = LiveDirs::live_dirs().dirs;
    for (auto it = dirs.begin(); it != dirs.end(); ++it)
        if (it->first == path_) {
            dirs.erase(it);
            break;
        }
}

GridData load_spec(const GridSpec& g) {
    TempDir dir;
    const std::string path = dir.file("grid.bin");
    write_file_bytes(path, encode_grid_file(g));
    return load_grid_data(path.c_str());
}

}  // namespace kaitoro::testing
