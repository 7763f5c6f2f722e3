// Many machines as tarnwick-cli users meet them: documents that name their
// host, the defaults a limited process gets, and fleet over documents that
// record made. The conditions come from trees of their own.
#include "../support/sensor_tree.h"
#include "cli_fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {
using Json = nlohmann::json;

class CliFleet : public Cli {
protected:
    void SetUp() override
    {
        Cli::SetUp();
        ASSERT_TRUE(machine.Create());
        machine.QuietProcessors(processors);
        machine.Write("sys/devices/system/cpu/online", "0-" + std::to_string(processors - 1) + "\n");
    }
    void TearDown() override
    {
        machine.Destroy();
        Cli::TearDown();
    }

    Outcome RunHere(const std::string& arguments) const
    {
        return Run(arguments, "TARNWICK_SENSOR_ROOT='" + machine.root.string() + "' ");
    }

    Json ReadJson(const std::string& name) const { return Json::parse(ReadFile(dir / name)); }

    std::vector<std::string> Lines(const std::string& name) const
    {
        std::vector<std::string> lines;
        std::istringstream in(ReadFile(dir / name));
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    MachineTree machine;
    const int processors = std::max(1, static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
};

TEST_F(CliFleet, TheDefaultThreadsAreTheProcessorsTheAffinityAllows)
{
    if (processors < 2)
        GTEST_SKIP() << "one processor: no affinity can hold the process to fewer";
    machine.Write("proc/self/status", "Name:\ttarnwick-cli\nCpus_allowed_list:\t0\n");
    const Outcome o = RunHere("power --seconds 1 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json j = Json::parse(o.out);
    EXPECT_EQ(j["evidence"]["conditions"]["threads"], 1);
    EXPECT_EQ(j["evidence"]["conditions"]["affinity"], (Json{{"processors", 1}, {"list", "0"}}));
    const std::string limited = "limited to 1 of the " + std::to_string(processors) +
                                " logical processors by its affinity (0): the score measures the limit, not the "
                                "processor";
    const Json& reasons = j["evidence"]["verdict"]["reasons"];
    EXPECT_NE(std::find(reasons.begin(), reasons.end(), limited), reasons.end()) << reasons.dump();
    EXPECT_EQ(j["evidence"]["verdict"]["steady"], false);
}

TEST_F(CliFleet, AControlGroupsQuotaHoldsTheThreadsAndIsSaid)
{
    machine.Write("proc/self/cgroup", "0::/job\n");
    machine.Write("sys/fs/cgroup/cgroup.controllers", "cpu\n");
    machine.Write("sys/fs/cgroup/job/cpu.max", "50000 100000\n");
    const Outcome o = RunHere("power --seconds 1 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json j = Json::parse(o.out);
    EXPECT_EQ(j["evidence"]["conditions"]["threads"], 1);
    EXPECT_EQ(j["evidence"]["conditions"]["cpuLimit"], (Json{{"start", 0.5}, {"end", 0.5}}));
    const Json& reasons = j["evidence"]["verdict"]["reasons"];
    EXPECT_NE(std::find(reasons.begin(), reasons.end(),
                        "limited to 0.5 processors by its control group: the score measures the limit, not the "
                        "processor"),
              reasons.end())
        << reasons.dump();
}

TEST_F(CliFleet, HttIsTheDefaultOnlyWhereCoresRunTwoThreads)
{
    // QuietProcessors gives each processor a core of its own: no half run.
    Outcome o = RunHere("power --seconds 1 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(Json::parse(o.out)["evidence"]["htt"], false);
    if (processors < 2)
        GTEST_SKIP() << "one processor: no core can hold two";
    for (int cpu = 0; cpu < processors; ++cpu)
        machine.Write("sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/core_id",
                      std::to_string(cpu / 2) + "\n");
    o = RunHere("power --seconds 1 --json");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(Json::parse(o.out)["evidence"]["htt"], true);
}

TEST_F(CliFleet, HostNamesThatCannotBeTextAreRefused)
{
    Outcome o = RunHere("record --seconds 1 --host 'a;b'");
    EXPECT_EQ(o.code, 2);
    EXPECT_EQ(o.err, "tarnwick-cli: --host NAME is no host name: it holds \";\", which separates the fields of a "
                     "record (see tarnwick-cli --help)\n");
    o = RunHere("record --seconds 1 --host \"$(printf 'a\\nb')\"");
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("--host NAME is no host name: it holds"), std::string::npos) << o.err;
    o = RunHere("record --seconds 1 --host " + std::string(10000, 'h'));
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("it is longer than 255 bytes"), std::string::npos) << o.err;
    o = RunHere("record --seconds 1 --host ''");
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("--host needs a value NAME"), std::string::npos) << o.err;
}

TEST_F(CliFleet, FleetComparesIdenticalHostsAsSeparateLinesAndNamesWhatItRefuses)
{
    machine.Write("etc/machine-id", "4f1d0c7e9a2b4c3d8e5f60718293a4b5\n");
    Outcome o = RunHere("record --seconds 3 --quiet --host 'web <01>' --save web-01.json");
    ASSERT_EQ(o.code, 0) << o.err;
    Json first = ReadJson("web-01.json");
    EXPECT_EQ(first["host"]["name"], "web <01>");
    EXPECT_FALSE(first["host"]["machineName"].get<std::string>().empty());
    EXPECT_EQ(first["host"]["machineId"].get<std::string>().size(), 32u);
    EXPECT_EQ(first["heat"], nullptr);
    // Two more hosts of the same machine: the same document under other names.
    for (const char* host : {"web-02", "web-03"}) {
        Json copy = first;
        copy["host"]["name"] = host;
        WriteFile(std::string(host) + ".json", copy.dump(2));
    }
    WriteFile("broken.json", "{\"format\": \"tarnwick-result/1\"}");
    o = RunHere("fleet web-01.json web-02.json web-03.json broken.json missing.json --json --results lab.csv");
    EXPECT_EQ(o.code, 5) << o.err;
    const Json j = Json::parse(o.out);
    ASSERT_EQ(j["refused"].size(), 2u);
    EXPECT_EQ(j["refused"][0]["file"], "broken.json");
    EXPECT_EQ(j["refused"][1]["file"], "missing.json");
    EXPECT_EQ(j["refused"][1]["reason"], "it could not be read (No such file or directory)");
    ASSERT_EQ(j["groups"].size(), 1u);
    EXPECT_EQ(j["groups"][0]["hosts"].size(), 3u);
    const bool steady = first["speed"]["verdict"]["steady"] && first["power"]["verdict"]["steady"];
    // A new fleet table holds the steady hosts' records only, each naming its host.
    const std::vector<std::string> lines = Lines("lab.csv");
    ASSERT_EQ(lines.size(), steady ? 3u : 0u) << ReadFile(dir / "lab.csv");
    for (std::size_t k = 0; k < lines.size(); ++k)
        EXPECT_NE(lines[k].find(" [" + std::string(k == 0 ? "web <01>" : k == 1 ? "web-02" : "web-03") + "];"),
                  std::string::npos)
            << lines[k];
    // Without the refused ones, the exit status follows the flags alone.
    o = RunHere("fleet web-01.json web-02.json web-03.json");
    EXPECT_EQ(o.code, steady ? 0 : 5) << o.out;
    EXPECT_EQ(o.out.rfind(steady ? "No host flagged: 3 hosts compared\n" : "Flagged: 3 of 3 hosts\n", 0), 0u)
        << o.out;
    EXPECT_NE(o.out.find("Processors:\n"), std::string::npos);
    EXPECT_NE(o.out.find(": 3 hosts: web <01>, web-02, web-03\n"), std::string::npos) << o.out;
    // The same records again are present already.
    o = RunHere("fleet web-01.json web-02.json web-03.json --results lab.csv --json");
    EXPECT_EQ(Json::parse(o.out)["added"], 0);
    EXPECT_EQ(Lines("lab.csv").size(), lines.size());
}

TEST_F(CliFleet, FleetNeedsDocumentsAndTakesOnlyResults)
{
    Outcome o = RunHere("fleet");
    EXPECT_EQ(o.code, 2);
    EXPECT_EQ(o.err, "tarnwick-cli: fleet needs at least one DOCUMENT (see tarnwick-cli --help)\n");
    o = RunHere("fleet a.json --seconds 3");
    EXPECT_EQ(o.code, 2);
    EXPECT_EQ(o.err, "tarnwick-cli: --seconds does not go with 'fleet' (see tarnwick-cli --help)\n");
}

TEST_F(CliFleet, RecordRepeatKeepsTheRunNearestTheMedianAndHeatAddsItsEvidence)
{
    const Outcome o = RunHere("record --seconds 1 --repeat 3 --heat 1 --save d.json --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json d = ReadJson("d.json");
    ASSERT_EQ(d["repeats"]["runs"].size(), 3u);
    const std::size_t kept = d["repeats"]["kept"];
    EXPECT_EQ(d["repeats"]["runs"][kept]["speed"], d["speed"]["points"]);
    EXPECT_EQ(d["repeats"]["runs"][kept]["power"], d["power"]["points"]);
    // The kept run is the one nearest the median of both scores.
    std::vector<double> speeds, powers;
    for (const Json& run : d["repeats"]["runs"]) {
        speeds.push_back(run["speed"]);
        powers.push_back(run["power"]);
    }
    std::vector<double> sortedSpeeds = speeds, sortedPowers = powers;
    std::sort(sortedSpeeds.begin(), sortedSpeeds.end());
    std::sort(sortedPowers.begin(), sortedPowers.end());
    const auto distance = [&](std::size_t k) {
        return std::fabs(speeds[k] - sortedSpeeds[1]) / sortedSpeeds[1] +
               std::fabs(powers[k] - sortedPowers[1]) / sortedPowers[1];
    };
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_LE(distance(kept), distance(k));
    // A heat test shortened to the run's second, every processor busy.
    ASSERT_TRUE(d["heat"].is_object());
    EXPECT_EQ(d["heat"]["workers"], processors);
    EXPECT_GT(d["heat"]["checks"], 0);
    EXPECT_EQ(d["heat"]["errors"], 0);
    // merge reads it as it reads every document.
    const Outcome merged = RunHere("merge d.json --results t.csv --json");
    EXPECT_EQ(merged.code, 0) << merged.err;
    EXPECT_EQ(Json::parse(merged.out)["documents"], 1);
}

TEST_F(CliFleet, AHeatErrorFlagsTheHostAsNotStable)
{
    // TARNWICK_HEAT_FAULT is read for record's heat test as for heat's.
    Outcome o = Run("record --seconds 3 --heat 1 --quiet --host bad --save bad.json",
            "TARNWICK_SENSOR_ROOT='" + machine.root.string() + "' TARNWICK_HEAT_FAULT=0:0 ");
    // Status 4, as the heat command's; the document is written all the same.
    ASSERT_EQ(o.code, 4) << o.err;
    EXPECT_GT(ReadJson("bad.json")["heat"]["errors"], 0);
    o = RunHere("fleet bad.json --json");
    EXPECT_EQ(o.code, 5);
    const Json j = Json::parse(o.out);
    ASSERT_EQ(j["flagged"].size(), 1u);
    const Json& flags = j["flagged"][0]["flags"];
    EXPECT_NE(std::find(flags.begin(), flags.end(), "not stable under load"), flags.end()) << flags.dump();
}

}  // namespace
