// Wiring of the rendering layer into the rest of the program.
#pragma once

namespace kaitoro {

// Connects the core's seams to the rendering layer (colour settings at start-up, the land/sea
// inversion for the feed); hooks already set are kept.
// Called at the start of driver_startup.
void render_install_hooks();
// Every rendering global back to its start-up value.
void render_reset_globals();

}  // namespace kaitoro
