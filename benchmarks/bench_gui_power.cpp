// The power test's score with the window answering while the threads run,
// against the same test sleeping through the run, full length, alternated,
// in one program with a shown window (under Xvfb).
#include "core/numbers.h"
#include "core/state.h"
#include "bench/power.h"
#include "gui/main_frame.h"

#include <wx/app.h>
#include <wx/frame.h>
#include <wx/thread.h>
#include <wx/timer.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
constexpr int Rounds = 4;

void Print(const char* what, const std::vector<double>& points)
{
    std::printf("%-38s", what);
    for (double p : points)
        std::printf(" %7.0f", p);
    std::printf("   median %7.0f\n", Median(points));
}

class BenchApp : public wxApp {
public:
    bool OnInit() override
    {
        m_frame = new wxFrame(nullptr, wxID_ANY, wxS("Power with a live window"), wxDefaultPosition,
                              wxSize(900, 600));
        m_frame->Show();
        CallAfter([this] { Measure(); });
        return true;
    }

private:
    double Run(bool live, bool repainting)
    {
        wxTimer repaint;
        repaint.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { m_frame->Refresh(); });
        if (repainting)
            repaint.Start(100);
        SetPowerWaitHook(live ? PowerWaitHook(AnswerWindowEvents) : PowerWaitHook());
        const double points = RunPowerTest();
        SetPowerWaitHook(nullptr);
        repaint.Stop();
        return points;
    }

    void Measure()
    {
        ThreadCount = static_cast<std::uint32_t>(std::max(wxThread::GetCPUCount(), 1));
        HttOption = 0;
        PowerTestMillis = 10000;
        std::printf("power test, %u threads, 10 s, HTT off; %d rounds alternated\n", ThreadCount, Rounds);
        std::vector<double> asleep, live, repainted;
        for (int round = 0; round < Rounds; ++round) {
            asleep.push_back(Run(false, false));
            live.push_back(Run(true, false));
            repainted.push_back(Run(true, true));
        }
        Print("sleeping through the run (as before):", asleep);
        Print("window answering:", live);
        Print("window answering, repainted 10 x/s:", repainted);
        std::printf("answering / sleeping: %.4f, repainted / sleeping: %.4f  (target within 1 %%)\n",
                    Median(live) / Median(asleep), Median(repainted) / Median(asleep));
        m_frame->Destroy();
        ExitMainLoop();
    }

    wxFrame* m_frame = nullptr;
};
}  // namespace

wxIMPLEMENT_APP(BenchApp);
