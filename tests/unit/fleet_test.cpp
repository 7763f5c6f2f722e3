// Many machines' documents compared: grouped by processor, and each host
// flagged with every reason that applies. The documents are written and
// read back by the program's own routines.
#include "results/fleet.h"
#include "results/merge.h"
#include "../support/document_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

/// A document of host `host` on a 2-processor machine: speed around
/// `speedBlocks` a second, two power threads around `powerBlocks`.
ResultDocument HostDocument(const std::string& host, std::uint32_t speedBlocks, std::uint32_t powerBlocks = 880,
                            const std::string& signature = "A10F11", const std::string& brand = "AMD EPYC")
{
    ResultDocument d = Document(brand, speedBlocks, powerBlocks, 2, 2);
    d.machine.signature = signature;
    d.host.name = host;
    d.host.machineName = "node";
    d.host.machineId = "0123456789abcdef0123456789abcdef";
    return d;
}

FleetSource Source(const std::string& file, const ResultDocument& d)
{
    return {file, WriteResultDocument(d)};
}

const FleetHost& Host(const FleetOutcome& outcome, const std::string& name)
{
    const auto found = std::find_if(outcome.hosts.begin(), outcome.hosts.end(),
                                    [&](const FleetHost& h) { return h.host == name; });
    EXPECT_NE(found, outcome.hosts.end()) << name;
    return *found;
}

std::vector<FleetFlag> FlagsOf(const FleetOutcome& outcome, const std::string& name)
{
    return Host(outcome, name).Flags();
}

TEST(Fleet, TwoSignaturesOfOneBrandAreNeverComparedAsOne)
{
    // The template's "AMD EPYC" on A10F11, and a processor of the same
    // brand on B00F21 that scores 26 % more.
    std::vector<FleetSource> sources;
    for (const char* host : {"a1", "a2", "a3", "a4"})
        sources.push_back(Source(std::string(host) + ".json", HostDocument(host, 928 + (host[1] - '0'))));
    sources.push_back(Source("b1.json", HostDocument("b1", 1174, 1100, "B00F21")));
    const FleetOutcome outcome = CompareFleet(sources);
    ASSERT_TRUE(outcome.refused.empty()) << outcome.refused.front().reason;
    ASSERT_EQ(outcome.groups.size(), 2u);
    EXPECT_EQ(outcome.groups[0].signature, "A10F11");
    EXPECT_EQ(outcome.groups[0].hosts.size(), 4u);
    EXPECT_EQ(outcome.groups[1].signature, "B00F21");
    EXPECT_TRUE(outcome.groups[0].sharedBrand);
    EXPECT_TRUE(outcome.groups[1].sharedBrand);
    EXPECT_TRUE(FlagsOf(outcome, "b1").empty());
    EXPECT_EQ(outcome.FlaggedCount(), 0u);

    // Given the first signature, the same document is a fast twin.
    sources.back() = Source("b1.json", HostDocument("b1", 1174, 1100, "A10F11"));
    const FleetOutcome relabelled = CompareFleet(sources);
    ASSERT_EQ(relabelled.groups.size(), 1u);
    EXPECT_EQ(FlagsOf(relabelled, "b1"), std::vector<FleetFlag>{FleetFlag::Fast});
}

TEST(Fleet, GroupStatisticsNameTheirHosts)
{
    std::vector<FleetSource> sources;
    const std::vector<std::uint32_t> blocks = {900, 910, 920};
    for (std::size_t k = 0; k < blocks.size(); ++k)
        sources.push_back(Source("h" + std::to_string(k) + ".json", HostDocument("h" + std::to_string(k), blocks[k])));
    const FleetOutcome outcome = CompareFleet(sources);
    ASSERT_EQ(outcome.groups.size(), 1u);
    const FleetGroup& group = outcome.groups[0];
    EXPECT_EQ(group.vendor, "AuthenticAMD");
    EXPECT_EQ(group.brand, "AMD EPYC");
    EXPECT_EQ(group.logicalProcessors, 2u);
    EXPECT_DOUBLE_EQ(group.speed.median, Host(outcome, "h1").speed);
    EXPECT_EQ(outcome.hosts[group.speed.lowestHost].host, "h0");
    EXPECT_EQ(outcome.hosts[group.speed.highestHost].host, "h2");
    EXPECT_GT(group.speed.spread, 0.0);
    EXPECT_LT(group.speed.spread, 2.0);
}

