// The report: one self-contained HTML page of a results table, a fleet and
// every document's evidence, to open in any browser, offline, or print. It
// is written in pieces, in the page's order, so that a writer of thousands
// of documents need not hold the page: start, charts, fleet, documents,
// refused documents, end.
#pragma once

#include "results/fleet.h"
#include "results/result_document.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One record of the charts.
struct ReportRecord {
    std::string name;     ///< a table's: "AMD AMD EPYC @ 2000 MHz", as the window's charts name it; a document's: its brand
    double speed = 0.0;
    double power = 0.0;
    /// From a document: its host (the record is highlighted) and processor.
    std::string host;
    std::string brand;
    std::string signature;
    /// Where a document's power run tells them: per thread and per core.
    std::optional<double> perThread, perCore;
    std::string line;  ///< the table's line of it (UTF-8); empty for a document's
};

/// A document's record for the charts, highlighted by `host`.
ReportRecord DocumentReportRecord(const ResultDocument& document, const std::string& host);

/// The records of the loaded results table that are displayed ("yes"), in
/// the speed ranking's order.
std::vector<ReportRecord> TableReportRecords();

struct ReportHeader {
    std::string title;
    std::string made;     ///< when, UTC ("2026-11-24 09:30 UTC")
    std::string version;  ///< the program's
    std::string table;    ///< the table's path; empty without one
    std::size_t records = 0;    ///< displayed records of the table
    std::size_t documents = 0;  ///< documents given
    std::size_t refused = 0;    ///< of them refused
};

/// The page up to its header: the policy that forbids every load, the
/// style (light and dark, A4 print), the title and the header's facts.
std::string ReportStart(const ReportHeader& header);

/// The ranked speed and power charts of `records`, every one of them;
/// records of documents highlighted, their host in brackets before the
/// name, and their signature beside their brand where two signatures share
/// a brand.
std::string ReportCharts(const std::vector<ReportRecord>& records);

/// The same handed to `sink` in pieces, for a page too large to hold.
using ReportSink = std::function<void(std::string_view)>;
void WriteReportCharts(const std::vector<ReportRecord>& records, const ReportSink& sink);

/// The fleet: flagged hosts with every reason, then the groups by processor
/// with median, spread, lowest and highest.
std::string ReportFleet(const FleetOutcome& fleet);

/// The heading of the documents' section, and one document's section: its
/// host and processor, each run's samples, spread, conditions and verdict,
/// its heat test and its repeats. `name` is how the document was given;
/// `index` its place among them, which names its plots' ids.
std::string ReportDocumentsStart(std::size_t count);
std::string ReportDocument(std::size_t index, const std::string& name, const ResultDocument& document);

/// The documents refused, with their reasons; nothing when there are none.
std::string ReportRefused(const std::vector<FleetRefusal>& refused);

/// The end of the page.
std::string ReportEnd();

/// "family 19h, model 11h, stepping 1" for a CPUID signature in hexadecimal
/// ("A10F11"); empty for a text that is not one.
std::string SignatureFacts(const std::string& signature);
