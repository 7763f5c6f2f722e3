// Result documents for tests, built from samples whose points are known,
// and their JSON text edited member by member.
#pragma once

#include "results/record.h"
#include "results/result_document.h"

#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// `seconds` one-second counts around `perSecond` blocks (+0, +1, +2 in
/// turn: steady) and `after` blocks past them.
inline RunSamples Samples(std::uint32_t seconds, std::uint32_t perSecond, std::uint32_t after = 3)
{
    RunSamples samples;
    for (std::uint32_t k = 0; k < seconds; ++k)
        samples.perSecond.push_back(perSecond + k % 3);
    samples.after = after;
    return samples;
}

/// A measured run of `threads`, its points worked out as the program does,
/// on a quiet machine of 16 logical processors (or `processors`).
inline TestEvidence Evidence(const std::string& test, std::int32_t millis, std::vector<RunSamples> threads,
                             std::uint32_t processors = 16)
{
    TestEvidence e;
    e.measured = true;
    e.test = test;
    e.millis = millis;
    for (const RunSamples& thread : threads)
        e.threadPoints.push_back(10.0 * static_cast<double>(thread.Blocks()) / static_cast<double>(millis / 1000));
    e.threads = std::move(threads);
    e.points = PointsFromSamples(e.threads, millis);
    RunConditions& c = e.conditions;
    c.wallSeconds = millis / 1000.0 + 0.012;
    c.otherPercent = 1.25;
    c.stealPercent = 0.5;
    c.throttleBefore = 7;
    c.throttleAfter = 7;
    c.highestCelsiusStart = 41.5;
    c.highestCelsiusEnd = 63.25;
    c.lowestMhzStart = 3400;
    c.lowestMhzEnd = 3312.5;
    c.governors = {"performance", "performance"};
    c.threadsPerCore = 2;
    c.logicalProcessors = processors;
    c.threads = static_cast<std::uint32_t>(e.threads.size());
    CompleteEvidence(e);
    return e;
}

/// Points as a record holds them.
inline std::string PointsField(double points)
{
    return FormatPoints(points);
}

/// A record line of `speed` and `power` points.
inline std::string DocumentRecord(const std::string& model, const std::string& speed, const std::string& power,
                                  std::uint32_t processors = 16)
{
    return "AMD;" + model + ";3800;4700;1;8;" + std::to_string(processors) + ";Linux;6.1;" + speed + ";" + power +
           ";yes";
}

/// A genuine document: ten seconds of one speed thread around `speedBlocks`
/// a second, and of `powerThreads` power threads around `powerBlocks`, on
/// a processor whose brand is `model`.
inline ResultDocument Document(const std::string& model = "Ryzen 7 5800X", std::uint32_t speedBlocks = 900,
                               std::uint32_t powerBlocks = 880, std::uint32_t powerThreads = 4,
                               std::uint32_t processors = 16)
{
    ResultDocument d;
    d.version = "1.5.0.0";
    d.workCycle = WorkCycleIdentity;
    d.date = "2026-11-24T09:30:00Z";
    d.machine.vendor = "AuthenticAMD";
    d.machine.brand = model;
    d.machine.signature = "A20F10";
    d.machine.modelName = "AMD Ryzen 7 5800X 8-Core Processor";
    d.machine.logicalProcessors = processors;
    d.machine.kernel = "6.1.0-27-amd64";
    d.machine.os = "Debian GNU/Linux 12 (bookworm)";
    d.speed = Evidence("speed", 10000, {Samples(10, speedBlocks)}, processors);
    std::vector<RunSamples> threads;
    for (std::uint32_t k = 0; k < powerThreads; ++k)
        threads.push_back(Samples(10, powerBlocks + k, k));
    d.power = Evidence("power", 10000, std::move(threads), processors);
    d.record = DocumentRecord(model, PointsField(d.speed.points), PointsField(d.power.points), processors);
    return d;
}

/// A document copied from a text record: points, the threads the power
/// test ran, and nothing else.
inline ResultDocument TranscribedDocument(double speed = 9000, double power = 35000, std::uint32_t threads = 8)
{
    ResultDocument d;
    d.version = "1.4.0.0";
    d.workCycle = WorkCycleIdentity;
    d.date = "2026-11-24T09:30:00Z";
    d.transcribed = true;
    d.machine.vendor = "AuthenticAMD";
    d.machine.brand = "Old model";
    d.machine.logicalProcessors = 16;
    d.speed.test = "speed";
    d.speed.points = speed;
    d.speed.conditions.threads = 1;
    d.power.test = "power";
    d.power.points = power;
    d.power.conditions.threads = threads;
    d.record = DocumentRecord("Old model", PointsField(speed), PointsField(power));
    return d;
}

/// The JSON text of `document` with `edit` applied to its members.
inline std::string EditedText(const ResultDocument& document, const std::function<void(nlohmann::ordered_json&)>& edit)
{
    nlohmann::ordered_json j = nlohmann::ordered_json::parse(WriteResultDocument(document));
    edit(j);
    return j.dump(2) + "\n";
}