TEST(Fleet, SlowNeedsFarInZScoresAndPercentAndThreeOthers)
{
    std::vector<FleetSource> sources;
    for (const auto& [host, blocks] : std::vector<std::pair<std::string, std::uint32_t>>{
             {"n1", 900}, {"n2", 902}, {"n3", 905}, {"n4", 898}, {"slow", 800}, {"near", 880}})
        sources.push_back(Source(host + ".json", HostDocument(host, blocks)));
    const FleetOutcome outcome = CompareFleet(sources);
    const FleetHost& slow = Host(outcome, "slow");
    ASSERT_EQ(slow.Flags(), std::vector<FleetFlag>{FleetFlag::Slow});
    EXPECT_EQ(slow.reasons[0].text.rfind("speed " + FormatPoints(slow.speed) + " points, 11.", 0), 0u)
        << slow.reasons[0].text;
    // The others' median is n1's score (880, 898, 900, 902, 905 blocks).
    EXPECT_NE(slow.reasons[0].text.find("% below the median " + FormatPoints(Host(outcome, "n1").speed) +
                                        " of the 5 other hosts of its processor"),
              std::string::npos)
        << slow.reasons[0].text;
    // 2.4 % below: many deviations away, but within 5 %.
    EXPECT_TRUE(Host(outcome, "near").Flags().empty());
    for (const char* host : {"n1", "n2", "n3", "n4"})
        EXPECT_TRUE(Host(outcome, host).Flags().empty()) << host;

    // Against two others nothing is told.
    const FleetOutcome few = CompareFleet({sources[0], sources[1], sources[4]});
    EXPECT_TRUE(Host(few, "slow").Flags().empty());
}

// The flags against the definition worked out the plain way: for each
// host, the median and median absolute deviation of all the others.
TEST(Fleet, SlowAndFastAgreeWithTheirDefinitionForAnyGroup)
{
    const auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        const std::size_t h = v.size() / 2;
        return v.size() % 2 != 0 ? v[h] : (v[h - 1] + v[h]) / 2.0;
    };
    std::mt19937 random(11);
    int flagged = 0;
    for (int round = 0; round < 30; ++round) {
        const std::size_t count = 4 + random() % 6;
        std::vector<FleetSource> sources;
        for (std::size_t k = 0; k < count; ++k) {
            // Ties, a tight cluster, and now and then one far off.
            std::uint32_t blocks = 900 + 4 * (random() % 4);
            if (random() % 4 == 0)
                blocks = random() % 2 == 0 ? 800 : 1000;
            const std::string host = "h" + std::to_string(k);
            sources.push_back(Source(host + ".json", HostDocument(host, blocks)));
        }
        const FleetOutcome outcome = CompareFleet(sources);
        for (const FleetHost& host : outcome.hosts) {
            std::vector<double> others;
            for (const FleetHost& other : outcome.hosts)
                if (&other != &host)
                    others.push_back(other.speed);
            const double m = median(others);
            std::vector<double> deviations;
            for (const double value : others)
                deviations.push_back(std::fabs(value - m));
            const double mad = median(deviations);
            const double off = host.speed - m;
            const bool far = mad > 0 ? std::fabs(0.6745 * off / mad) > 3.5 : off != 0;
            const bool expected = far && std::fabs(off / m * 100.0) > 5.0;
            const std::vector<FleetFlag> flags = host.Flags();
            const bool slowOrFast = std::find(flags.begin(), flags.end(), off < 0 ? FleetFlag::Slow : FleetFlag::Fast) !=
                                    flags.end();
            EXPECT_EQ(slowOrFast, expected) << "round " << round << " " << host.host << " " << host.speed;
            flagged += expected ? 1 : 0;
        }
    }
    EXPECT_GT(flagged, 0);
}

