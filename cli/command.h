// What the commands of tarnwick-cli share, and each command's handler (one
// file each: speed_command.cpp, power_command.cpp ...). The handlers are
// named in the command table (options.cpp), from which the runner, --help,
// the manual page and the completion are made.
#pragma once

#include "bench/evidence.h"
#include "cli/options.h"
#include "cli/report.h"
#include "files/output_file.h"

#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace cli {
constexpr int UsageError = 2;
constexpr int UnsteadyExit = 3;
constexpr int HeatErrorExit = 4;  ///< a heat test's check found a wrong result
constexpr int FleetFlaggedExit = 5;



class Progress {
public:
    Progress(bool enabled, double totalSeconds, const char* phase)
        : m_enabled(enabled), m_total(totalSeconds), m_phase(phase)
    {
        if (m_enabled)
            m_ticker = std::thread([this] { Tick(); });
    }
    ~Progress()
    {
        if (!m_enabled)
            return;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_stop = true;
        }
        m_wake.notify_all();
        m_ticker.join();
        std::fprintf(stderr, "\r%60s\r", "");
    }
    void SetPhase(const char* phase)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_phase = phase;
    }

private:
    void Tick()
    {
        const auto start = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(m_lock);
        while (!m_stop) {
            const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::fprintf(stderr, "\r%5.0f / %.0f s, %s   ", elapsed, m_total, m_phase);
            std::fflush(stderr);
            m_wake.wait_for(lock, std::chrono::milliseconds(250));
        }
    }

    bool m_enabled;
    double m_total;
    const char* m_phase;
    bool m_stop = false;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::thread m_ticker;
};


bool ShowProgress(const Options& options);

// Text for the terminal: UTF-8, and a file name's bytes as they were.
std::string Utf8(const wxString& text);

// Text typed as an argument that is not a file name: in the locale's
// encoding when it is one, else as its bytes were read.
wxString ArgumentText(const wxString& argument);

std::string Points(double value);
std::string PadLeft(std::string text, std::size_t width);
int RunLength(const Options& options);
// The runs --repeat asks for, as WantsAnotherRun takes them: 0 for auto.
int WantedRuns(const Options& options);
std::string Length(const Options& options);

// The version and the measured work, with every score.
void AddProvenance(Report& report);

// The evidence line and the notes of one run, for the text form.
void AddEvidenceLines(Report& report, const TestEvidence& evidence);

// One run of a test: its points, its evidence, and the members and lines
// that describe it.
struct TestRun {
    double points = 0.0;
    TestEvidence evidence;
    nlohmann::ordered_json json;
    std::vector<std::string> lines;
};


// The runs --repeat asks for: N, or three and more while they differ by more
// than 3.5 %, at most six.
std::vector<TestRun> RunRepeated(const Options& options, const std::function<TestRun()>& runOnce, double& spread);

// Reports the runs of a test: one as it always was, several with each run,
// the median and the spread between them. Returns the exit status.
int ReportRuns(const Options& options, const char* test, const char* title, const std::vector<TestRun>& runs,
               double spread);

// Why an output the user named cannot be written, on one line.
void TellOutputProblem(const OutputFailure& failure);
void TellOutputProblem(const wxString& path, int error);

// An output a command names (--save, --log, --plot) and the file it goes to.
struct NamedOutput {
    const char* option;
    const std::optional<wxString>& path;
    OutputFile& file;
};

// Opens the outputs that are named, before any test runs: none may be the
// results table, its backup, the settings or another of them. False, with
// the problem told, when one cannot be written.
bool OpenOutputs(const std::vector<NamedOutput>& outputs);

// Loads the results table; false (the problem told) when it cannot be used.
bool LoadResults();

// Tells why a change of the table was not made, when the file routine's
// message wants a word about the command line.
void HintAfterRefusal();

// The power options applied to the shared state, and the power test run
// with the progress line (record uses them too).
void ApplyPowerOptions(const Options& options);
void MeasurePower(const Options& options);

// The commands.
int RunSpeed(const Options& options);
int RunPower(const Options& options);
int RunHeat(const Options& options);
int RunInfo(const Options& options);
int RunResults(const Options& options);
int RunRecord(const Options& options);
int RunMerge(const Options& options);
int RunFleet(const Options& options);
int RunReport(const Options& options);

// Reads a named input whole, at most `limit` bytes: 0 or the errno (EFBIG
// when there is more). "-" is standard input.
int ReadInputFile(const wxString& file, std::string& bytes, std::size_t limit);

// The heat workers run for HeatTestMillis with the progress line, the work
// and the sensors sampled once a second; `row` gets each second's log row.
// False when a worker stopped the run (its message told); `took` is the
// run's length in seconds.
bool RunHeatWorkers(const Options& options, const std::function<void(const std::string& row)>& row, double& took);

// What the heat test just run found, for a document.
HeatEvidence HeatEvidenceOfRun(double took);
}  // namespace cli
