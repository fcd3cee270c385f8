// Fault tables: a finite-fault model as a list of rectangular subfaults (the form published
// source models and event catalogues use), read from CSV and turned into source points through
// the elastic-dislocation solution, so the sea surface both rises and subsides.
//
// File form: a header line naming the columns
//   lat,lon,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m
// in any order, plus the optional `rupture_s` (start of the subfault's slip, seconds after
// origin) and `reference` (where lat, lon and depth_km sit: `centroid`, the default,
// `top_center`, or `top_corner`, the top edge's end where the strike direction starts).
// One subfault per line; blank lines and '#' comments are skipped; a UTF-8 byte-order mark and
// CRLF line ends are accepted. Leading comment lines of the form "# key: value" carry the
// table's metadata (name, origin, epicenter, mw, citation, ...).
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "core/sources.h"
#include "source_design/okada.h"

namespace kaitoro {

struct Subfault {
    OkadaFault fault;     // position resolved to the centroid
    double rupture_s = 0;
    int line = 0;         // where it came from, for messages
};

struct FaultTable {
    std::vector<std::pair<std::string, std::string>> metadata;  // in file order
    std::vector<Subfault> subfaults;
    // "line N: reason" for every line that was not taken, in file order.
    std::vector<std::string> rejected;

    // The metadata value of `key` (case-insensitive), or "" when absent.
    std::string meta(const std::string& key) const;
};

inline constexpr double kFaultRigidityPa = 3.0e10;
inline constexpr int kFaultTableMaxLine = 4095;

// The fault-table header test, used by the load dialog to tell fault tables from the point
// CSV: true when the line (BOM and blanks allowed) names at least the nine required columns.
bool fault_table_header_line(const std::string& line);
// Reads a whole table. False only when the file cannot be opened (or is not a regular file);
// `error` then says why. A table without a usable header has every line in `rejected`.
bool fault_table_load(const char* path, FaultTable* table, std::string* error);
// The same from text already in memory (fuzzing, tests).
void fault_table_parse(const std::string& text, FaultTable* table);

// Standard seismic moment M0 = mu * sum(L W D) with mu = 3.0e10 Pa, and its Mw
// (log10(M0) - 9.1) * 2/3 (0 when M0 is not positive).
double fault_table_moment_nm(const std::vector<Subfault>& subfaults);
double moment_magnitude_from_nm(double m0);

// 1: dislocation sources made by the desktop commands add the horizontal-motion term.
extern int g_fault_horizontal_term;

struct FaultSourceOptions {
    bool horizontal_term = g_fault_horizontal_term != 0;  // add u_h . grad(depth) on slopes
};

struct FaultSourceResult {
    std::size_t points = 0;  // source points appended
    std::size_t uplift = 0, subsidence = 0;
    float max_uplift_m = 0, max_subsidence_m = 0;  // subsidence as a negative number
};

// Evaluates every subfault at the centres of the grid's sea cells (within each subfault's
// reach), sums them, and appends one source point per cell whose total vertical displacement
// is at least 0.0005 m in magnitude. A cell's delay is the rupture time of the subfault that
// contributes most to it there (the source model holds one delay per cell). The points carry
// fault_id kFaultTableFaultId and no slip: their moment is the table's (see below).
FaultSourceResult fault_sources_append(const std::vector<Subfault>& subfaults,
                                       const FaultSourceOptions& options, SourceList* list);

// Source points made from subfaults are marked with this fault group.
inline constexpr int kFaultTableFaultId = -1;

// The standard moment of the subfaults behind the current source's dislocation points. The
// source's moment is this plus the documented moment of every other point; it travels with the
// source through undo. Cleared when no dislocation point is left.
extern double g_fault_table_moment_nm;
extern int g_fault_table_subfaults;

// True when the current source holds points made from subfaults.
bool source_has_fault_table_points();
// The moment and Mw every display shows: the table's standard moment for dislocation points
// plus the documented moment of the others. `standard` says whether a table took part.
double displayed_source_moment_nm(bool* standard);
// Its Mw: the standard one when a table took part, else the documented one.
double displayed_source_mw(bool* standard);

// Loads a table and adds its dislocation source to the current source, as one undoable edit
// ending with the whole-source reset. Status line: subfaults, points, Mw and rejected lines.
// Returns the number of points added, or -1 when the file could not be read.
int fault_table_load_into_source(const char* path, const FaultSourceOptions& options,
                                 FaultTable* table_out);

// The source load dialog's test: when the file's first line that is neither blank nor a comment
// is a fault-table header, loads it into the source (as above) and returns true.
bool fault_table_load_if_table(const char* path);

// Adds subfaults' dislocation to the current source as one undoable edit (the quick finite-fault
// placement's dislocation mode uses it).
FaultSourceResult fault_sources_add_to_current(const std::vector<Subfault>& subfaults,
                                 const FaultSourceOptions& options, const char* undo_label);

}  // namespace kaitoro