TEST(Fleet, ConditionsAndTheHeatTestGiveTheirFlags)
{
    ResultDocument limited = HostDocument("limited", 900);
    limited.power.conditions.cpuLimitStart = limited.power.conditions.cpuLimitEnd = 0.5;
    limited.speed.conditions.cpuLimitStart = limited.speed.conditions.cpuLimitEnd = 0.5;
    ResultDocument throttled = HostDocument("throttled", 900);
    throttled.power.conditions.throttleAfter = 9;
    ResultDocument battery = HostDocument("battery", 900);
    battery.speed.conditions.onBattery = true;
    ResultDocument shaky = HostDocument("shaky", 900);
    shaky.power.threads[0].perSecond[4] = 600;  // one slow second
    ResultDocument heat = HostDocument("heat", 900);
    heat.heat.measured = true;
    heat.heat.seconds = 600;
    heat.heat.workers = 2;
    heat.heat.checks = 5000;
    heat.heat.errors = 2;
    heat.heat.sustainedPercent = 84.0;
    heat.heat.throttled = true;
    std::vector<FleetSource> sources;
    for (ResultDocument* d : {&limited, &throttled, &battery, &shaky, &heat}) {
        for (TestEvidence* e : {&d->speed, &d->power}) {
            // Points and verdicts as the program would give them.
            e->threadPoints.clear();
            for (const RunSamples& thread : e->threads)
                e->threadPoints.push_back(10.0 * static_cast<double>(thread.Blocks()) / 10.0);
            e->points = PointsFromSamples(e->threads, e->millis);
            CompleteEvidence(*e);
        }
        d->record = DocumentRecord("AMD EPYC", FormatPoints(d->speed.points), FormatPoints(d->power.points), 2);
        sources.push_back(Source(d->host.name + ".json", *d));
    }
    const FleetOutcome outcome = CompareFleet(sources);
    ASSERT_TRUE(outcome.refused.empty()) << outcome.refused.front().file << ": " << outcome.refused.front().reason;
    EXPECT_EQ(FlagsOf(outcome, "limited"), std::vector<FleetFlag>{FleetFlag::Limited});
    EXPECT_EQ(Host(outcome, "limited").reasons[0].text,
              "speed and power: limited to 0.5 processors by its control group: the score measures the limit, not "
              "the processor");
    EXPECT_EQ(FlagsOf(outcome, "throttled"), std::vector<FleetFlag>{FleetFlag::Throttled});
    EXPECT_EQ(FlagsOf(outcome, "battery"), std::vector<FleetFlag>{FleetFlag::OnBattery});
    EXPECT_EQ(FlagsOf(outcome, "shaky"), std::vector<FleetFlag>{FleetFlag::Unsteady});
    EXPECT_EQ(FlagsOf(outcome, "heat"),
              (std::vector<FleetFlag>{FleetFlag::Throttled, FleetFlag::NotStable, FleetFlag::NotSustained}));
    EXPECT_TRUE(Host(outcome, "heat").steady);  // its speed and power runs were steady
    EXPECT_EQ(outcome.FlaggedCount(), 5u);
}

TEST(Fleet, TooShortToJudgeIsUnsteady)
{
    ResultDocument d = Document("AMD EPYC", 900, 880, 2, 2);
    d.speed = Evidence("speed", 2000, {Samples(2, 900)}, 2);
    d.record = DocumentRecord("AMD EPYC", FormatPoints(d.speed.points), FormatPoints(d.power.points), 2);
    d.host.name = "short";
    const FleetOutcome outcome = CompareFleet({Source("short.json", d)});
    ASSERT_TRUE(outcome.refused.empty()) << outcome.refused.front().reason;
    ASSERT_EQ(FlagsOf(outcome, "short"), std::vector<FleetFlag>{FleetFlag::Unsteady});
    EXPECT_NE(Host(outcome, "short").reasons[0].text.find("speed: too short to judge"), std::string::npos);
}

