// Plugs the observation report feed into the simulation core.
#pragma once

namespace kaitoro {

// Fills g_feed_hooks with the feed's functions. A set of hooks already installed (a test's
// stand-in feed) is left as it is.
void orvex_install_feed_hooks();
// Releases what the feed allocated for the run.
void orvex_feed_shutdown();
// All feed globals back to program start (tests).
void orvex_feed_reset_all_for_tests();

}  // namespace kaitoro
