// Process-wide state shared by the windows, the tests, the worker threads and
// the views. Every item exists once; the names are those used throughout the
// program.
#pragma once

#include <wx/longlong.h>
#include <wx/string.h>
#include <wx/textbuf.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

// Run parameters.
extern std::int32_t SpeedTestMillis;   ///< length of the speed test (ms)
extern std::int32_t PowerTestMillis;   ///< length of each power-test thread (ms)
extern std::int32_t HeatTestMillis;    ///< length of the heat test (ms)
extern std::int32_t CpuListCount;      ///< result rows a chart lists
extern std::int32_t FontSize;          ///< point size of ViewFont
extern char ConfigMode;                ///< 'i' load, 'k' apply, 'm' save

// Fixed label texts.
extern const wchar_t SpeedTitleLabel[24];
extern const wchar_t SpeedPointsLabel[24];
extern const wchar_t PowerTitleLabel[24];
extern const wchar_t PowerPointsLabel[24];
extern const wchar_t HeatTitleLabel[16];
extern const wchar_t InfoTitleLabel[24];
extern const wchar_t PleaseWaitLabel[16];
extern const wchar_t ManualMissingLabel[48];
extern const wchar_t HistoryMissingLabel[48];
extern const wchar_t PositiveNumberLabel[32];
extern const wchar_t NoResultsLabel[24];

// What the main window shows, and whether the last dialog was cancelled.
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
extern std::int32_t DisplayMode;
extern std::int32_t DialogCancelled;
extern std::int32_t HeatState;         ///< 0 idle, 2 running, 1 finished

// Processor facts.
extern wchar_t OsName[16];
extern wchar_t CpuVendorShortName[16];
extern char CpuVendorId[13];
extern char CpuBrandString[49];
extern wchar_t CpuDisplayName[49];
extern std::uint32_t CpuSignature;
extern std::uint32_t CpuFamily;
extern std::uint32_t CpuModel;
extern std::uint32_t CpuStepping;
extern std::uint32_t CpuExtendedFamily;
extern std::uint32_t CpuExtendedModel;
extern std::uint32_t CpuType;
extern std::uint32_t CpuCores;
extern std::uint32_t CpuPackages;
extern std::uint32_t CpuLogicalPerPackage;
extern std::uint32_t CpuHtt;
extern std::uint32_t CpuCount;
extern std::uint32_t CpuFeaturesEbx;   ///< leaf 1's EBX, ECX, EDX as read; nothing reads them
extern std::uint32_t CpuFeaturesEcx;
extern std::uint32_t CpuFeaturesEdx;

// Benchmark state and results.
extern std::uint32_t ThreadCount;
extern std::uint32_t HttOption;
extern std::uint32_t HttOffResult;
extern std::uint32_t HalfThreadCount;
/// One completion flag per worker; a worker stores its result, then its flag
/// with release order, and the waiting loop loads the flags with acquire.
extern std::unique_ptr<std::atomic<std::uint32_t>[]> ThreadDone;
extern std::uint32_t DoneProduct;
extern std::unique_ptr<double[]> ThreadPoints;
extern double PointsSum;
extern double LastSpeedPoints;
extern double LastPowerPoints;
extern double AverageThreadPoints;
extern double ReferenceCorePoints;
extern double HttEfficiency;
extern wxLongLong HeatStart;
extern std::atomic<wxLongLong_t> HeatWorkNow;  ///< a clock hint: relaxed order
extern wxLongLong HeatViewNow;

// Results table: ResultLineCount rows of ResultLineWidth wide characters.
constexpr int RecordFieldCount = 12;
/// One ranked result: its line in the table and its score.
struct RankedResult {
    double line;
    double score;
};
extern std::int32_t ResultLineCount;
extern std::int32_t ResultLineWidth;   ///< longest line + 1 + 200
extern std::unique_ptr<wchar_t[]> ResultLines;
extern std::unique_ptr<wchar_t[]> RecordTitle;
extern std::unique_ptr<wchar_t[]> RecordFields[RecordFieldCount];
extern std::unique_ptr<RankedResult[]> SpeedRanking;  ///< ResultLineCount pairs
extern std::unique_ptr<RankedResult[]> PowerRanking;
extern std::int32_t RankedCount;       ///< pairs in use, sorted by descending score
extern std::int32_t CurrentResult;     ///< the record the results dialog shows
extern std::int32_t BackupPending;     ///< back the file up before the next access
extern wxTextFileType ResultsFileLineType;

// Search.
extern wxString DialogSearchText;      ///< the results dialog's search text, lower-cased
extern std::unique_ptr<wchar_t[]> SearchText;
extern std::unique_ptr<wchar_t[]> SearchHits;
extern std::int32_t SearchHitCount;
extern std::size_t SearchHitWidth;     ///< row width of SearchHits (the table's when searched)

// Configuration state.
extern std::int32_t CpuListHalf;
extern std::int32_t ConfigCpuListLine;
extern std::int32_t ConfigHeatTimeLine;
extern wxTextFileType ConfigLineType;
extern bool ConfigBackupEnabled;       ///< never set: the configuration is not backed up

// Chart rows, sized by the configuration, and what the last chart drew.
extern std::unique_ptr<wchar_t[]> SpeedChartRows;
extern std::unique_ptr<wchar_t[]> PowerChartRows;
extern std::size_t ChartRowsCapacity;  ///< wide characters in each of the two row buffers
extern std::int32_t ChartRowsAbove;
extern std::int32_t ChartRowsBelow;
extern double SpeedChartScale;         ///< points drawn as the full bar of 225 pixels
extern double PowerChartScale;

// File paths. The help viewers use the two relative ones; the others are
// resolved against the executable's directory each time a file is opened.
extern wxString ManualFilePath;
extern wxString HistoryFilePath;
extern wxString ExePath;
extern wxString AppBaseDir;
extern wxString ConfigFilePath;
extern wxString ConfigTemplatePath;
extern wxString ConfigBackupPath;
extern wxString ManualFileFullPath;
extern wxString HistoryFileFullPath;
extern wxString ResultsFilePath;
extern wxString ResultsTemplatePath;
extern wxString ResultsBackupPath;

/// Three reserved tables of 81 texts; made at start, gone at exit, unused.
extern wxString ReservedTextTables[3][81];

/// Frees the heap arrays that exist, in the order the program releases them at
/// exit: chart rows, record buffers, result lines, rankings, search.
void ReleaseGlobalArrays();
