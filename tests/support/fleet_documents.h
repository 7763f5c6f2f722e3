// Result documents of a made-up fleet, for the tests and benchmarks that
// need many machines: steady runs of ten seconds on 2-processor machines,
// each document as `record --save` writes it and as merge checks it.
#pragma once

#include "bench/evidence.h"
#include "results/record.h"
#include "results/result_document.h"

#include <cstdio>
#include <random>
#include <string>

struct FleetDocumentKind {
    double rateFactor = 1.0;  ///< below 1: a slow host
    bool heat = false;        ///< with a heat test and its curves
    std::string brand = "AMD EPYC";
    std::string signature = "A10F11";
};

inline TestEvidence FleetEvidence(std::mt19937& random, const char* test, int threads, double factor)
{
    TestEvidence e;
    e.measured = true;
    e.test = test;
    e.millis = 10000;
    const std::uint32_t rate = static_cast<std::uint32_t>((900 + random() % 40) * factor);
    for (int t = 0; t < threads; ++t) {
        RunSamples samples;
        for (int second = 0; second < 10; ++second)
            samples.perSecond.push_back(rate + random() % 5);
        samples.after = random() % 3;
        e.threadPoints.push_back(10.0 * static_cast<double>(samples.Blocks()) / 10.0);
        e.threads.push_back(samples);
    }
    e.points = PointsFromSamples(e.threads, e.millis);
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
    ResultDocument d;
    d.version = "1.5.0.0";
    d.workCycle = WorkCycleIdentity;
    d.date = "2026-11-24T09:30:00Z";
    d.machine = {"AuthenticAMD", kind.brand, kind.signature, kind.brand, 2, "6.1.0-27-amd64",
                 "Debian GNU/Linux 12 (bookworm)"};
    d.host = {host, host, ""};
    d.speed = FleetEvidence(random, "speed", 1, kind.rateFactor);
    d.power = FleetEvidence(random, "power", 2, kind.rateFactor);
    d.record = "AMD;" + kind.brand + ";2596;;1;2;2;Linux;Debian 12;";
    d.record += FormatPoints(d.speed.points);
    d.record += ';';
    d.record += FormatPoints(d.power.points);
    d.record += ";yes";
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
