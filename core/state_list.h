// Every process-wide item of the program, once: state.h declares them from
// this list, state.cpp defines them from it, and the tests' state checker
// keeps and compares them from it, so that none can be added to one and
// missed by another. Included with these macros defined (no include guard):
//
//   TARNWICK_VALUE(type, name, initial)       a value, compared with ==
//   TARNWICK_LABEL(name, size, text)          a fixed wide text that never changes
//   TARNWICK_TEXT(character, name, size)      a fixed text, compared as a string
//   TARNWICK_ATOMIC(type, name, initial)      an atomic value
//   TARNWICK_WORKERS(element, name)           a worker array, made for one run
//   TARNWICK_ROWS(name, extent, rows, width)  rows of wide text; `rows` and
//                                             `width` say how many, read when
//                                             compared; `extent` is [N] for N
//                                             such arrays, or nothing
//   TARNWICK_RANKING(name)                    RankedCount pairs of line and score
//   TARNWICK_SCRATCH(name, capacity)          rows whose contents mean nothing
//                                             between paints
//   TARNWICK_TABLE(type, name, extent)        an array of values
//
// Entries use RankedResult, RecordFieldCount and the types of <wx/string.h>,
// <wx/longlong.h> and <wx/textbuf.h>, which state.h gives them.

// Run parameters.
TARNWICK_VALUE(std::int32_t, SpeedTestMillis, 10000)   // length of the speed test (ms)
TARNWICK_VALUE(std::int32_t, PowerTestMillis, 10000)   // length of each power-test thread (ms)
TARNWICK_VALUE(std::int32_t, HeatTestMillis, 600000)   // length of the heat test (ms)
TARNWICK_VALUE(std::int32_t, CpuListCount, 20)         // result rows a chart lists
TARNWICK_VALUE(std::int32_t, FontSize, 9)              // point size of ViewFont
TARNWICK_VALUE(char, ConfigMode, 'i')                  // 'i' load, 'k' apply, 'm' save

// Fixed label texts.
TARNWICK_LABEL(SpeedTitleLabel, 24, L"CPU Speed Benchmark")
TARNWICK_LABEL(SpeedPointsLabel, 24, L"Speed test points:")
TARNWICK_LABEL(PowerTitleLabel, 24, L"CPU Power Benchmark")
TARNWICK_LABEL(PowerPointsLabel, 24, L"Power test points:")
TARNWICK_LABEL(HeatTitleLabel, 16, L"CPU Heat Test")
TARNWICK_LABEL(InfoTitleLabel, 24, L"Processor Informations")
TARNWICK_LABEL(PleaseWaitLabel, 16, L"Please wait ...")
TARNWICK_LABEL(ManualMissingLabel, 48, L"The file 'manual_tarnwick.txt' is not found!")
TARNWICK_LABEL(HistoryMissingLabel, 48, L"The file 'history_tarnwick.txt' is not found!")
TARNWICK_LABEL(PositiveNumberLabel, 32, L"Please enter a positive number!")
TARNWICK_LABEL(NoResultsLabel, 24, L"There are no results!")

// What the main window shows (a DisplayModes value), whether the last dialog
// was cancelled, and the heat test's state: 0 idle, 2 running, 1 finished.
TARNWICK_VALUE(std::int32_t, DisplayMode, DisplayBlank)
TARNWICK_VALUE(std::int32_t, DialogCancelled, 0)
TARNWICK_VALUE(std::int32_t, HeatState, 0)

// Processor facts. CpuFeaturesEbx, Ecx and Edx are leaf 1's registers as
// read; nothing reads them.
TARNWICK_TEXT(wchar_t, OsName, 16)
TARNWICK_TEXT(wchar_t, CpuVendorShortName, 16)
TARNWICK_TEXT(char, CpuVendorId, 13)
TARNWICK_TEXT(char, CpuBrandString, 49)
TARNWICK_TEXT(wchar_t, CpuDisplayName, 49)
TARNWICK_VALUE(std::uint32_t, CpuSignature, 0)
TARNWICK_VALUE(std::uint32_t, CpuFamily, 0)
TARNWICK_VALUE(std::uint32_t, CpuModel, 0)
TARNWICK_VALUE(std::uint32_t, CpuStepping, 0)
TARNWICK_VALUE(std::uint32_t, CpuExtendedFamily, 0)
TARNWICK_VALUE(std::uint32_t, CpuExtendedModel, 0)
TARNWICK_VALUE(std::uint32_t, CpuType, 0)
TARNWICK_VALUE(std::uint32_t, CpuCores, 0)
TARNWICK_VALUE(std::uint32_t, CpuPackages, 1)
TARNWICK_VALUE(std::uint32_t, CpuLogicalPerPackage, 0)
TARNWICK_VALUE(std::uint32_t, CpuHtt, 0)
TARNWICK_VALUE(std::uint32_t, CpuCount, 0)
TARNWICK_VALUE(std::uint32_t, CpuFeaturesEbx, 0)
TARNWICK_VALUE(std::uint32_t, CpuFeaturesEcx, 0)
TARNWICK_VALUE(std::uint32_t, CpuFeaturesEdx, 0)

