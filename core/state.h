// Process-wide state shared by the windows, the tests, the worker threads and
// the views. Every item exists once; the names are those used throughout the
// program. The items themselves, with what each holds, are in state_list.h.
#pragma once

#include <wx/longlong.h>
#include <wx/string.h>
#include <wx/textbuf.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

// What the main window shows: DisplayMode holds one of these.
enum DisplayModes : std::int32_t {
    DisplayBlank = 0,
    DisplaySpeedChart = 1,
    DisplayPowerChart = 2,
    DisplayHeat = 3,
    DisplayInfo = 4,
    DisplaySearch = 5,
    DisplayAfterOptions = 6,
    DisplayAfterResults = 7,
    DisplayPleaseWait = 10,
};
// The results table's record fields, and one ranked result: its line in the
// table and its score.
constexpr int RecordFieldCount = 12;
struct RankedResult {
    double line;
    double score;
};

#define TARNWICK_VALUE(type, name, initial) extern type name;
#define TARNWICK_LABEL(name, size, text) extern const wchar_t name[size];
#define TARNWICK_TEXT(character, name, size) extern character name[size];
#define TARNWICK_ATOMIC(type, name, initial) extern std::atomic<type> name;
#define TARNWICK_WORKERS(element, name) extern std::unique_ptr<element[]> name;
#define TARNWICK_ROWS(name, extent, rows, width) extern std::unique_ptr<wchar_t[]> name extent;
#define TARNWICK_RANKING(name) extern std::unique_ptr<RankedResult[]> name;
#define TARNWICK_SCRATCH(name, capacity) extern std::unique_ptr<wchar_t[]> name;
#define TARNWICK_TABLE(type, name, extent) extern type name extent;
#include "core/state_list.h"
#include "core/state_list_end.h"

/// Frees the heap arrays that exist, in the order the program releases them at
/// exit: chart rows, record buffers, result lines, rankings, search.
void ReleaseGlobalArrays();
