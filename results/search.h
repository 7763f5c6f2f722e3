// Searching the results table.
#pragma once

/// Collects the result lines that contain SearchText.
void FindResults();
