// The heat test's work rate and checks as tarnwick-cli reports them, and the
// fault switch that shows the whole path of a failing processor.
#include "cli_fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sched.h>

#include <sstream>
#include <string>
#include <vector>

namespace {
using Json = nlohmann::json;

Json Parse(const std::string& text)
{
    return Json::parse(text, nullptr, false);
}

// The number the first heat worker goes by: the first processor this
// process may use when there is one for every processor online, else 0.
int FirstWorkersProcessor()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return 0;
    std::vector<int> allowed;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &set))
            allowed.push_back(cpu);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 && allowed.size() >= static_cast<std::size_t>(online) ? allowed.front() : 0;
}

// The processors the heat workers go by, as a message names them: one
// worker a processor, each on one this process may use when there are
// enough, else numbered from 0.
std::string WorkersProcessors()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    std::vector<int> allowed;
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
            if (CPU_ISSET(cpu, &set))
                allowed.push_back(cpu);
    const std::size_t workers = static_cast<std::size_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
    std::vector<int> numbers;
    for (std::size_t k = 0; k < workers; ++k)
        numbers.push_back(allowed.size() >= workers ? allowed[k] : static_cast<int>(k));
    bool run = true;
    for (std::size_t k = 1; k < numbers.size(); ++k)
        run = run && numbers[k] == numbers[k - 1] + 1;
    if (run)
        return "from " + std::to_string(numbers.front()) + " to " + std::to_string(numbers.back());
    std::string text;
    for (std::size_t k = 0; k < numbers.size(); ++k)
        text += (k == 0 ? "" : k + 1 == numbers.size() ? " or " : ", ") + std::to_string(numbers[k]);
    return text;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line);
    return lines;
}
}  // namespace

TEST_F(Cli, HeatJsonHoldsTheRatesOfEverySecondAndProcessorAndTheChecks)
{
    const Outcome o = Run("heat --minutes 1 --seconds 3 --json --quiet");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json json = Parse(o.out);
    ASSERT_TRUE(json.is_object()) << o.out;
    const Json& work = json.at("work");
    EXPECT_EQ(work.at("passesPerBlock").get<int>(), 65536);
    EXPECT_GT(work.at("passesPerSecond").get<double>(), 0.0);
    const Json& seconds = work.at("perSecond");
    ASSERT_GE(seconds.size(), 2u);
    double previous = 0.0;
    for (const Json& second : seconds) {
        EXPECT_GT(second.at("seconds").get<double>(), previous);
        previous = second.at("seconds").get<double>();
        EXPECT_GT(second.at("passesPerSecond").get<double>(), 0.0);
    }
    const Json& processors = work.at("perProcessor");
    ASSERT_EQ(processors.size(), json.at("workers").get<std::size_t>());
    std::uint64_t checks = 0;
    for (const Json& processor : processors) {
        const std::uint64_t passes = processor.at("passes").get<std::uint64_t>();
        EXPECT_GT(passes, 0u);
        EXPECT_EQ(passes % 65536, 0u);
        // Two checks for each block, none failed.
        EXPECT_EQ(processor.at("checks").get<std::uint64_t>(), 2 * passes / 65536);
        EXPECT_EQ(processor.at("errors").get<int>(), 0);
        EXPECT_GT(processor.at("passesPerSecond").get<double>(), 0.0);
        checks += processor.at("checks").get<std::uint64_t>();
    }
    EXPECT_EQ(work.at("checks").get<std::uint64_t>(), checks);
    EXPECT_EQ(work.at("errors").get<int>(), 0);
    EXPECT_TRUE(work.at("errorList").empty());
    // Three seconds: the pace compares the last second with the first (a
    // fifth of the test, rounded to the samples once a second).
    ASSERT_TRUE(work.at("sustainedPercent").is_number()) << work.dump();
    EXPECT_GT(work.at("sustainedPercent").get<double>(), 0.0);
    EXPECT_EQ(work.at("firstSeconds").get<double>(), 1.0);
    EXPECT_EQ(work.at("lastSeconds").get<double>(), 1.0);
}

TEST_F(Cli, TheFaultSwitchFailsTheRunWithStatusFourAfterTheLogAndThePlot)
{
    const int processor = FirstWorkersProcessor();
    const Outcome o = Run("heat --minutes 1 --seconds 3 --log heat.csv --plot heat.svg",
                          "TARNWICK_HEAT_FAULT=" + std::to_string(processor) + ":1 ");
    EXPECT_EQ(o.code, 4) << o.err;
    const std::vector<std::string> lines = Lines(o.out);
    ASSERT_EQ(lines.size(), 3u) << o.out;
    EXPECT_TRUE(Matches(lines[1], "Work: work rate .* [1-9][0-9,]* checks, [1-9][0-9,]* errors?")) << lines[1];
    EXPECT_TRUE(Matches(lines[2], "Processor " + std::to_string(processor) +
                                      " computed a wrong result at 00:0[1-3] \\(pass check: product should be "
                                      "-?[0-9]+, was -?[0-9]+\\), [1-9][0-9,]* errors? in all \xE2\x80\x94 this "
                                      "machine is not stable under load"))
        << lines[2];

    // The log counts the errors as they come.
    const std::vector<std::string> log = Lines(ReadFile(dir / "heat.csv"));
    ASSERT_GE(log.size(), 3u);
    EXPECT_EQ(log.front().substr(log.front().size() - 24), "passes per second,errors");
    const std::string& last = log.back();
    EXPECT_NE(last.substr(last.rfind(',') + 1), "0") << last;
    // The picture says it in red.
    const std::string svg = ReadFile(dir / "heat.svg");
    EXPECT_NE(svg.find("fill=\"#FF0000\">Processor " + std::to_string(processor) + " computed a wrong result at "),
              std::string::npos)
        << svg;
}

