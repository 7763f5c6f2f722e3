// Records and result documents for the tests and the benchmarks: record
// lines with their fields by name, runs whose points are worked out from
// their samples as the program does, genuine and transcribed documents,
// the documents of a made-up fleet, and a document's JSON text edited
// member by member.
#pragma once

#include "bench/evidence.h"
#include "core/version.h"
#include "results/record.h"
#include "results/result_document.h"

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

/// A test's record, its fields by name: a machine of four cores and eight
/// threads unless a test says otherwise. Line() joins the fields as the
/// table does, their bytes as given (a test may give any).
struct TestRecord {
    std::string maker = "AMD";
    std::string model;
    std::string rated = "3000";
    std::string maximum = "3500";
    std::string processors = "1";
    std::string cores = "4";
    std::string logical = "8";
    std::string os = "Linux";
    std::string osVersion = "6.1";
    std::string speed;
    std::string power;
    std::string display = "yes";

    std::string Line() const
    {
        BasicRecord<std::string> record;
        record[FieldManufacturer] = maker;
        record[FieldModel] = model;
        record[FieldRatedFrequency] = rated;
        record[FieldMaximumFrequency] = maximum;
        record[FieldProcessors] = processors;
        record[FieldCores] = cores;
        record[FieldLogicalProcessors] = logical;
        record[FieldOperatingSystem] = os;
        record[FieldOsVersion] = osVersion;
        record[FieldSpeedPoints] = speed;
        record[FieldPowerPoints] = power;
        record[FieldDisplay] = display;
        return JoinRecord(record);
    }
};

/// A results line with twelve fields.
inline std::string Record(const std::string& maker, const std::string& model, const std::string& speed,
                          const std::string& power, const std::string& display = "yes")
{
    return TestRecord{.maker = maker, .model = model, .speed = speed, .power = power, .display = display}.Line();
}

/// A document's record line of `speed` and `power` points, on a machine of
/// eight cores and `processors` logical processors.
inline std::string DocumentRecord(const std::string& model, const std::string& speed, const std::string& power,
                                  std::uint32_t processors = 16)
{
    return TestRecord{.model = model,
                      .rated = "3800",
                      .maximum = "4700",
                      .cores = "8",
                      .logical = std::to_string(processors),
                      .speed = speed,
                      .power = power}
        .Line();
}

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

/// A measured run of `threads` for `millis`: each thread's points and their
/// sum worked out from the samples as the program does; no conditions.
inline TestEvidence SampledRun(const std::string& test, std::int32_t millis, std::vector<RunSamples> threads)
{
    TestEvidence e;
    e.measured = true;
    e.test = test;
    e.millis = millis;
    for (const RunSamples& thread : threads)
        e.threadPoints.push_back(10.0 * static_cast<double>(thread.Blocks()) / static_cast<double>(millis / 1000));
    e.threads = std::move(threads);
    e.points = PointsFromSamples(e.threads, millis);
    return e;
}

