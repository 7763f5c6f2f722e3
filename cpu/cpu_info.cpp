#include "cpu/cpu_info.h"

// Decoding arrives with the processor-identification work; until then the
// processor facts keep their start values.
void ReadProcessorInfo() {}
