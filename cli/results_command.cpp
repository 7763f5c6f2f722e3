// tarnwick-cli results: the stored results, ranked, or those containing a text.
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/state.h"
#include "results/record.h"
#include "results/results_table.h"
#include "results/search.h"

#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace cli {
namespace {
const wchar_t* Row(std::int32_t line)
{
    return ResultLines.get() + std::size_t(line) * std::size_t(ResultLineWidth);
}
}  // namespace

int RunResults(const Options& options)
{
    if (!LoadResults())
        return 1;
    Report report(options.json);
    if (options.search) {
        SetSearchText(*options.search);
        FindResults();
        report["search"] = ShownUtf8(SearchText.get());
        report["hits"] = nlohmann::ordered_json::array();
        report.Line(std::to_string(SearchHitCount) + " search results for: " + Utf8(SearchText.get()));
        for (std::int32_t j = 0; j < SearchHitCount; ++j) {
            const wxString hit = SearchHits.get() + j * SearchHitWidth;
            report["hits"].push_back(ShownUtf8(hit));
            report.Line(Utf8(hit));
        }
        report.Print();
        return 0;
    }
    report["results"] = nlohmann::ordered_json::array();
    report.Line("Place     Speed     Power  Processor");
    for (std::int32_t k = 0; k < RankedCount; ++k) {
        const std::int32_t line = static_cast<std::int32_t>(SpeedRanking[k].line);
        const ResultRecord record = TableRecord(static_cast<std::uint32_t>(line));
        const wxString name = TitleOf(record);
        const double power = ReadNumber(record[FieldPowerPoints]);
        report["results"].push_back({{"place", k + 1},
                                     {"speed", WholeNumber(SpeedRanking[k].score)},
                                     {"power", WholeNumber(power)},
                                     {"processor", ShownUtf8(name)},
                                     {"line", ShownUtf8(Row(line))}});
        report.Line(PadLeft(std::to_string(k + 1), 5) + " " + PadLeft(Points(SpeedRanking[k].score), 9) + " " +
                    PadLeft(Points(power), 9) + "  " + Utf8(name));
    }
    report.Print();
    return 0;
}
}  // namespace cli
