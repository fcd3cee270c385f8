// The settings window: every numeric setting in edit fields with one validated apply action,
// the mode and display toggles, live summary lines, and the [Colors] and [Preset] pages. The
// window is rebuilt from the control tables here on every page switch and rewritten from the
// globals by settings_refresh.
#pragma once

#include <vector>

#include "shell/tool_window.h"

namespace kaitoro {

inline constexpr int kSettingsWidth = 740;
inline constexpr int kSettingsHeight = 930;

enum SettingsPage : int { kSettingsPageMain = 0, kSettingsPageColors = 1, kSettingsPagePreset = 2 };

// Control ids.
enum : int {
    kSetSummarySource = 2001,
    kSetSummaryFault = 2002,
    kSetSummaryDisplay = 2003,
    kSetSummaryCoast = 2004,
    kSetSummarySimulation = 2005,
    kSetFlatReverse = 2018,
    kSetFlipDownSide = 2023,
    kSetCoastAbsorb = 2028,
    kSetSourceMarkers = 2031,
    kSetCoastMarkers = 2032,
    kSetPeakLive = 2033,
    kSetStationRings = 2034,
    kSetFlipX = 2035,
    kSetFlipY = 2036,
    kSetCoastGuard = 2037,
    kSetLowFlicker = 2038,
    kSetClose = 2039,
    kSetSlipSense = 2040,
    kSetResetDelay = 2041,
    kSetBilateral = 2042,
    kSetEditSlip = 2050,
    kSetEditDelay = 2051,
    kSetEditWidth = 2052,
    kSetEditSubsidence = 2054,
    kSetEditSpeed = 2055,
    kSetEditCoastLoss = 2056,
    kSetApplyNumeric = 2057,
    kSetEditDip = 2058,
    kSetEditStrikeSlip = 2059,
    kSetEditOpacity = 2060,
    kSetEditRupture = 2061,
    kSetEditSmooth = 2063,
    kSetEditDepth = 2064,
    kSetEditStartDelay = 2065,
    kSetPageMain = 2070,
    kSetPageColors = 2071,
    kSetCellColorEdit = 2072,
    kSetCoastColorEdit = 2073,
    kSetApplyColors = 2074,
    kSetRestoreColors = 2075,
    kSetCellCurve = 2076,
    kSetCoastMode = 2077,
    kSetColorStatus = 2078,
    kSetPagePreset = 2079,
    kSetSavePreset = 2080,
    kSetLoadPreset = 2081,
    kSetZoneMax = 2082,
    kSetSaveStationCsv = 2083,
    kSetPresetStatus = 2084,
    kSetExportZones = 2085,
    kSetTrueSpeed = 2090,
    kSetOkadaPlacement = 2091,
    kSetExportNetcdf = 2086,
    kSetExportGeojson = 2087,
    kSetSaveAnimation = 2088,
};

extern ControlWindow* g_settings_hwnd;  // the settings window while it exists
extern int g_settings_page;
extern const ToolWindowDef g_settings_window_def;

// The controls of a page, in creation order.
std::vector<ControlSpec> settings_page_controls(int page);

// "Settings" button: raises the window when it exists (and refreshes it), else opens it on the
// main page.
void settings_window_open();
// Closes the window when open (with the main window, or by "Close").
void settings_window_destroy();
// Rebuilds a page: every child control replaced, fields filled, then a refresh.
void settings_show_page(ControlWindow* window, int page);
void handle_settings_command(ControlWindow* window, int id);
// "Apply numeric values": 1 when applied, 0 after the warning box (nothing changed then).
int apply_numeric_settings_from_edits(ControlWindow* window);
// Rewrites summary lines and the fields not holding the focus; nothing when the window is closed.
void settings_refresh();

// Field reads with the window's rules: a number followed only by spaces, tabs, CR or LF, within
// min..max (bounds included). 1 when valid.
int read_edit_int(ControlWindow* window, int id, int min, int max, int* out);
int read_edit_float(ControlWindow* window, int id, float min, float max, float* out);
// Sets a field unless it has the keyboard focus, so typing is never overwritten.
void set_edit_textf_if_not_focused(ControlWindow* window, int id, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

void settings_reset_globals();

}  // namespace kaitoro