/// A measured run of `threads`, on a quiet machine of 16 logical processors
/// (or `processors`).
inline TestEvidence Evidence(const std::string& test, std::int32_t millis, std::vector<RunSamples> threads,
                             std::uint32_t processors = 16)
{
    TestEvidence e = SampledRun(test, millis, std::move(threads));
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

/// A document of this program's work cycle made by `version`, dated, with
/// nothing measured yet.
inline ResultDocument NewDocument(const std::string& version = TARNWICK_VERSION)
{
    ResultDocument d;
    d.version = version;
    d.workCycle = WorkCycleIdentity;
    d.date = "2026-11-24T09:30:00Z";
    return d;
}

/// A genuine document: ten seconds of one speed thread around `speedBlocks`
/// a second, and of `powerThreads` power threads around `powerBlocks`, on
/// a processor whose brand is `model`.
inline ResultDocument Document(const std::string& model = "Ryzen 7 5800X", std::uint32_t speedBlocks = 900,
                               std::uint32_t powerBlocks = 880, std::uint32_t powerThreads = 4,
                               std::uint32_t processors = 16)
{
    ResultDocument d = NewDocument();
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
    d.record = DocumentRecord(model, FormatPoints(d.speed.points), FormatPoints(d.power.points), processors);
    return d;
}

/// A document copied from a text record: points, the threads the power
/// test ran, and nothing else.
inline ResultDocument TranscribedDocument(double speed = 9000, double power = 35000, std::uint32_t threads = 8)
{
    ResultDocument d = NewDocument("1.4.0.0");
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
    d.record = DocumentRecord("Old model", FormatPoints(speed), FormatPoints(power));
    return d;
}

/// The JSON text of `document` with `edit` applied to its members.
inline std::string EditedText(const ResultDocument& document, const std::function<void(nlohmann::ordered_json&)>& edit)
{
    nlohmann::ordered_json j = nlohmann::ordered_json::parse(WriteResultDocument(document));
    edit(j);
    return j.dump(2) + "\n";
}

/// The hosts of a made-up fleet: steady runs of ten seconds on 2-processor
/// machines, each document as `record --save` writes it and as merge
/// checks it.
struct FleetDocumentKind {
    double rateFactor = 1.0;  ///< below 1: a slow host
    bool heat = false;        ///< with a heat test and its curves
    std::string brand = "AMD EPYC";
    std::string signature = "A10F11";
};

inline TestEvidence FleetEvidence(std::mt19937& random, const char* test, int threads, double factor)
{
    const std::uint32_t rate = static_cast<std::uint32_t>((900 + random() % 40) * factor);
    std::vector<RunSamples> samples(static_cast<std::size_t>(threads));
    for (RunSamples& thread : samples) {
        for (int second = 0; second < 10; ++second)
            thread.perSecond.push_back(rate + random() % 5);
        thread.after = random() % 3;
    }
    TestEvidence e = SampledRun(test, 10000, std::move(samples));
    e.conditions.wallSeconds = 10.004;
    e.conditions.otherPercent = 0.8;
    e.conditions.stealPercent = 0.0;
    e.conditions.governors = {"performance", "performance"};
    e.conditions.threadsPerCore = 1;
    e.conditions.logicalProcessors = 2;
    e.conditions.threads = static_cast<std::uint32_t>(threads);
    e.conditions.affinity = 2;
    e.conditions.affinityList = "0-1";
    CompleteEvidence(e);
    return e;
}

/// Host `host`'s document.
inline ResultDocument FleetDocument(std::mt19937& random, const std::string& host, const FleetDocumentKind& kind)
{
    ResultDocument d = NewDocument();
    d.machine = {"AuthenticAMD", kind.brand, kind.signature, kind.brand, 2, "6.1.0-27-amd64",
                 "Debian GNU/Linux 12 (bookworm)"};
    d.host = {host, host, ""};
    d.speed = FleetEvidence(random, "speed", 1, kind.rateFactor);
    d.power = FleetEvidence(random, "power", 2, kind.rateFactor);
    d.record = TestRecord{.model = kind.brand,
                          .rated = "2596",
                          .maximum = "",
                          .cores = "2",
                          .logical = "2",
                          .osVersion = "Debian 12",
                          .speed = FormatPoints(d.speed.points),
                          .power = FormatPoints(d.power.points)}
                   .Line();
    if (kind.heat) {
        HeatEvidence& h = d.heat;
        h.measured = true;
        h.seconds = 120;
        h.workers = 2;
        h.checks = 240;
        for (int s = 1; s <= 120; ++s) {
            h.rateCurve.push_back({static_cast<double>(s), 1800.0 - s * 0.5 + random() % 7});
            h.temperatureCurve.push_back({static_cast<double>(s), 45.0 + 20.0 * (1.0 - 1.0 / (1.0 + s / 20.0))});
        }
        h.passesPerSecond = h.rateCurve.back().value;
        h.sustainedPercent = 96.5;
        h.firstSeconds = 24;
        h.slowestPercent = 99.1;
        h.highestCelsius = h.temperatureCurve.back().value;
    }
    return d;
}
