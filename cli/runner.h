// tarnwick-cli: the speed, power and heat tests, the processor facts and the
// stored results without a window, for servers and scripts.
#pragma once

/// Runs the command line; returns the exit code (0 done, 1 failed, 2 the
/// command line was wrong).
int RunCommandLine(int argc, char** argv);
