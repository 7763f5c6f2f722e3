#include "results/last_test.h"

#include "core/state.h"
#include "results/results_table.h"

void EnsureRecordBuffers()
{
    if (!RecordTitle)
        LoadResultTable(0, [](std::size_t) { return std::wstring_view(); });
}

void FillRecordFromLastTest()
{
    EnsureRecordBuffers();
    ResultRecord record;
    record.count = RecordFieldCount;
    record[FieldManufacturer] = CpuVendorShortName;
    record[FieldModel] = wxString::From8BitData(CpuBrandString);
    record[FieldLogicalProcessors] = wxString::Format(wxS("%u"), CpuCount);
    record[FieldOperatingSystem] = OsName;
    record[FieldSpeedPoints] = PointsText(LastSpeedPoints);
    record[FieldPowerPoints] = PointsText(LastPowerPoints);
    record[FieldDisplay] = wxS("yes");
    ShowRecord(record, CpuDisplayName);
}
