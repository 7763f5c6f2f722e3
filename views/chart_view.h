// Display modes 1 and 2: this machine's score placed among the stored
// results, ranked by score, with bars scaled to the highest score shown.
#pragma once

#include "views/layout.h"

/// The speed chart after a speed test.
ViewLayout LayoutSpeedChart();

/// The power chart after a power test.
ViewLayout LayoutPowerChart();
