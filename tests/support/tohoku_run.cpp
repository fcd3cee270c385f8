#include "tests/support/tohoku_run.h"

#include <cmath>
#include <string>

#include "core/driver.h"
#include "core/geo.h"
#include "quick_ff/ff_csv.h"
#include "quick_ff/placement.h"
#include "source_design/source_cell.h"
#include "tests/support/global_state.h"

namespace kaitoro::testing {

bool start_tohoku_like_run() {
    reset_all_globals();
    std::string arg0 = "kaitoro", grid = KAITORO_SOURCE_DIR "/data/tsunami_data.bin";
    char* argv[] = {arg0.data(), grid.data()};
    if (driver_startup(2, argv) != 0) return false;
    QuickFfLoadResult loaded;
    if (!quick_ff_load_csv_file(KAITORO_SOURCE_DIR "/data/examples/tohoku2011_like_ff.csv",
                                &loaded) ||
        loaded.cells == 0)
        return false;
    g_fault_strike_deg = 193.0f;
    float fx = 0.0f, fy = 0.0f;
    grid_xy_from_latlon(38.10f, 142.86f, &fx, &fy);
    if (quick_ff_apply_at(int(std::lround(fx)), int(std::lround(fy))) == 0) return false;
    driver_reset_run();
    return true;
}

}  // namespace kaitoro::testing
