// The results file cpu_results.csv and its in-memory table.
#pragma once

constexpr int ResultsOpDelete = 'd';
constexpr int ResultsOpLoad = 'i';
constexpr int ResultsOpReplace = 'm';
constexpr int ResultsOpAppend = 'n';

/// Performs `op` on the results file; returns 0 on success, 1 when the
/// template could not be copied, 2 when the file could not be opened, 3 when
/// the backup could not be written.
int AccessResultsFile(int op);
