// The configuration file tarnwick.conf beside the executable.
#pragma once

constexpr int ConfigModeLoad = 'i';
constexpr int ConfigModeApply = 'k';
constexpr int ConfigModeSave = 'm';

/// Loads the settings from the file, applies the current ones, or saves
/// them into the lines the last load found them on; any other mode only
/// opens the file. Creates the file from its template when it is missing.
/// Returns 0 on success, 1 when the template could not be copied, 2 when the
/// file could not be opened, 3 when the backup failed.
int ProcessConfigFile(int mode);

/// CpuListHalf from CpuListCount, and chart row buffers of CpuListCount rows
/// of ResultLineWidth characters (none when they would not fit in memory).
void ApplyChartRows();
