// Scenario tables: one earthquake per CSV line, the unit of an ensemble run.
//
// A header line names the columns, in any order. Every row has an `id` (unique, letters,
// digits and -_.:) and one of three source forms, chosen by which cells are filled:
//   fault      a fault-table path (relative paths from the table's folder);
//   mw         lat,lon,mw: one rectangular interface fault sized by the scaling law below,
//              with optional depth_km (20), strike_deg (195), dip_deg (15), rake_deg (90);
//   rectangle  lat,lon,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m
//              (the centroid, as in a fault table).
// Optional for every form: hours (model hours, default 3, at most 60) and true_speed (0 or 1).
// Blank lines and '#' comments are skipped; a byte-order mark and CRLF are accepted.
#pragma once

#include <string>
#include <vector>

#include "source_design/fault_table.h"

namespace kaitoro {

enum class ScenarioKind { FaultFile, Magnitude, Rectangle };

struct Scenario {
    std::string id;
    int line = 0;
    ScenarioKind kind = ScenarioKind::Rectangle;
    std::string fault_path;  // FaultFile, resolved against the table's folder
    OkadaFault fault;        // Magnitude (after scaling) and Rectangle
    double mw = 0;           // Magnitude: as asked
    double hours = 3;
    bool true_speed = false;
    // The row's canonical text: what the result store keeps to tell a changed row from a
    // finished one.
    std::string params;
};

struct ScenarioTable {
    std::vector<Scenario> scenarios;
    std::vector<std::string> errors;  // "line N: reason", in file order
};

inline constexpr double kScenarioDefaultHours = 3.0;
inline constexpr double kScenarioMaxHours = 60.0;

// False only when the file cannot be read (`error` says why); bad rows land in `errors`.
bool scenario_table_load(const std::string& path, ScenarioTable* table, std::string* error);
void scenario_table_parse(const std::string& text, const std::string& base_dir,
                          ScenarioTable* table);

// Rupture size of a subduction-interface earthquake from its moment magnitude, after Strasser,
// Arango and Bommer (2010), Seismol. Res. Lett. 81(6), 941-950, interface events:
//   log10 L = -2.477 + 0.585 Mw,  log10 W = -0.882 + 0.351 Mw  (km),
// and the average slip that gives the moment M0 = 10^(1.5 Mw + 9.1) with M0 = mu L W D,
// mu = 3.0e10 Pa (the program's rigidity, so the source's standard Mw equals Mw).
struct InterfaceRupture {
    double length_km = 0, width_km = 0, slip_m = 0;
};
InterfaceRupture interface_rupture_from_mw(double mw);

// The subfaults a scenario puts into the sea, with the label every message uses; false with
// `error` set when its fault file cannot be read or holds no valid subfault.
bool scenario_subfaults(const Scenario& s, std::vector<Subfault>* out, std::string* error);

}  // namespace kaitoro