TEST(Fleet, RefusedAndDoubledDocumentsAreNamedAndTheOthersCompared)
{
    const ResultDocument good = HostDocument("web-01", 900);
    ResultDocument claimed = HostDocument("web-01", 905);  // another document naming the same host
    const std::string tampered = EditedText(HostDocument("web-02", 900), [](nlohmann::ordered_json& j) {
        j["speed"]["points"] = 99999;
    });
    const FleetOutcome outcome = CompareFleet(
        {Source("web-01.json", good), Source("again.json", claimed), {"web-02.json", tampered}, {"junk", "{]"}});
    ASSERT_EQ(outcome.hosts.size(), 1u);
    EXPECT_EQ(outcome.hosts[0].file, "web-01.json");
    ASSERT_EQ(outcome.refused.size(), 3u);
    EXPECT_EQ(outcome.refused[0].file, "again.json");
    EXPECT_EQ(outcome.refused[0].reason, "it is a second document of the host web-01 (the first is web-01.json)");
    EXPECT_EQ(outcome.refused[1].file, "web-02.json");
    EXPECT_NE(outcome.refused[1].reason.find("speed"), std::string::npos);
    EXPECT_EQ(outcome.refused[2].reason.rfind("not JSON", 0), 0u);
}

TEST(Fleet, TwoMachinesOfOneNameAreToldApartByTheirIdentifiers)
{
    ResultDocument one = HostDocument("localhost", 900), other = HostDocument("localhost", 905);
    other.host.machineId = "fedcba9876543210fedcba9876543210";
    ResultDocument again = HostDocument("localhost", 910);  // the first machine's identifier
    const FleetOutcome outcome =
        CompareFleet({Source("a/l.json", one), Source("b/l.json", other), Source("c/l.json", again)});
    ASSERT_EQ(outcome.hosts.size(), 2u);
    EXPECT_EQ(outcome.hosts[0].host, "localhost");
    EXPECT_EQ(outcome.hosts[1].host, "localhost (machine fedcba98)");
    ASSERT_EQ(outcome.refused.size(), 1u);
    EXPECT_EQ(outcome.refused[0].reason, "it is a second document of the host localhost (the first is a/l.json)");
}

TEST(Fleet, ADocumentWithoutAHostGoesByItsFileName)
{
    const std::string old = EditedText(HostDocument("x", 900), [](nlohmann::ordered_json& j) {
        j.erase("host");
        j.erase("heat");
        j.erase("repeats");
        for (const char* test : {"speed", "power"})
            for (const char* member : {"affinity", "cpuLimit", "groupThrottles", "groupThrottledMicros"})
                j[test]["conditions"].erase(member);
    });
    const FleetOutcome outcome =
        CompareFleet({{"/lab/old-node.json", old}, {"/lab/2/old-node.json", old}, {"/lab/new\nline.json", old}});
    ASSERT_EQ(outcome.hosts.size(), 2u);
    EXPECT_EQ(outcome.hosts[0].host, "old-node");
    EXPECT_TRUE(outcome.hosts[0].steady);
    // Another of that name goes by its path; a name no text may hold names no host.
    EXPECT_EQ(outcome.hosts[1].host, "/lab/2/old-node.json");
    ASSERT_EQ(outcome.refused.size(), 1u);
    EXPECT_EQ(outcome.refused[0].reason.rfind("it names no host, and its file's name cannot name one (it holds ", 0), 0u)
        << outcome.refused[0].reason;
}

TEST(Fleet, TheTableHoldsTheSteadyHostsEachNamed)
{
    ResultDocument shaky = HostDocument("shaky", 900);
    shaky.speed.conditions.onBattery = true;
    CompleteEvidence(shaky.speed);
    const FleetOutcome outcome = CompareFleet({Source("a.json", HostDocument("web-01", 900)),
                                               Source("b.json", HostDocument("web <02>", 900)),
                                               Source("c.json", shaky)});
    const std::vector<std::string> lines = FleetRecords(outcome);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], DocumentRecord("AMD EPYC [web-01]", FormatPoints(Host(outcome, "web-01").speed),
                                       FormatPoints(Host(outcome, "web-01").power), 2));
    EXPECT_NE(lines[1].find(";AMD EPYC [web <02>];"), std::string::npos);
    for (const std::string& line : lines)
        EXPECT_TRUE(RecordProblem(wxString::FromUTF8(line).ToStdWstring()).empty()) << line;
}

