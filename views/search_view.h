// Display mode 5: the result lines the last search found.
#pragma once

#include "views/layout.h"

/// The heading ("<count> search results for: <text>") and the raw hit lines.
ViewLayout LayoutSearchResults();
