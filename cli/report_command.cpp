// tarnwick-cli report: one HTML page of a results table, a fleet and every
// document's evidence, self-contained, to open in a browser or print.

#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/state.h"
#include "core/version.h"
#include "files/atomic_file.h"
#include "files/output_file.h"
#include "results/fleet.h"
#include "results/result_document.h"
#include "views/report_page.h"

#include <wx/chartype.h>
#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cli {
namespace {
constexpr const char* DefaultTitle = "Tarnwick report";

// When the page was made: now, or SOURCE_DATE_EPOCH for a build that must
// come out the same each time.
std::string MadeAt()
{
    std::time_t when = std::time(nullptr);
    if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch != nullptr && *epoch != '\0') {
        char* end = nullptr;
        errno = 0;
        const long long seconds = std::strtoll(epoch, &end, 10);
        if (errno == 0 && *end == '\0' && seconds >= 0 && seconds < 253402300800LL)
            when = static_cast<std::time_t>(seconds);
    }
    std::tm utc{};
    gmtime_r(&when, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &utc);
    return text;
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
}  // namespace

int RunReport(const Options& options)
{
    // With no documents the page is the table's; with documents, the
    // table's only when one is named.
    const bool withTable = options.results || options.files.empty();
    OutputFile output;
    // The command needs --output: the runner sees that it is there.
    const wxString outputPath = options.output.value_or(wxString());
    if (!OpenOutputs({{"--output", options.output, output}}))
        return 1;
    // Never over a document it reads (looked at one by one: thousands are
    // not held).
    if (output.Replacing()) {
        const FileIdentity& written = output.Identity();
        struct stat input {};
        for (const wxString& file : options.files) {
            const bool same = file == wxS("-")
                                  ? ::fstat(STDIN_FILENO, &input) == 0 && S_ISREG(input.st_mode) && written.exists &&
                                        input.st_dev == written.device && input.st_ino == written.inode
                                  : written.Same(IdentifyFile(file));
            if (same) {
                TellOutputProblem({OutputFailure::Kind::Kept, 0, outputPath,
                                   file == wxS("-") ? wxString(wxS("the document on standard input"))
                                                    : wxS("the document ") + file});
                return 1;
            }
        }
    }

    ReportHeader header;
    header.title = options.title.value_or(DefaultTitle);
    header.made = MadeAt();
    header.version = TARNWICK_VERSION;
    std::vector<ReportRecord> records;
    std::unordered_map<std::string, std::size_t> tableLines;
    if (withTable) {
        if (!LoadResults())
            return 1;
        header.table = ShownUtf8(ResultsFilePath);
        records = TableReportRecords();
        for (std::size_t k = 0; k < records.size(); ++k)
            tableLines.emplace(records[k].line, k);
    }
    header.records = records.size();

    // Each document is read once; its section goes to a file of its own
    // until the page reaches it, so that thousands need not be held.
    std::unique_ptr<std::FILE, FileCloser> sections;
    if (!options.files.empty()) {
        sections.reset(std::tmpfile());
        if (!sections) {
            std::fprintf(stderr, "tarnwick-cli: no temporary file for the report (%s)\n",
                         Utf8(ErrorText(errno)).c_str());
            return 1;
        }
    }
    FleetComparison comparison;
    std::size_t shown = 0;
    for (const wxString& file : options.files) {
        const std::string name = file == wxS("-") ? std::string("(standard input)") : ShownUtf8(file);
        std::string bytes;
        const int error = ReadInputFile(file, bytes, MaxResultDocumentBytes);
        if (error == EFBIG) {
            comparison.Refuse(name, "it is too large: more than " + std::to_string(MaxResultDocumentBytes) + " bytes");
            continue;
        }
        if (error != 0) {
            comparison.Refuse(name, "it could not be read (" + Utf8(ErrorText(error)) + ")");
            continue;
        }
        ResultDocument document;
        const FleetHost* added = comparison.Add(name, bytes, &document);
        if (added == nullptr)
            continue;
        const std::string host = added->host;
        const std::string section = ReportDocument(shown++, name, document);
        if (std::fwrite(section.data(), 1, section.size(), sections.get()) != section.size()) {
            std::fprintf(stderr, "tarnwick-cli: the report's temporary file could not be written (%s)\n",
                         Utf8(ErrorText(errno)).c_str());
            return 1;
        }
        // The table's own line of this record, as merged or as a fleet
        // stores it, is highlighted rather than shown twice.
        auto found = tableLines.find(document.record);
        if (found == tableLines.end())
            found = tableLines.find(FleetRecordOf(document.record, host));
        if (found != tableLines.end() && records[found->second].host.empty()) {
            ReportRecord& row = records[found->second];
            const ReportRecord mine = DocumentReportRecord(document, host);
            row.host = mine.host;
            row.brand = mine.brand;
            row.signature = mine.signature;
            row.perThread = mine.perThread;
            row.perCore = mine.perCore;
        } else {
            records.push_back(DocumentReportRecord(document, host));
        }
    }
    const FleetOutcome fleet = comparison.Finish();
    header.documents = options.files.size();
    header.refused = fleet.refused.size();

    int failure = output.Write(ReportStart(header));
    if (failure == 0)
        WriteReportCharts(records, [&](std::string_view piece) {
            if (failure == 0)
                failure = output.Write(piece);
        });
    records.clear();
    records.shrink_to_fit();
    if (failure == 0 && !options.files.empty()) {
        failure = output.Write(ReportFleet(fleet));
        if (failure == 0)
            failure = output.Write(ReportDocumentsStart(shown));
        std::rewind(sections.get());
        char buffer[1 << 16];
        std::size_t got = 0;
        while (failure == 0 && (got = std::fread(buffer, 1, sizeof buffer, sections.get())) > 0)
            failure = output.Write(std::string_view(buffer, got));
        if (failure == 0 && std::ferror(sections.get()))
            failure = EIO;
        if (failure == 0)
            failure = output.Write("</section>\n");
        if (failure == 0)
            failure = output.Write(ReportRefused(fleet.refused));
    }
    if (failure == 0)
        failure = output.Write(ReportEnd());
    if (failure == 0)
        failure = output.Finish();
    if (failure != 0) {
        TellOutputProblem(outputPath, failure);
        return 1;
    }

    Report report(options.json);
    AddProvenance(report);
    report["output"] = ShownUtf8(outputPath);
    report["records"] = header.records;
    report["documents"] = header.documents;
    report["shown"] = shown;
    report["flaggedCount"] = fleet.FlaggedCount();
    report["refusedCount"] = fleet.refused.size();
    std::string line = "Report: " + Utf8(outputPath) + " (" + std::to_string(header.records) +
                       (header.records == 1 ? " record" : " records");
    if (!options.files.empty())
        line += ", " + std::to_string(shown) + " of " + std::to_string(header.documents) +
                (header.documents == 1 ? " document" : " documents") + ", " +
                std::to_string(fleet.FlaggedCount()) + " flagged";
    report.Line(line + ")");
    for (const FleetRefusal& refused : fleet.refused)
        report.Line("Refused: " + refused.file + ": " + refused.reason);
    if (!output.ToStandardOutput())
        report.Print();
    else
        report.Print(stderr);
    return 0;
}
}  // namespace cli
