// The start-up initialiser.
#pragma once

/// The global initialiser: drawing resources, then the processor facts and
/// the power test's defaults. Runs once, after the main window is shown.
/// (Made with the drawing resources, in the program with a window.)
void InitGlobals();

/// Sets the operating-system name and the processor count, decodes the
/// processor identification and derives the power test's defaults from it.
/// `reportedCpuCount` is what the system reports; a count below 1 (unknown)
/// is taken as 1.
void InitProcessorGlobals(int reportedCpuCount);
