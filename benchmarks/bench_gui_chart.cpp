// Laying out and drawing the speed and power charts over a ranking of
// 100,000 stored results into a 900 x 600 bitmap, as every repaint does.
// Fails (exit 1) when a run fails or a repaint takes longer than 2 ms.
// --short: 1,000 stored results, 10 paints.
#include "app/startup.h"
#include "core/numbers.h"
#include "core/state.h"
#include "config/config_file.h"
#include "results/results_table.h"
#include "gui/display.h"

#include "measure.h"

#include <wx/app.h>
#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/init.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace {
constexpr int Records = 100000;
constexpr int Paints = 300;
constexpr int ShortRecords = 1000;
constexpr int ShortPaints = 10;
constexpr double TargetMilliseconds = 2.0;

// Median milliseconds of a paint; with `changing`, this machine's points
// change before every paint, so each one lays out and draws a new picture.
double MillisPerPaint(int mode, bool changing, int paints)
{
    wxBitmap bitmap(900, 600, 24);
    wxMemoryDC dc(bitmap);
    PaintDisplay(dc, mode);  // warm the font and glyph caches
    std::vector<double> times;
    for (int n = 0; n < paints; ++n) {
        if (changing) {
            LastSpeedPoints += 1.0;
            LastPowerPoints += 1.0;
        }
        const auto start = std::chrono::steady_clock::now();
        PaintDisplay(dc, mode);
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    return Median(times);
}
}  // namespace

int main(int argc, char** argv)
{
    BenchOptions options;
    if (!ParseBenchOptions(argc, argv, options))
        return 2;
    BenchOutcome outcome(options);
    const int records = options.shortRun ? ShortRecords : Records;
    const int paints = options.shortRun ? ShortPaints : Paints;
    wxApp::SetInstance(new wxApp);
    if (!wxEntryStart(argc, argv)) {
        outcome.RunFailed("wxWidgets did not start (no display?)");
        return outcome.Exit();
    }
    InitGlobals();

    std::mt19937 random(11);
    std::vector<wxString> lines;
    for (int i = 0; i < records; ++i)
        lines.push_back(wxString::Format(wxS("Maker %d;Processor model %u;3000;4000;1;8;16;Linux;6.1;%u;%u;yes"),
                                         i % 7, unsigned(random() % 5000), unsigned(100 + random() % 30000),
                                         unsigned(100 + random() % 400000)));
    if (!LoadResultTable(lines.size(), [&lines](std::size_t n) {
            return std::wstring_view(lines[n].wc_str(), lines[n].length());
        })) {
        outcome.RunFailed("the table of " + std::to_string(records) + " results did not load");
        wxEntryCleanup();
        return outcome.Exit();
    }
    CpuListCount = 20;
    ApplyChartRows();
    LastSpeedPoints = 15000.0;
    LastPowerPoints = 200000.0;

    std::printf("%d stored results, 20 rows shown, median of %d paints into 900 x 600\n", records, paints);
    const double speed = MillisPerPaint(DisplaySpeedChart, false, paints);
    std::printf("speed chart, repainted (exposure, resize): %.3f ms  (target <= 2 ms)\n", speed);
    const double power = MillisPerPaint(DisplayPowerChart, false, paints);
    std::printf("power chart, repainted (exposure, resize): %.3f ms  (target <= 2 ms)\n", power);
    std::printf("speed chart, changed before each paint:    %.3f ms\n",
                MillisPerPaint(DisplaySpeedChart, true, paints));
    std::printf("power chart, changed before each paint:    %.3f ms\n",
                MillisPerPaint(DisplayPowerChart, true, paints));
    outcome.AtMost("speed chart, repainted, median ms", speed, TargetMilliseconds);
    outcome.AtMost("power chart, repainted, median ms", power, TargetMilliseconds);
    wxEntryCleanup();
    return outcome.Exit();
}
