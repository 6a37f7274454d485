// `pelmoctl studio [--port N]`: the store as a TV's home screen, live, in a local web page.
#pragma once

// Runs the subcommand on its own arguments (argv[0] is "studio") until interrupted; the bus
// must already be set up. Returns 0 when stopped by a signal, 1 on failure, 2 on bad usage.
int RunStudioCommand(int argc, char** argv);
