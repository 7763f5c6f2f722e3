// Display mode 4: what CPUID reports about the processor.
#pragma once

#include "views/layout.h"

/// The processor information table: title, rule, rows, rule, note.
ViewLayout LayoutInfoView();
