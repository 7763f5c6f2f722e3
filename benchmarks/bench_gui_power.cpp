// The power test's score with the window answering while the threads run,
// against the same test sleeping through the run, full length, alternated,
// in one program with a shown window (under Xvfb). Fails (exit 1) when a
// run fails or either score is more than 1 % off the sleeping one.
// --short: one round of 1 s runs.
#include "core/state.h"
#include "bench/power.h"
#include "gui/main_frame.h"

#include "measure.h"

#include <wx/app.h>
#include <wx/frame.h>
#include <wx/thread.h>
#include <wx/timer.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
constexpr int Rounds = 4;

BenchOptions Options;

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

    int OnRun() override
    {
        wxApp::OnRun();
        return m_outcome.Exit();
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
        const int seconds = Options.shortRun ? 1 : 10;
        const int rounds = Options.shortRun ? 1 : Rounds;
        PowerTestMillis = seconds * 1000;
        std::printf("power test, %u threads, %d s, HTT off; %d rounds alternated\n", ThreadCount, seconds, rounds);
        std::vector<double> asleep, live, repainted;
        for (int round = 0; round < rounds; ++round) {
            asleep.push_back(Run(false, false));
            live.push_back(Run(true, false));
            repainted.push_back(Run(true, true));
        }
        Print("sleeping through the run (as before):", asleep);
        Print("window answering:", live);
        Print("window answering, repainted 10 x/s:", repainted);
        const double answering = Median(live) / Median(asleep);
        const double repaint = Median(repainted) / Median(asleep);
        std::printf("answering / sleeping: %.4f, repainted / sleeping: %.4f  (target within 1 %%)\n", answering,
                    repaint);
        const auto positive = [](const std::vector<double>& points) {
            return *std::min_element(points.begin(), points.end()) > 0;
        };
        if (!positive(asleep) || !positive(live) || !positive(repainted)) {
            m_outcome.RunFailed("a power test gave no points");
        } else {
            m_outcome.NearOne("the score with the window answering / sleeping", answering, 0.01);
            m_outcome.NearOne("the score with the window repainted / sleeping", repaint, 0.01);
        }
        m_frame->Destroy();
        ExitMainLoop();
    }

    wxFrame* m_frame = nullptr;
    BenchOutcome m_outcome{Options};
};
}  // namespace

wxIMPLEMENT_APP_NO_MAIN(BenchApp);

int main(int argc, char** argv)
{
    if (!ParseBenchOptions(argc, argv, Options))
        return 2;
    const int status = wxEntry(argc, argv);
    // wxEntry's own failure (no display) is 255 or -1, never 0 or 1.
    if (status != 0 && status != 1)
        std::printf("a run failed: the window did not start (status %d)\n", status);
    return status == 0 ? 0 : 1;
}
