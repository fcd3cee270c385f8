#include "source_design/undo.h"

#include <cstring>
#include <new>
#include <utility>

#include "core/driver.h"
#include "core/platform.h"
#include "core/status.h"
#include "source_design/brush.h"
#include "source_design/fault_table.h"
#include "source_design/node_tune.h"
#include "source_design/preset.h"
#include "source_design/source_cell.h"

namespace kaitoro {

std::array<SourceUndoSnapshot, kSourceUndoDepth> g_source_undo_stack;
int g_source_undo_count = 0;

void source_undo_push(const char* label) {
    SourceUndoSnapshot snap;
    if (g_sources.count > 0) {
        try {
            snap.nodes.assign(g_sources.items.begin(),
                              g_sources.items.begin() + long(g_sources.count));
        } catch (const std::bad_alloc&) {
            platform().beep(BeepKind::Warning);
            set_status("Undo snapshot failed: out of memory. Edit continues without undo point.");
            return;
        }
    }
    snap.node_count = g_sources.count;
    snap.primary_index = g_selected_source_i;
    snap.delay_cursor_s = g_rupture_delay_cursor_s;
    snap.drag_start_delay_cursor_s = g_drag_start_delay_cursor_s;
    snap.paint_delay_override_s = g_active_paint_delay_override_s;
    snap.fault_table_moment_nm = g_fault_table_moment_nm;
    snap.fault_table_subfaults = g_fault_table_subfaults;
    if (label) {
        std::strncpy(snap.label, label, kSourceUndoLabelMax);
        snap.label[kSourceUndoLabelMax] = '\0';
    }
    if (g_source_undo_count >= kSourceUndoDepth) {
        // The oldest falls off the bottom; the rest move down one.
        for (int i = 1; i < kSourceUndoDepth; ++i)
            g_source_undo_stack[std::size_t(i - 1)] =
                std::move(g_source_undo_stack[std::size_t(i)]);
        g_source_undo_stack[kSourceUndoDepth - 1] = std::move(snap);
    } else {
        g_source_undo_stack[std::size_t(g_source_undo_count++)] = std::move(snap);
    }
}

void source_undo_restore(void* window) {
    if (g_source_undo_count <= 0) {
        platform().beep(BeepKind::Warning);
        set_status("Undo: no source edit to restore.");
        return;
    }
    SourceUndoSnapshot snap = std::move(g_source_undo_stack[std::size_t(--g_source_undo_count)]);
    g_source_undo_stack[std::size_t(g_source_undo_count)] = SourceUndoSnapshot{};

    if (g_sources.capacity < snap.node_count) {
        try {
            g_sources.items.resize(snap.node_count);
            g_sources.capacity = snap.node_count;
        } catch (const std::bad_alloc&) {
            if (snap.node_count > 0) {
                const std::size_t n = snap.node_count;
                g_source_undo_stack[std::size_t(g_source_undo_count++)] = std::move(snap);
                platform().beep(BeepKind::Error);
                set_status("Undo failed: out of memory while restoring %zu source node(s).", n);
                return;
            }
        }
    }
    std::copy(snap.nodes.begin(), snap.nodes.begin() + long(snap.node_count),
              g_sources.items.begin());
    g_sources.count = snap.node_count;

    g_rupture_delay_cursor_s = snap.delay_cursor_s;
    g_drag_start_delay_cursor_s = snap.drag_start_delay_cursor_s;
    g_active_paint_delay_override_s = snap.paint_delay_override_s;
    g_fault_table_moment_nm = snap.fault_table_moment_nm;
    g_fault_table_subfaults = snap.fault_table_subfaults;

    if (node_tune_ensure_selection_capacity())
        std::fill(g_node_tune_selected.begin(), g_node_tune_selected.end(), std::uint8_t(0));
    g_selected_source_i = -1;

    reset_state_preserve_sources();
    set_status("Undo: restored before '%s'. Source nodes: %zu.",
               snap.label[0] ? snap.label : "source edit", g_sources.count);
    if (window) platform().request_repaint();
}

void reset_state_preserve_sources() {
    // Slips normalised, simulation reset with the sources applied, time 0, the feed's export
    // state reset (which empties the outbox), recordings cleared and re-seeded at time 0.
    driver_reset_run();
    set_status("Reset. %zu source point(s) preserved.", g_sources.count);
}

void source_undo_free() {
    for (SourceUndoSnapshot& s : g_source_undo_stack) s = SourceUndoSnapshot{};
    g_source_undo_count = 0;
}

void source_design_install_hooks() {
    g_source_undo_push_hook = source_undo_push;
    g_source_apply_metadata_hook = source_apply_current_fault_metadata;
    g_reset_state_preserve_sources_hook = reset_state_preserve_sources;
    g_fault_table_load_hook = fault_table_load_if_table;
}

void source_design_reset_globals() {
    source_cell_reset_globals();
    brush_reset_globals();
    node_tune_reset_globals();
    preset_reset_globals();
    g_fault_table_moment_nm = 0;
    g_fault_table_subfaults = 0;
    g_fault_horizontal_term = 0;
    source_undo_free();
}

void source_design_shutdown() {
    g_node_tune_selected = {};
    g_node_tune_selected_capacity = 0;
    source_cell_index_free();
    source_undo_free();
}

}  // namespace kaitoro
