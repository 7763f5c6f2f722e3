// The configuration file tarnwick.conf.
#pragma once

constexpr int ConfigModeLoad = 'i';
constexpr int ConfigModeApply = 'k';
constexpr int ConfigModeSave = 'm';

/// Loads, applies or saves the configuration; status codes as for the
/// results file.
int ProcessConfigFile(int mode);