// Benchmark state and results. ThreadDone holds one completion flag per
// worker: a worker stores its result, then its flag with release order, and
// the waiting loop loads the flags with acquire. HeatWorkNow is a clock hint
// the heat workers share, in relaxed order.
TARNWICK_VALUE(std::uint32_t, ThreadCount, 0)
TARNWICK_VALUE(std::uint32_t, HttOption, 0)
TARNWICK_VALUE(std::uint32_t, HttOffResult, 0)
TARNWICK_VALUE(std::uint32_t, HalfThreadCount, 0)
TARNWICK_WORKERS(std::atomic<std::uint32_t>, ThreadDone)
TARNWICK_VALUE(std::uint32_t, DoneProduct, 0)
TARNWICK_WORKERS(double, ThreadPoints)
TARNWICK_VALUE(double, PointsSum, 0.0)
TARNWICK_VALUE(double, LastSpeedPoints, 0.0)
TARNWICK_VALUE(double, LastPowerPoints, 0.0)
TARNWICK_VALUE(double, AverageThreadPoints, 0.0)
TARNWICK_VALUE(double, ReferenceCorePoints, 0.0)
TARNWICK_VALUE(double, HttEfficiency, 0.0)
TARNWICK_VALUE(wxLongLong, HeatStart, 0)
TARNWICK_ATOMIC(wxLongLong_t, HeatWorkNow, 0)
TARNWICK_VALUE(wxLongLong, HeatViewNow, 0)

// Results table: ResultLineCount rows of ResultLineWidth (longest line + 1 +
// 200) wide characters, the shown record's buffers, and the rankings:
// ResultLineCount pairs each, RankedCount in use, by descending score.
// CurrentResult is the record the results dialog shows; BackupPending backs
// the file up before its next access.
TARNWICK_VALUE(std::int32_t, ResultLineCount, 0)
TARNWICK_VALUE(std::int32_t, ResultLineWidth, 0)
TARNWICK_ROWS(ResultLines, , std::size_t(std::max(ResultLineCount, 0)), std::size_t(std::max(ResultLineWidth, 0)))
TARNWICK_ROWS(RecordTitle, , 1, std::size_t(std::max(ResultLineWidth, 0)))
TARNWICK_ROWS(RecordFields, [RecordFieldCount], 1, std::size_t(std::max(ResultLineWidth, 0)))
TARNWICK_RANKING(SpeedRanking)
TARNWICK_RANKING(PowerRanking)
TARNWICK_VALUE(std::int32_t, RankedCount, 0)
TARNWICK_VALUE(std::int32_t, CurrentResult, 0)
TARNWICK_VALUE(std::int32_t, BackupPending, 0)
TARNWICK_VALUE(wxTextFileType, ResultsFileLineType, wxTextFileType_None)

// Search: the results dialog's search text (lower-cased), the main window's
// search text, and its hits, SearchHitCount rows of SearchHitWidth (the
// table's row width when searched).
TARNWICK_VALUE(wxString, DialogSearchText, wxString())
TARNWICK_ROWS(SearchText, , 1, SearchText ? std::wcslen(SearchText.get()) + 1 : std::size_t{0})
TARNWICK_ROWS(SearchHits, , std::size_t(std::max(SearchHitCount, 0)), SearchHitWidth)
TARNWICK_VALUE(std::int32_t, SearchHitCount, 0)
TARNWICK_VALUE(std::size_t, SearchHitWidth, 0)

// Configuration state. ConfigBackupEnabled is never set: the configuration
// is not backed up.
TARNWICK_VALUE(std::int32_t, CpuListHalf, 0)
TARNWICK_VALUE(std::int32_t, ConfigCpuListLine, 0)
TARNWICK_VALUE(std::int32_t, ConfigHeatTimeLine, 0)
TARNWICK_VALUE(wxTextFileType, ConfigLineType, wxTextFileType_None)
TARNWICK_VALUE(bool, ConfigBackupEnabled, false)

// Chart rows, sized by the configuration (ChartRowsCapacity wide characters
// in each), and what the last chart drew: rows above and below the result,
// and the points drawn as the full bar of 225 pixels.
TARNWICK_SCRATCH(SpeedChartRows, ChartRowsCapacity)
TARNWICK_SCRATCH(PowerChartRows, ChartRowsCapacity)
TARNWICK_VALUE(std::size_t, ChartRowsCapacity, 0)
TARNWICK_VALUE(std::int32_t, ChartRowsAbove, 0)
TARNWICK_VALUE(std::int32_t, ChartRowsBelow, 0)
TARNWICK_VALUE(double, SpeedChartScale, 0.0)
TARNWICK_VALUE(double, PowerChartScale, 0.0)

// File paths. The help viewers use the two relative ones; the others are
// resolved against the executable's directory each time a file is opened.
TARNWICK_VALUE(wxString, ManualFilePath, wxS("doc/manual_tarnwick.txt"))
TARNWICK_VALUE(wxString, HistoryFilePath, wxS("doc/history_tarnwick.txt"))
TARNWICK_VALUE(wxString, ExePath, wxString())
TARNWICK_VALUE(wxString, AppBaseDir, wxString())
TARNWICK_VALUE(wxString, ConfigFilePath, wxString())
TARNWICK_VALUE(wxString, ConfigTemplatePath, wxString())
TARNWICK_VALUE(wxString, ConfigBackupPath, wxString())
TARNWICK_VALUE(wxString, ManualFileFullPath, wxString())
TARNWICK_VALUE(wxString, HistoryFileFullPath, wxString())
TARNWICK_VALUE(wxString, ResultsFilePath, wxString())
TARNWICK_VALUE(wxString, ResultsTemplatePath, wxString())
TARNWICK_VALUE(wxString, ResultsBackupPath, wxString())

// Three reserved tables of 81 texts; made at start, gone at exit, unused.
TARNWICK_TABLE(wxString, ReservedTextTables, [3][81])
