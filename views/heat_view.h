// Display mode 3: the heat test's title, progress bar and heat time.
#pragma once

#include "views/layout.h"

#include <cstdint>

/// The heat view as the clock reads `nowMillis` (used while the test runs).
ViewLayout LayoutHeatView(std::int64_t nowMillis);
