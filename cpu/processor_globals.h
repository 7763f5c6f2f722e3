// The processor facts every program starts with.
#pragma once

/// Sets the operating-system name and the processor count, decodes the
/// processor identification and derives the power test's defaults from it.
/// `reportedCpuCount` is what the system reports; a count below 1 (unknown)
/// is taken as 1.
void InitProcessorGlobals(int reportedCpuCount);
