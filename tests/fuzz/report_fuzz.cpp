// Any bytes as a result document, and as a results table: the report of
// them is a well-formed page that carries every text it shows escaped. A
// document read gives its section, its record in the charts and a fleet of
// it; bytes refused give a refusal with their reason.
#include "../support/html_check.h"
#include "core/state.h"
#include "core/version.h"
#include "fuzz_support.h"
#include "results/fleet.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "views/report_page.h"

#include <string>

namespace {
void CheckPage(const std::string& page)
{
    const std::string problem = HtmlPageProblem(page);
    if (!problem.empty())
        std::fprintf(stderr, "report not well-formed: %s\n", problem.c_str());
    FUZZ_CHECK(problem.empty());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    ReportHeader header{bytes.substr(0, 64), "2026-11-24 09:30 UTC", TARNWICK_VERSION, bytes.substr(0, 32), 0, 1, 0};

    // As a document.
    ResultDocument document;
    const FleetOutcome fleet = CompareFleet({FleetSource{bytes.substr(0, 40), bytes}});
    std::string page = ReportStart(header);
    std::vector<ReportRecord> records;
    if (ReadResultDocument(bytes, document).empty()) {
        ReportRecord r;
        r.name = document.machine.brand;
        r.host = document.host.name.empty() ? "host" : document.host.name;
        r.brand = document.machine.brand;
        r.signature = document.machine.signature;
        r.speed = document.speed.points;
        r.power = document.power.points;
        records.push_back(r);
        records.push_back(r);
        records.back().signature += "0";  // a second signature of the brand
        page += ReportCharts(records) + ReportFleet(fleet) + ReportDocumentsStart(1) +
                ReportDocument(0, bytes.substr(0, 40), document) + "</section>\n";
    } else {
        page += ReportCharts(records) + ReportFleet(fleet);
    }
    page += ReportRefused(fleet.refused) + ReportEnd();
    CheckPage(page);

    // As a results table: every displayed record charted.
    WriteFuzzFile("cpu_results.csv", data, size);
    if (AccessResultsFile(ResultsOpLoad) == 0) {
        records = TableReportRecords();
        header.records = records.size();
        CheckPage(ReportStart(header) + ReportCharts(records) + ReportEnd());
    }
    return 0;
}
