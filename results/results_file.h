// The results file cpu_results.csv beside the executable.
#pragma once

constexpr int ResultsOpDelete = 'd';
constexpr int ResultsOpLoad = 'i';
constexpr int ResultsOpReplace = 'm';
constexpr int ResultsOpAppend = 'n';

/// Performs `op` on the results file: load it into the table, or delete,
/// replace (both at CurrentResult) or append the record of RecordFields.
/// Any other code only opens the file. Creates the file from its template
/// when it is missing and backs it up first when BackupPending is set.
/// Returns 0 on success, 1 when the template could not be copied, 2 when the
/// file could not be opened (or written), 3 when the backup failed.
int AccessResultsFile(int op);
