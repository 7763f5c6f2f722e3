// Processor identification through the CPUID instruction.
#pragma once

struct ProcessorFacts;

/// Reads and decodes the processor identification into the processor facts
/// (CpuCount must be set first).
void ReadProcessorInfo();

/// Stores decoded facts in the process-wide processor facts.
void ApplyProcessorFacts(const ProcessorFacts& facts);
