#include "core/state.h"

#define TARNWICK_VALUE(type, name, initial) type name = initial;
#define TARNWICK_LABEL(name, size, text) const wchar_t name[size] = text;
#define TARNWICK_TEXT(character, name, size) character name[size] = {};
#define TARNWICK_ATOMIC(type, name, initial) std::atomic<type> name{initial};
#define TARNWICK_WORKERS(element, name) std::unique_ptr<element[]> name;
#define TARNWICK_ROWS(name, extent, rows, width) std::unique_ptr<wchar_t[]> name extent;
#define TARNWICK_RANKING(name) std::unique_ptr<RankedResult[]> name;
#define TARNWICK_SCRATCH(name, capacity) std::unique_ptr<wchar_t[]> name;
#define TARNWICK_TABLE(type, name, extent) type name extent;
#include "core/state_list.h"
#include "core/state_list_end.h"

namespace {
template <typename T>
void Release(std::unique_ptr<T[]>& array)
{
    if (array)
        array.reset();
}
}  // namespace

void ReleaseGlobalArrays()
{
    Release(SpeedChartRows);
    Release(PowerChartRows);
    ChartRowsCapacity = 0;
    Release(RecordTitle);
    for (auto& field : RecordFields)
        Release(field);
    Release(ResultLines);
    Release(SpeedRanking);
    Release(PowerRanking);
    Release(SearchHits);
    Release(SearchText);
}
