// Processor identification through the CPUID instruction.
#pragma once

/// Reads the processor identification and fills the processor facts.
void ReadProcessorInfo();
