// The bounded undo stack of whole-source edits, and the restart of the model with the current
// source that every edit outside painting ends with.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "core/sources.h"

namespace kaitoro {

inline constexpr int kSourceUndoDepth = 32;
inline constexpr std::size_t kSourceUndoLabelMax = 95;

struct SourceUndoSnapshot {
    std::vector<SourcePoint> nodes;  // owned copy; empty for an empty source
    std::size_t node_count = 0;
    int primary_index = -1;
    float delay_cursor_s = 0;
    float drag_start_delay_cursor_s = 0;
    int paint_delay_override_s = -1;
    double fault_table_moment_nm = 0;  // the standard moment behind dislocation points
    int fault_table_subfaults = 0;
    char label[kSourceUndoLabelMax + 1] = {};
};

extern std::array<SourceUndoSnapshot, kSourceUndoDepth> g_source_undo_stack;
extern int g_source_undo_count;  // entries in use; count - 1 is the newest

// Pushed before the change it protects. Out of memory: warning beep, message, no undo point.
void source_undo_push(const char* label);
// Pops the newest snapshot and restarts the model with it; repaints when a window is given.
void source_undo_restore(void* window);
void reset_state_preserve_sources();
// Drops every snapshot (shutdown, tests).
void source_undo_free();

// Points the core's hooks (the source CSV command's undo step, fault metadata and reset) at
// this folder. The composition root calls it at start-up.
void source_design_install_hooks();
// Every global of this folder back to its start value, snapshots and indexes freed.
void source_design_reset_globals();
// Shutdown: frees the selection flags and the cell index, then the undo stack last.
void source_design_shutdown();

}  // namespace kaitoro
