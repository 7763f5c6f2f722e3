#include "core/state.h"

std::int32_t SpeedTestMillis = 10000;
std::int32_t PowerTestMillis = 10000;
std::int32_t HeatTestMillis = 600000;
std::int32_t CpuListCount = 20;
std::int32_t FontSize = 9;
char ConfigMode = 'i';

const wchar_t SpeedTitleLabel[24] = L"CPU Speed Benchmark";
const wchar_t SpeedPointsLabel[24] = L"Speed test points:";
const wchar_t PowerTitleLabel[24] = L"CPU Power Benchmark";
const wchar_t PowerPointsLabel[24] = L"Power test points:";
const wchar_t HeatTitleLabel[16] = L"CPU Heat Test";
const wchar_t InfoTitleLabel[24] = L"Processor Informations";
const wchar_t PleaseWaitLabel[16] = L"Please wait ...";
const wchar_t ManualMissingLabel[48] = L"The file 'manual_tarnwick.txt' is not found!";
const wchar_t HistoryMissingLabel[48] = L"The file 'history_tarnwick.txt' is not found!";
const wchar_t PositiveNumberLabel[32] = L"Please enter a positive number!";
const wchar_t NoResultsLabel[24] = L"There are no results!";

std::int32_t DisplayMode = DisplayBlank;
std::int32_t DialogCancelled = 0;
std::int32_t HeatState = 0;

wchar_t OsName[16] = L"";
wchar_t CpuVendorShortName[16] = L"";
char CpuVendorId[13] = "";
char CpuBrandString[49] = "";
wchar_t CpuDisplayName[49] = L"";
std::uint32_t CpuSignature = 0;
std::uint32_t CpuFamily = 0;
std::uint32_t CpuModel = 0;
std::uint32_t CpuStepping = 0;
std::uint32_t CpuExtendedFamily = 0;
std::uint32_t CpuExtendedModel = 0;
std::uint32_t CpuType = 0;
std::uint32_t CpuCores = 0;
std::uint32_t CpuPackages = 1;
std::uint32_t CpuLogicalPerPackage = 0;
std::uint32_t CpuHtt = 0;
std::uint32_t CpuCount = 0;
std::uint32_t CpuFeaturesEbx = 0;
std::uint32_t CpuFeaturesEcx = 0;
std::uint32_t CpuFeaturesEdx = 0;

std::uint32_t ThreadCount = 0;
std::uint32_t HttOption = 0;
std::uint32_t HttOffResult = 0;
std::uint32_t HalfThreadCount = 0;
std::unique_ptr<std::atomic<std::uint32_t>[]> ThreadDone;
std::uint32_t DoneProduct = 0;
std::unique_ptr<double[]> ThreadPoints;
double PointsSum = 0.0;
double LastSpeedPoints = 0.0;
double LastPowerPoints = 0.0;
double AverageThreadPoints = 0.0;
double ReferenceCorePoints = 0.0;
double HttEfficiency = 0.0;
wxLongLong HeatStart = 0;
std::atomic<wxLongLong_t> HeatWorkNow{0};
wxLongLong HeatViewNow = 0;

std::int32_t ResultLineCount = 0;
std::int32_t ResultLineWidth = 0;
std::unique_ptr<wchar_t[]> ResultLines;
std::unique_ptr<wchar_t[]> RecordTitle;
std::unique_ptr<wchar_t[]> RecordFields[RecordFieldCount];
std::unique_ptr<RankedResult[]> SpeedRanking;
std::unique_ptr<RankedResult[]> PowerRanking;
std::int32_t RankedCount = 0;
std::int32_t CurrentResult = 0;
std::int32_t BackupPending = 0;
wxTextFileType ResultsFileLineType = wxTextFileType_None;

wxString DialogSearchText;
std::unique_ptr<wchar_t[]> SearchText;
std::unique_ptr<wchar_t[]> SearchHits;
std::int32_t SearchHitCount = 0;
std::size_t SearchHitWidth = 0;

std::int32_t CpuListHalf = 0;
std::int32_t ConfigCpuListLine = 0;
std::int32_t ConfigHeatTimeLine = 0;
wxTextFileType ConfigLineType = wxTextFileType_None;
bool ConfigBackupEnabled = false;

std::unique_ptr<wchar_t[]> SpeedChartRows;
std::unique_ptr<wchar_t[]> PowerChartRows;
std::size_t ChartRowsCapacity = 0;
std::int32_t ChartRowsAbove = 0;
std::int32_t ChartRowsBelow = 0;
double SpeedChartScale = 0.0;
double PowerChartScale = 0.0;

wxString ManualFilePath = wxS("doc/manual_tarnwick.txt");
wxString HistoryFilePath = wxS("doc/history_tarnwick.txt");
wxString ExePath;
wxString AppBaseDir;
wxString ConfigFilePath;
wxString ConfigTemplatePath;
wxString ConfigBackupPath;
wxString ManualFileFullPath;
wxString HistoryFileFullPath;
wxString ResultsFilePath;
wxString ResultsTemplatePath;
wxString ResultsBackupPath;

wxString ReservedTextTables[3][81];

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
