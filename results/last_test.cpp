#include "results/last_test.h"

#include "app/state.h"
#include "results/results_table.h"

#include <cwchar>

namespace {
enum Field { Manufacturer = 0, Model = 1, LogicalProcessors = 6, OperatingSystem = 7, SpeedPoints = 9,
             PowerPoints = 10, Display = 11 };

std::size_t Width()
{
    return ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
}

void Store(int field, const wxString& text)
{
    CopyBounded(RecordFields[field].get(), Width(), text.wc_str(), text.length());
}
}  // namespace

void EnsureRecordBuffers()
{
    if (!RecordTitle)
        LoadResultTable(0, [](std::size_t) { return std::wstring_view(); });
}

void FillRecordFromLastTest()
{
    EnsureRecordBuffers();
    std::wmemset(RecordTitle.get(), L'\0', Width());
    for (auto& field : RecordFields)
        std::wmemset(field.get(), L'\0', Width());
    CopyBounded(RecordTitle.get(), Width(), CpuDisplayName, std::wcslen(CpuDisplayName));
    Store(Manufacturer, CpuVendorShortName);
    Store(Model, wxString::From8BitData(CpuBrandString));
    Store(LogicalProcessors, wxString::Format(wxS("%u"), CpuCount));
    Store(OperatingSystem, OsName);
    Store(SpeedPoints, wxString::Format(wxS("%.0f"), LastSpeedPoints));
    Store(PowerPoints, wxString::Format(wxS("%.0f"), LastPowerPoints));
    Store(Display, wxS("yes"));
}