TEST_F(Cli, TheFaultSwitchsErrorsAreInTheJson)
{
    const int processor = FirstWorkersProcessor();
    const Outcome o = Run("heat --minutes 1 --seconds 2 --json --quiet",
                          "TARNWICK_HEAT_FAULT=" + std::to_string(processor) + ":0 ");
    EXPECT_EQ(o.code, 4) << o.err;
    const Json json = Parse(o.out);
    ASSERT_TRUE(json.is_object()) << o.out;
    const Json& work = json.at("work");
    EXPECT_GT(work.at("errors").get<int>(), 0);
    ASSERT_FALSE(work.at("errorList").empty());
    const Json& first = work.at("errorList").front();
    EXPECT_EQ(first.at("processor").get<int>(), processor);
    EXPECT_GE(first.at("seconds").get<double>(), 0.0);
    EXPECT_EQ(first.at("check"), "pass");
    EXPECT_EQ(first.at("value"), "product");
    EXPECT_EQ(std::stoll(first.at("expected").get<std::string>()),
              std::stoll(first.at("found").get<std::string>()) + 1);
    // Only that processor failed.
    for (const Json& each : work.at("perProcessor"))
        EXPECT_EQ(each.at("errors").get<int>() > 0, each.at("processor").get<int>() == processor) << each.dump();
}

TEST_F(Cli, AHeatFaultThatIsNotProcessorColonSecondsIsRefusedBeforeTheTest)
{
    for (const char* value : {"abc", "1", "1:-2", "1:2:3"}) {
        const Outcome o = Run("heat --minutes 1 --seconds 1 --log heat.csv", std::string("TARNWICK_HEAT_FAULT='") +
                                                                                 value + "' ");
        EXPECT_EQ(o.code, 1) << value;
        EXPECT_EQ(o.err, std::string("tarnwick-cli: TARNWICK_HEAT_FAULT must be PROCESSOR:SECONDS ") +
                             (std::string(value) == "abc" || std::string(value) == "1"
                                  ? "(two whole numbers), not \""
                                  : "(a processor " + WorkersProcessors() + " and whole seconds from 0), not \"") +
                             value + "\"\n")
            << value;
        EXPECT_FALSE(fs::exists(dir / "heat.csv")) << value;
        EXPECT_TRUE(o.out.empty());
    }
    // Empty is unset.
    EXPECT_EQ(Run("heat --minutes 1 --seconds 1 --quiet", "TARNWICK_HEAT_FAULT= ").code, 0);
}

TEST_F(Cli, AHeatFaultOnAProcessorNoWorkerRunsOnIsRefusedAlike)
{
    // The processors this process may use, past the last and far beyond.
    cpu_set_t set;
    CPU_ZERO(&set);
    ASSERT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
    int last = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &set))
            last = cpu;
    // Past the last the process may use, and past the workers numbered
    // from 0 (as they are where fewer processors may be used than run).
    const long workers = std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L);
    for (const std::string& processor : {std::to_string(std::max<long>(last + 1, workers)), std::string("65535")}) {
        WriteFile("heat.csv", "the old log\n");
        const Outcome o = Run("heat --minutes 1 --seconds 1 --log heat.csv", "TARNWICK_HEAT_FAULT=" + processor + ":0 ");
        EXPECT_EQ(o.code, 1) << processor;
        EXPECT_EQ(o.err, "tarnwick-cli: TARNWICK_HEAT_FAULT must be PROCESSOR:SECONDS (a processor " +
                             WorkersProcessors() + " and whole seconds from 0), not \"" + processor + ":0\"\n");
        EXPECT_EQ(ReadFile(dir / "heat.csv"), "the old log\n");
    }
}

TEST_F(Cli, AShortenedHeatTestNeedsNoMinutesAndAFullOneDoes)
{
    const Outcome o = Run("heat --seconds 1 --quiet");
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.rfind("Heat test: ", 0), 0u) << o.out;
    EXPECT_NE(o.out.find("(run shortened to 1 s)"), std::string::npos) << o.out;
    const Outcome full = Run("heat");
    EXPECT_EQ(full.code, 2);
    EXPECT_EQ(full.err, "tarnwick-cli: heat needs --minutes M (see tarnwick-cli --help)\n");
}
