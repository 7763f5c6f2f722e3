// The evidence every score carries, as tarnwick-cli users meet it: the run's
// line, --repeat, --strict, result documents written by record and checked
// by merge. The machine's conditions come from trees of its own, so that
// each verdict is the one the test means, whatever runs beside it.
#include "../support/sensor_tree.h"
#include "cli_fixture.h"
#include "core/version.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <regex>
#include <string>

namespace {
using Json = nlohmann::json;

class CliEvidence : public Cli {
protected:
    void SetUp() override
    {
        Cli::SetUp();
        ASSERT_TRUE(machine.Create());
        machine.QuietProcessors(processors);
    }
    void TearDown() override
    {
        machine.Destroy();
        Cli::TearDown();
    }

    // Runs with the conditions read from the tree.
    Outcome RunHere(const std::string& arguments) const
    {
        return Run(arguments, "TARNWICK_SENSOR_ROOT='" + machine.root.string() + "' ");
    }

    void Battery(const char* status) const
    {
        machine.Write("sys/class/power_supply/BAT0/type", "Battery\n");
        machine.Write("sys/class/power_supply/BAT0/status", std::string(status) + "\n");
    }

    // This machine's processors, one core each, one package; cpufreq and
    // os-release.
    void Desktop() const
    {
        for (int cpu = 0; cpu < processors; ++cpu) {
            const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/";
            machine.Write(folder + "cpufreq/scaling_governor", "performance\n");
        }
        machine.Write("sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "3000000\n");
        machine.Write("sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4500000\n");
        machine.Write("etc/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n"
                                        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
        machine.Write("proc/sys/kernel/osrelease", "6.1.0-test\n");
    }

    Json ReadJson(const std::string& name) const { return Json::parse(ReadFile(dir / name)); }

    // A verdict's reasons but the rate's own variation from second to second,
    // which this machine and its neighbours decide, not the test: what the
    // test sets up must be all that is left.
    static Json ReasonsBesidesTheRate(const Json& verdict)
    {
        Json reasons = Json::array();
        for (const Json& reason : verdict.at("reasons"))
            if (reason.get<std::string>().rfind("the rate varied ", 0) != 0)
                reasons.push_back(reason);
        return reasons;
    }

    MachineTree machine;
    // As many as the machine has: a document's runs are those of its machine.
    const int processors = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
};

TEST_F(CliEvidence, AQuietRunSaysWhatItsRateDidAndStrictFollowsTheVerdict)
{
    // Nothing else runs, as the tree says; whether the rate held from second
    // to second is this machine's to say, and the line and the status follow it.
    const Outcome o = RunHere("speed --seconds 3 --strict");
    const std::string head = "Speed test: [1-9][0-9]* points \\(run shortened to 3 s; points normalised to the full "
                             "test\\)\nThis run: ";
    if (o.code == 0) {
        EXPECT_TRUE(Matches(o.out, head + "3 one-second samples, spread ([0-1]\\.[0-9]|2\\.0) %, steady\\.\n"))
            << o.out;
    } else {
        EXPECT_EQ(o.code, 3) << o.err;
        EXPECT_TRUE(Matches(o.out, head + "spread (2\\.[1-9]|[3-9]\\.[0-9]|[1-9][0-9]+\\.[0-9]) %: the score may be "
                                          "low\\.\n"))
            << o.out;
    }
}

TEST_F(CliEvidence, ARunOfFewerThanThreeSecondsIsTooShortToJudge)
{
    for (const int seconds : {1, 2}) {
        const Outcome o = RunHere("speed --seconds " + std::to_string(seconds) + " --strict");
        EXPECT_EQ(o.code, 3) << o.out << o.err;
        // A busy second may also have spread the rate: then that reason comes first.
        EXPECT_TRUE(Matches(o.out, "Speed test: .*\nThis run: spread [0-9.]+ %(,|: the score may be low;)( .*;)? too "
                                   "short to judge: " +
                                       std::to_string(seconds) + " one-second samples? a thread, fewer than 3\\.\n"))
            << o.out;
    }
}

TEST_F(CliEvidence, ConditionsThatCannotBeReadAreNeverSteady)
{
    // The counters of other programs' time are gone: a busy machine would
    // look idle, so the run is judged unsteady, not steady.
    machine.Remove("proc/stat");
    Outcome o = RunHere("speed --seconds 3 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json json = Json::parse(o.out);
    EXPECT_FALSE(json.at("steady").get<bool>());
    EXPECT_EQ(json.at("evidence").at("verdict").at("reasons").at(0),
              "conditions could not be read (other programs' share, steal time)");
    EXPECT_EQ(o.err, "");  // the root itself can be read
    // A root that cannot be read at all is said at once, whatever it is.
    for (const std::string& root : {std::string("/nonexistent"), std::string("/dev/zero"), (dir / "cpu_results.csv").string()}) {
        WriteFile("cpu_results.csv", "x\n");
        o = Run("speed --seconds 1 --strict", "TARNWICK_SENSOR_ROOT='" + root + "' ");
        EXPECT_EQ(o.code, 3) << root;
        EXPECT_TRUE(Matches(o.err, "tarnwick-cli: TARNWICK_SENSOR_ROOT " + root + " cannot be read \\(.+\\): no "
                                   "sensor or run condition can be read, so no speed or power run is judged steady\n"))
            << o.err;
        EXPECT_NE(o.out.find("conditions could not be read"), std::string::npos) << o.out;
    }
    fs::create_symlink("loop", dir / "loop");
    o = Run("speed --seconds 1", "TARNWICK_SENSOR_ROOT=loop ");
    EXPECT_NE(o.err.find("TARNWICK_SENSOR_ROOT loop cannot be read (Too many levels of symbolic links)"),
              std::string::npos)
        << o.err;
}

TEST_F(CliEvidence, StrictExitsThreeOnAnUnsteadyRunAndPrintsItAllTheSame)
{
    Battery("Discharging");
    Outcome o = RunHere("speed --seconds 3 --strict");
    EXPECT_EQ(o.code, 3);
    EXPECT_NE(o.out.find("Speed test: "), std::string::npos);
    EXPECT_TRUE(Matches(o.out, "(.|\n)*This run: spread [0-9.]+ %, running on battery: the score may be low\\.\n"))
        << o.out;
    o = RunHere("speed --seconds 3");
    EXPECT_EQ(o.code, 0);  // without --strict a verdict changes no status
    Battery("Charging");
    o = RunHere("speed --seconds 3 --strict --json");
    const Json json = Json::parse(o.out);
    EXPECT_EQ(ReasonsBesidesTheRate(json.at("evidence").at("verdict")), Json::array());
    EXPECT_EQ(o.code, json.at("steady").get<bool>() ? 0 : 3);
}

TEST_F(CliEvidence, JsonCarriesTheSamplesConditionsVerdictVersionAndWork)
{
    Battery("Discharging");
    const Outcome o = RunHere("power --seconds 3 --threads 2 --no-htt --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json json = Json::parse(o.out);
    EXPECT_EQ(json.at("version").get<std::string>(), TARNWICK_VERSION);
    EXPECT_EQ(json.at("workCycle").get<std::string>(), "tarnwick-cycle-1");
    EXPECT_FALSE(json.at("steady").get<bool>());
    const Json& evidence = json.at("evidence");
    ASSERT_EQ(evidence.at("threads").size(), 2u);
    double points = 0;
    for (const Json& thread : evidence.at("threads")) {
        double blocks = thread.at("after").get<double>();
        for (const Json& second : thread.at("perSecond"))
            blocks += second.get<double>();
        EXPECT_EQ(thread.at("points").get<double>(), 10 * blocks / 3);
        points += 10 * blocks / 3;
    }
    EXPECT_EQ(evidence.at("points").get<double>(), points);
    EXPECT_EQ(json.at("points").get<double>(), std::nearbyint(points));
    EXPECT_EQ(evidence.at("summary").at("seconds").get<int>(), 3);
    EXPECT_TRUE(evidence.at("conditions").at("onBattery").get<bool>());
    EXPECT_EQ(evidence.at("conditions").at("threads").get<int>(), 2);
    EXPECT_EQ(ReasonsBesidesTheRate(evidence.at("verdict")), Json::array({"running on battery"}));
}

TEST_F(CliEvidence, RepeatRunsEachAndReportsTheMedianAndTheSpread)
{
    const Outcome o = RunHere("speed --seconds 3 --repeat 3 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json json = Json::parse(o.out);
    ASSERT_EQ(json.at("runs").size(), 3u);
    std::vector<double> points;
    for (const Json& run : json.at("runs")) {
        points.push_back(run.at("points").get<double>());
        EXPECT_EQ(ReasonsBesidesTheRate(run.at("evidence").at("verdict")), Json::array());
    }
    std::sort(points.begin(), points.end());
    EXPECT_EQ(json.at("median").get<double>(), points[1]);
    EXPECT_GE(json.at("spread").get<double>(), 0.0);

    const Outcome text = RunHere("speed --seconds 1 --repeat 2");
    EXPECT_TRUE(Matches(text.out, "Run 1 of 2:\n  Speed test: [0-9]+ points .*\n  This run: .*\n"
                                  "Run 2 of 2:\n  Speed test: [0-9]+ points .*\n  This run: .*\n"
                                  "Speed test: median [0-9]+ points of 2 runs, spread between runs [0-9.]+ % "
                                  "\\(run shortened to 1 s; points normalised to the full test\\)\n"))
        << text.out;
}

TEST_F(CliEvidence, RepeatAutoRunsThreeAndMoreWhileTheyDiffer)
{
    const Outcome o = RunHere("speed --seconds 1 --repeat auto --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json json = Json::parse(o.out);
    const std::size_t runs = json.at("runs").size();
    EXPECT_GE(runs, 3u);
    EXPECT_LE(runs, 6u);
    if (runs < 6) {
        EXPECT_LE(json.at("spread").get<double>(), 3.5);
    }
}

TEST_F(CliEvidence, RepeatTakesAWholeNumberOrAuto)
{
    for (const char* value : {"0", "101", "x", "-1", "2.5"}) {
        const Outcome o = RunHere(std::string("speed --seconds 1 --repeat ") + value);
        EXPECT_EQ(o.code, 2) << value;
        EXPECT_EQ(o.err, "tarnwick-cli: --repeat must be a whole number from 1 to 100, or auto (see tarnwick-cli --help)\n")
            << value;
    }
    EXPECT_EQ(RunHere("info --repeat 2").code, 2);
}

TEST_F(CliEvidence, AnHttRunOnCoresOfOneThreadIsUnsteady)
{
    Desktop();
    const Outcome o = RunHere("power --seconds 1 --threads 2 --htt --htt-off-result 1000 --strict");
    EXPECT_EQ(o.code, 3);
    EXPECT_NE(o.out.find("the HTT efficiency measures nothing"), std::string::npos) << o.out;
}

TEST_F(CliEvidence, MoreThreadsThanProcessorsOverstateThePoints)
{
    Desktop();
    const std::string more = std::to_string(processors + 1);
    const Outcome o = RunHere("power --seconds 3 --threads " + more + " --no-htt");
    EXPECT_EQ(o.code, 0);
    // Not a reason for a low score: said after any that is, as what it is.
    EXPECT_TRUE(Matches(o.out, "(.|\n)*\nThis run: spread [0-9.]+ %(: the score may be low;|,) " + more +
                                   " threads ran on " + std::to_string(processors) +
                                   " logical processors: the points overstate the processor\\.\n(.|\n)*"))
        << o.out;
}

TEST_F(CliEvidence, RecordFillsWhatTheKernelKnowsAndSavesTheDocument)
{
    Desktop();
    const Outcome o = RunHere("record --seconds 3 --threads 2 --no-htt --save lab-7.json");
    ASSERT_EQ(o.code, 0) << o.err;
    // Rated and maximum frequency, one processor of this machine's cores, the system.
    EXPECT_TRUE(Matches(o.out, "[A-Za-z]+;.*;3000;4500;1;" + std::to_string(processors) +
                                   ";[0-9]+;Linux;Debian 12;[0-9]+;[0-9]+;yes\n"))
        << o.out;
    EXPECT_TRUE(Matches(o.err, "Speed test\\. This run: (3 one-second samples, spread ([0-1]\\.[0-9]|2\\.0) %, "
                               "steady|spread "
                               "(2\\.[1-9]|[3-9]\\.[0-9]|[1-9][0-9]+\\.[0-9]) %: the score may be low)\\.\n(.|\n)*"))
        << o.err;

    const Json document = ReadJson("lab-7.json");
    EXPECT_EQ(document.at("format").get<std::string>(), "tarnwick-result/1");
    EXPECT_EQ(document.at("record").get<std::string>() + "\n", o.out);
    EXPECT_EQ(document.at("machine").at("os").get<std::string>(), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(document.at("machine").at("kernel").get<std::string>(), "6.1.0-test");
    EXPECT_EQ(document.at("power").at("threads").size(), 2u);
    EXPECT_EQ(document.at("speed").at("threads").size(), 1u);

    // The document merges into a table; a second time it is present.
    Outcome merged = Run("merge --results pooled.csv lab-7.json");
    ASSERT_EQ(merged.code, 0) << merged.err;
    EXPECT_EQ(merged.out, "1 added, 0 already present, 0 refused\n");
    EXPECT_NE(ReadFile(dir / "pooled.csv").find(document.at("record").get<std::string>()), std::string::npos);
    merged = Run("merge --results pooled.csv lab-7.json --json");
    EXPECT_EQ(Json::parse(merged.out).at("present").get<int>(), 1);
}

TEST_F(CliEvidence, ATamperedDocumentIsRefusedAndTheTableUnchanged)
{
    Desktop();
    ASSERT_EQ(RunHere("record --seconds 1 --threads 2 --no-htt --save lab-7.json").code, 0);
    Json document = ReadJson("lab-7.json");
    // One more second's blocks than were measured.
    document["speed"]["threads"][0]["perSecond"][0] = document["speed"]["threads"][0]["perSecond"][0].get<int>() + 50;
    WriteFile("tampered.json", document.dump(2));
    ASSERT_EQ(Run("merge --results pooled.csv lab-7.json").code, 0);
    const std::string before = ReadFile(dir / "pooled.csv");
    const Outcome o = Run("merge --results pooled.csv tampered.json");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "0 added, 0 already present, 1 refused\n");
    EXPECT_TRUE(Matches(o.err, "tarnwick-cli: tampered\\.json: refused: .*samples.*\n")) << o.err;
    EXPECT_EQ(ReadFile(dir / "pooled.csv"), before);
}

TEST_F(CliEvidence, SteadyOnlyRefusesADocumentOfAnUnsteadyRun)
{
    Desktop();
    Battery("Discharging");
    ASSERT_EQ(RunHere("record --seconds 1 --threads 2 --no-htt --save battery.json").code, 0);
    Outcome o = Run("merge --steady-only --results pooled.csv battery.json");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "0 added, 0 already present, 1 refused\n");
    EXPECT_NE(o.err.find("battery.json: refused: "), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("running on battery"), std::string::npos) << o.err;
    o = Run("merge --results pooled.csv battery.json");
    EXPECT_EQ(o.out, "1 added, 0 already present, 0 refused\n");
}

TEST_F(CliEvidence, TheShippedTemplateIsItsRecordsDocumentsMerged)
{
    // The documents in the order the records' README lists them.
    const fs::path records = fs::path(TARNWICK_SOURCE_DIR) / "benchmarks" / "records";
    std::string arguments;
    int documents = 0;
    const std::string readme = ReadFile(records / "README.md");
    const std::regex name(R"(`([a-z0-9-]+\.json)`)");
    for (auto it = std::sregex_iterator(readme.begin(), readme.end(), name); it != std::sregex_iterator(); ++it) {
        arguments += " '" + (records / (*it)[1].str()).string() + "'";
        ++documents;
    }
    const std::string template_ = ReadFile(fs::path(TARNWICK_SOURCE_DIR) / "doc" / "cpu_results_original.csv");
    EXPECT_EQ(documents, std::count(template_.begin(), template_.end(), '\n'));
    WriteFile("rebuilt.csv", "");
    const Outcome o = Run("merge --results rebuilt.csv" + arguments);
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.err, "");  // nothing refused, nothing implausible
    EXPECT_EQ(ReadFile(dir / "rebuilt.csv"), template_);
    // The measured ones (not transcribed) were steady.
    EXPECT_EQ(Run("merge --steady-only --results steady.csv" + arguments).code, 0);
}

TEST_F(CliEvidence, ASaveThatCannotBeWrittenIsToldBeforeTheTests)
{
    const Outcome o = RunHere("record --seconds 1 --save no/such/folder/doc.json");
    EXPECT_EQ(o.code, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_NE(o.err.find("doc.json could not be written"), std::string::npos) << o.err;
}
}  // namespace