TEST(HostNames, WhatAHostNameMayHold)
{
    EXPECT_EQ(HostNameProblem("web-01.lab"), "");
    EXPECT_EQ(HostNameProblem("<b>"), "");  // shown as text wherever it is shown
    EXPECT_EQ(HostNameProblem(""), "it is empty");
    EXPECT_EQ(HostNameProblem(" "), "it begins or ends with a space");
    EXPECT_EQ(HostNameProblem("web 01"), "");
    EXPECT_EQ(HostNameProblem("a;b"), "it holds \";\", which separates the fields of a record");
    EXPECT_NE(HostNameProblem("a\nb"), "");
    EXPECT_NE(HostNameProblem("a\xE2\x80\xAE" "b"), "");  // a direction control
    EXPECT_NE(HostNameProblem("\xFF"), "");
    EXPECT_EQ(HostNameProblem(std::string(10000, 'a')), "it is longer than 255 bytes");
}

TEST(HostDocuments, HostHeatAndRepeatsAreReadBackAndChecked)
{
    ResultDocument d = HostDocument("web-01", 900);
    d.heat.measured = true;
    d.heat.seconds = 60;
    d.heat.workers = 2;
    d.heat.passesPerSecond = 1950000;
    d.heat.sustainedPercent = 99.5;
    d.heat.checks = 120;
    d.runs = {{d.speed.points + 50, d.power.points, 0.5, 0.4, true}, {d.speed.points, d.power.points, 0.3, 0.2, true}};
    d.keptRun = 1;
    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(WriteResultDocument(d), read), "");
    EXPECT_EQ(CheckResultDocument(read), "");
    EXPECT_EQ(read.host.name, "web-01");
    EXPECT_EQ(read.host.machineId, "0123456789abcdef0123456789abcdef");
    EXPECT_TRUE(read.heat.measured);
    EXPECT_EQ(read.heat.checks, 120u);
    EXPECT_EQ(read.heat.sustainedPercent, 99.5);
    ASSERT_EQ(read.runs.size(), 2u);
    EXPECT_EQ(read.keptRun, 1u);

    // The kept run must be the one whose evidence it holds.
    d.keptRun = 0;
    ASSERT_EQ(ReadResultDocument(WriteResultDocument(d), read), "");
    EXPECT_NE(CheckResultDocument(read).find("its kept run 1 gives"), std::string::npos);

    const auto refused = [&](const std::function<void(nlohmann::ordered_json&)>& edit) {
        ResultDocument ignored;
        return ReadResultDocument(EditedText(HostDocument("web-01", 900), edit), ignored);
    };
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) { j["host"]["name"] = "a;b"; }),
              "host.name \"a;b\" is no host name: it holds \";\", which separates the fields of a record");
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) { j["host"]["name"] = std::string(300, 'h'); }),
              "host.name is longer than 255 bytes");
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) { j["host"]["machineId"] = "/etc/machine-id"; }),
              "host.machineId \"/etc/machine-id\" is not 32 hexadecimal digits");
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) {
                  j["heat"] = {{"seconds", 60}, {"workers", 2}, {"passesPerSecond", nullptr},
                               {"sustainedPercent", nullptr}, {"firstSeconds", nullptr}, {"slowestPercent", nullptr}, {"checks", 3},
                               {"errors", 4}, {"highestCelsius", nullptr}, {"throttled", false}};
              }),
              "heat.errors 4 are more than its checks 3");
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) { j["power"]["conditions"]["affinity"] = {{"processors", 1}, {"list", "x"}}; }),
              "power.conditions.affinity.list \"x\" is not a list of processors");
    EXPECT_EQ(refused([](nlohmann::ordered_json& j) { j["repeats"] = {{"kept", 0}, {"runs", nlohmann::ordered_json::array()}}; }),
              "repeats.runs holds fewer than 2 runs");
}

}  // namespace

TEST(FleetRecordOf, PutsTheHostAfterTheModelAndLeavesEveryOtherByteAsItWas)
{
    EXPECT_EQ(FleetRecordOf("AMD;EPYC;2596;;1;2;2;Linux;Debian 12;1;2;yes", "web;01"),
              "AMD;EPYC [web,01];2596;;1;2;2;Linux;Debian 12;1;2;yes");
    EXPECT_EQ(FleetRecordOf(";;;;;;;;;1;2;yes;more", "h"), "; [h];;;;;;;;1;2;yes;more");
    EXPECT_EQ(FleetRecordOf("A;B;C", "h"), "A;B [h];C");
    EXPECT_EQ(FleetRecordOf("A;B", "h"), "");
    EXPECT_EQ(FleetRecordOf("", "h"), "");
}
