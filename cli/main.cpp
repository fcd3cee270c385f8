// kaitoro-cli: the headless front end. Runs a scenario without a window and writes the same
// result files the desktop program saves, or prints a grid's facts.
#include "cli/cli.h"

int main(int argc, char** argv) { return kaitoro::cli::cli_main(argc, argv); }
