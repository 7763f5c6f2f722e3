// tarnwick-cli: the speed, power and heat tests, the processor facts and the
// stored results without a window, for servers and scripts.
#pragma once

#include <wx/string.h>

#include <vector>

/// Runs the command line (the program's name first, as the arguments'
/// bytes were given: see path_text.h); returns the exit code (0 done,
/// 1 failed, 2 the command line was wrong).
int RunCommandLine(std::vector<wxString> arguments);
