// The work behind the Search, Options, Results, Power and Heat commands:
// each shows its dialog modally and runs what the dialog asked for.
#pragma once

void ShowSearchDialog();
void ShowOptionsDialog();
void ShowResultsDialog();

/// Returns the power points, -1.0 when the dialog was cancelled, -2.0 for
/// zero threads.
double RunPowerBenchmark();

/// Runs the heat test, repainting the main window once a second.
void RunHeatTest();
