// Laying out and drawing the speed and power charts over a ranking of
// 100,000 stored results into a 900 x 600 bitmap, as every repaint does.
#include "app/startup.h"
#include "core/numbers.h"
#include "core/state.h"
#include "config/config_file.h"
#include "results/results_table.h"
#include "gui/display.h"

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

// Median milliseconds of a paint; with `changing`, this machine's points
// change before every paint, so each one lays out and draws a new picture.
double MillisPerPaint(int mode, bool changing)
{
    wxBitmap bitmap(900, 600, 24);
    wxMemoryDC dc(bitmap);
    PaintDisplay(dc, mode);  // warm the font and glyph caches
    std::vector<double> times;
    for (int n = 0; n < Paints; ++n) {
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
    wxApp::SetInstance(new wxApp);
    if (!wxEntryStart(argc, argv))
        return 1;
    InitGlobals();

    std::mt19937 random(11);
    std::vector<wxString> lines;
    for (int i = 0; i < Records; ++i)
        lines.push_back(wxString::Format(wxS("Maker %d;Processor model %u;3000;4000;1;8;16;Linux;6.1;%u;%u;yes"),
                                         i % 7, unsigned(random() % 5000), unsigned(100 + random() % 30000),
                                         unsigned(100 + random() % 400000)));
    if (!LoadResultTable(lines.size(), [&lines](std::size_t n) {
            return std::wstring_view(lines[n].wc_str(), lines[n].length());
        }))
        return 1;
    CpuListCount = 20;
    ApplyChartRows();
    LastSpeedPoints = 15000.0;
    LastPowerPoints = 200000.0;

    std::printf("%d stored results, 20 rows shown, median of %d paints into 900 x 600\n", Records, Paints);
    std::printf("speed chart, repainted (exposure, resize): %.3f ms  (target <= 2 ms)\n",
                MillisPerPaint(DisplaySpeedChart, false));
    std::printf("power chart, repainted (exposure, resize): %.3f ms  (target <= 2 ms)\n",
                MillisPerPaint(DisplayPowerChart, false));
    std::printf("speed chart, changed before each paint:    %.3f ms\n", MillisPerPaint(DisplaySpeedChart, true));
    std::printf("power chart, changed before each paint:    %.3f ms\n", MillisPerPaint(DisplayPowerChart, true));
    wxEntryCleanup();
    return 0;
}
