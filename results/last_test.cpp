#include "results/last_test.h"

#include "core/state.h"
#include "results/results_table.h"

#include <cwchar>

void EnsureRecordBuffers()
{
    if (!RecordTitle)
        LoadResultTable(0, [](std::size_t) { return std::wstring_view(); });
}

void FillRecordFromLastTest()
{
    EnsureRecordBuffers();
    SplitRow(nullptr);  // every buffer empty
    const std::size_t width = static_cast<std::size_t>(ResultLineWidth);
    CopyBounded(RecordTitle.get(), width, CpuDisplayName, std::wcslen(CpuDisplayName));
    SetRecordField(FieldManufacturer, CpuVendorShortName);
    SetRecordField(FieldModel, wxString::From8BitData(CpuBrandString));
    SetRecordField(FieldLogicalProcessors, wxString::Format(wxS("%u"), CpuCount));
    SetRecordField(FieldOperatingSystem, OsName);
    SetRecordField(FieldSpeedPoints, wxString::Format(wxS("%.0f"), LastSpeedPoints));
    SetRecordField(FieldPowerPoints, wxString::Format(wxS("%.0f"), LastPowerPoints));
    SetRecordField(FieldDisplay, wxS("yes"));
}
