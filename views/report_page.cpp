#include "views/report_page.h"

#include "core/numbers.h"
#include "core/state.h"
#include "results/record.h"
#include "results/results_table.h"
#include "views/html.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>

namespace {
// Colours chosen so that every text has a contrast of at least 4.5:1 on its
// background in both themes; printing uses the light one.
constexpr char Style[] =
    ":root{color-scheme:light dark;--bg:#ffffff;--fg:#1b1b1b;--muted:#4a4a4a;--rule:#c8c8c8;--panel:#f3f4f6;"
    "--bar:#2e7d32;--mine:#c2185b;--warn:#a4001d;--ok:#1b5e20;--t0:#1565c0;--t1:#6a1b9a;--t2:#00838f;"
    "--t3:#ad5000;--heat:#c62828}"
    "@media (prefers-color-scheme:dark){:root{--bg:#16181c;--fg:#ececec;--muted:#bcbcbc;--rule:#4a4d55;"
    "--panel:#23262d;--bar:#66bb6a;--mine:#f48fb1;--warn:#ff9e9e;--ok:#a5d6a7;--t0:#90caf9;--t1:#ce93d8;"
    "--t2:#80deea;--t3:#ffcc80;--heat:#ef9a9a}}"
    "*{box-sizing:border-box}"
    "html{background:var(--bg);color:var(--fg)}"
    "body{margin:0 auto;max-width:62rem;padding:1rem;font:15px/1.45 \"DejaVu Sans\",sans-serif;"
    "overflow-wrap:anywhere;background:var(--bg);color:var(--fg)}"
    "h1{font-size:1.6rem;margin:.2rem 0 .6rem}h2{font-size:1.3rem;margin-top:2rem;"
    "border-bottom:1px solid var(--rule)}h3{font-size:1.1rem;margin:1.4rem 0 .4rem}h4{font-size:1rem;"
    "margin:1rem 0 .3rem}"
    "p,li,dd,td,th{max-width:100%}"
    ".muted{color:var(--muted)}.warn{color:var(--warn)}.ok{color:var(--ok)}"
    "dl.facts{display:grid;grid-template-columns:minmax(6rem,max-content) 1fr;gap:.15rem .8rem;margin:.4rem 0}"
    "dl.facts dt{font-weight:bold}dl.facts dd{margin:0}"
    "table{border-collapse:collapse;width:100%;margin:.4rem 0}"
    "th,td{border-bottom:1px solid var(--rule);padding:.25rem .4rem;text-align:left;vertical-align:top}"
    "td.n,th.n{text-align:right;font-variant-numeric:tabular-nums}"
    "code{font-family:\"DejaVu Sans Mono\",monospace;font-size:.85em;word-break:break-all}"
    "article{border-top:1px solid var(--rule);margin-top:1.2rem}"
    // A page of thousands of documents: the browser lays out those in view.
    "article{content-visibility:auto;contain-intrinsic-size:auto 1100px}"
    ".ranking-part{content-visibility:auto}"
    ".group{background:var(--panel);padding:.4rem .7rem;margin:.6rem 0;border-radius:4px}"
    "svg{display:block;width:100%;height:auto;max-width:100%}"
    "svg text{fill:var(--fg);font:12px \"DejaVu Sans\",sans-serif}"
    "svg .small{font-size:10px;fill:var(--muted)}"
    "svg .name,svg .name-mine{font-size:11px}svg .name-mine{font-weight:bold}"
    "svg .bar{fill:var(--bar)}svg .mine{fill:var(--mine)}"
    "svg .axis{stroke:var(--rule);stroke-width:1;fill:none}"
    "svg .line{fill:none;stroke-width:1.5}"
    "svg .t0{stroke:var(--t0)}svg .t1{stroke:var(--t1)}svg .t2{stroke:var(--t2)}svg .t3{stroke:var(--t3)}"
    "svg .rate{stroke:var(--t0)}svg .temp{stroke:var(--heat)}"
    ".key-mine{color:var(--mine);font-weight:bold}"
    "svg.ranking{max-width:46rem}svg.plot{max-width:26rem}svg.plot text{font-size:9px}table.flagged td:first-child{min-width:5.5rem}th,td.warn{overflow-wrap:normal}"
    "@media (min-width:40rem){th{white-space:nowrap}}"
    "@media (max-width:30rem){body{padding:.6rem}th,td{padding:.2rem}.group{padding:.3rem .4rem}}"
    "@page{size:A4;margin:14mm}"
    "@media print{:root{--bg:#ffffff;--fg:#000000;--muted:#333333;--rule:#999999;--panel:#f3f4f6;--bar:#2e7d32;"
    "--mine:#c2185b;--warn:#a4001d;--ok:#1b5e20}body{max-width:none;padding:0;font-size:10.5pt}"
    "section{break-before:page}section.first{break-before:auto}article,.group,svg{break-inside:avoid}}";

std::string Number(double value, int decimals = 0)
{
    return FormatFixed(value, decimals);
}

std::string Optional(const std::optional<double>& value, int decimals, const char* unit)
{
    return value ? Number(*value, decimals) + unit : std::string("not known");
}

std::string Plural(std::size_t n, const char* one, const char* many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// A name cut to `most` characters (not bytes), for a chart's column.
std::string Cut(const std::string& text, std::size_t most)
{
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80)
            continue;
        if (++characters > most)
            return text.substr(0, i) + "\xE2\x80\xA6";  // U+2026
    }
    return text;
}

// ---- Charts ----
constexpr int ChartWidth = 680;
constexpr int RowHeight = 20;
constexpr int NameLeft = 36;
constexpr int BarLeft = 250;
constexpr double BarFull = 250.0;
constexpr std::size_t NameCharacters = 32;
constexpr std::size_t ChartPartRows = 250;
constexpr std::size_t HostCharacters = 20;

struct Ranked {
    const ReportRecord* record;
    double score;
    std::string name;  ///< as shown: with host, and signature where needed
};

std::string PowerFigures(const ReportRecord& r)
{
    if (!r.perThread && !r.perCore)
        return "";
    const auto part = [](const std::optional<double>& v) { return v ? Number(*v) : std::string("-"); };
    return " ( " + part(r.perCore) + " / " + part(r.perThread) + " )";
}

// Thousands of rows are handed on as they are written, not held.
constexpr std::size_t ChunkBytes = 1u << 16;

void Chart(Html& html, std::string& out, const ReportSink& sink, const char* id, const char* heading,
           const std::vector<Ranked>& rows, bool power)
{
    html.Open("section", {{"id", id}, {"class", std::string("chart")}});
    html.Element("h2", heading);
    if (rows.empty()) {
        html.Markup("<p class=\"muted\">No record to rank.</p></section>");
        return;
    }
    double highest = 0.0;
    for (const Ranked& row : rows)
        highest = std::max(highest, row.score);
    const auto flush = [&] {
        if (out.size() >= ChunkBytes) {
            sink(out);
            out.clear();
        }
    };
    // A long ranking is drawn in parts of ChartPartRows, each a picture of
    // its own that the browser lays out only when it comes into view.
    for (std::size_t first = 0; first < rows.size(); first += ChartPartRows) {
        const std::size_t end = std::min(rows.size(), first + ChartPartRows);
        const bool whole = first == 0 && end == rows.size();
        const std::string part = whole ? std::string(id) : std::string(id) + "-" + std::to_string(first + 1);
        const int height = static_cast<int>(end - first) * RowHeight + 8;
        html.Open("div", {{"class", "ranking-part"},
                          {"style", "contain-intrinsic-size:auto " + std::to_string(height) + "px"}});
        html.Open("svg", {{"role", "img"},
                          {"class", "ranking"},
                          {"viewBox", "0 0 " + std::to_string(ChartWidth) + " " + std::to_string(height)},
                          {"aria-labelledby", part + "-title " + part + "-desc"},
                          {"data-rows", std::to_string(end - first)}});
        html.Element("title",
                     std::string(heading) + ": " + Plural(rows.size(), "record", "records") + ", highest first" +
                         (whole ? std::string()
                                : ", places " + std::to_string(first + 1) + " to " + std::to_string(end)),
                     {{"id", part + "-title"}});
        html.Open("desc", {{"id", part + "-desc"}});
        for (std::size_t k = first; k < end; ++k) {
            html.Text(std::to_string(k + 1) + ". " + rows[k].name + ": " + Number(rows[k].score) + " points" +
                      (power ? PowerFigures(*rows[k].record) : std::string()) + (k + 1 < end ? "; " : "."));
            flush();
        }
        html.Close("desc");
        for (std::size_t k = first; k < end; ++k) {
            const Ranked& row = rows[k];
            const bool mine = !row.record->host.empty();
            const int y = static_cast<int>(k - first) * RowHeight + 4;
            const std::string baseline = std::to_string(y + 14);
            double length = highest > 0.0 ? row.score / highest * BarFull : 0.0;
            if (!std::isfinite(length) || length < 0.0)
                length = 0.0;
            html.Open("g", {{"class", mine ? "row mine-row" : "row"}, {"data-score", Number(row.score)}});
            html.Element("text", std::to_string(k + 1) + ".",
                         {{"x", std::to_string(NameLeft - 6)}, {"y", baseline}, {"text-anchor", "end"}});
            html.Element("text", Cut(row.name, NameCharacters),
                         {{"x", std::to_string(NameLeft)}, {"y", baseline}, {"class", mine ? "name-mine" : "name"}});
            html.Open("rect", {{"class", mine ? "mine" : "bar"},
                               {"x", std::to_string(BarLeft)},
                               {"y", std::to_string(y + 3)},
                               {"width", Number(length, 1)},
                               {"height", "13"},
                               {"rx", "3"}});
            html.Close("rect");
            html.Element("text", Number(row.score) + (power ? PowerFigures(*row.record) : std::string()),
                         {{"x", Number(BarLeft + length + 6.0, 1)}, {"y", baseline}});
            html.Close("g");
            flush();
        }
        html.Markup("</svg></div>");
    }
    html.Markup("</section>");
}

// ---- Plots of a document ----
constexpr int PlotWidth = 320;
constexpr int PlotHeight = 110;
constexpr int PlotLeft = 40;
constexpr int PlotRight = 310;
constexpr int PlotTop = 8;
constexpr int PlotBottom = 92;

// "x,y x,y ..." of values at their index, scaled to the plot.
std::string Polyline(const std::vector<double>& xs, const std::vector<double>& ys, double xMost, double yLeast,
                     double yMost)
{
    std::string points;
    const double xSpan = xMost > 0.0 ? xMost : 1.0;
    const double ySpan = yMost > yLeast ? yMost - yLeast : 1.0;
    for (std::size_t k = 0; k < xs.size() && k < ys.size(); ++k) {
        const double x = PlotLeft + (PlotRight - PlotLeft) * std::clamp(xs[k] / xSpan, 0.0, 1.0);
        const double y = PlotBottom - (PlotBottom - PlotTop) * std::clamp((ys[k] - yLeast) / ySpan, 0.0, 1.0);
        points += (points.empty() ? "" : " ") + Number(x, 0) + "," + Number(y, 0);
    }
    return points;
}

void Axes(Html& html, const std::string& top, const std::string& bottom, const std::string& right)
{
    html.Open("path", {{"class", "axis"},
                       {"d", "M" + std::to_string(PlotLeft) + " " + std::to_string(PlotTop) + "V" +
                                 std::to_string(PlotBottom) + "H" + std::to_string(PlotRight)}});
    html.Close("path");
    html.Element("text", top, {{"class", "small"}, {"x", std::to_string(PlotLeft - 4)}, {"y", "16"},
                               {"text-anchor", "end"}});
    html.Element("text", bottom, {{"class", "small"}, {"x", std::to_string(PlotLeft - 4)},
                                  {"y", std::to_string(PlotBottom)}, {"text-anchor", "end"}});
    html.Element("text", right, {{"class", "small"}, {"x", std::to_string(PlotRight)},
                                 {"y", std::to_string(PlotHeight - 4)}, {"text-anchor", "end"}});
}

void OpenPlot(Html& html, const std::string& id, const std::string& title, const std::string& description)
{
    html.Open("svg", {{"role", "img"},
                      {"class", "plot"},
                      {"viewBox", "0 0 " + std::to_string(PlotWidth) + " " + std::to_string(PlotHeight)},
                      {"aria-labelledby", id + "-t " + id + "-d"}});
    html.Element("title", title, {{"id", id + "-t"}});
    html.Element("desc", description, {{"id", id + "-d"}});
}

// Each thread's points a second (10 x blocks), one line each: at most
// PlotThreads threads, each thinned to PlotPoints seconds (the description
// says so), so that a run of thousands of threads or hours stays a picture.
constexpr std::size_t PlotThreads = 32;
constexpr std::size_t PlotPoints = 120;

void SamplesPlot(Html& html, const std::string& id, const TestEvidence& e)
{
    double most = 0.0;
    std::size_t seconds = 0;
    for (const RunSamples& thread : e.threads) {
        seconds = std::max(seconds, thread.perSecond.size());
        for (const std::uint32_t blocks : thread.perSecond)
            most = std::max(most, 10.0 * blocks);
    }
    const std::size_t drawn = std::min(e.threads.size(), PlotThreads);
    // The seconds shown: all of them, or PlotPoints spread evenly.
    std::vector<std::size_t> shown;
    for (std::size_t k = 0; k < std::min(seconds, PlotPoints); ++k)
        shown.push_back(seconds <= PlotPoints ? k : k * (seconds - 1) / (PlotPoints - 1));
    std::string description;
    for (std::size_t t = 0; t < drawn; ++t) {
        const std::vector<std::uint32_t>& perSecond = e.threads[t].perSecond;
        std::string values;
        for (const std::size_t s : shown)
            if (s < perSecond.size())
                values += (values.empty() ? "" : ", ") + Number(10.0 * perSecond[s]);
        description += (description.empty() ? "" : "; ") + std::string("thread ") + std::to_string(t + 1) + ": " +
                       (values.empty() ? std::string("no whole second") : values);
    }
    if (seconds > PlotPoints)
        description += " (" + std::to_string(PlotPoints) + " of the " + std::to_string(seconds) + " seconds)";
    if (drawn < e.threads.size())
        description += " (the first " + std::to_string(drawn) + " of " + std::to_string(e.threads.size()) + " threads)";
    OpenPlot(html, id,
             "Points a second of " +
                 (drawn < e.threads.size() ? "the first " + Plural(drawn, "thread", "threads") : std::string("each thread")) +
                 ", " + Plural(seconds, "second", "seconds"),
             description + ".");
    Axes(html, Number(most), "0", Plural(seconds, "second", "seconds"));
    const double xMost = seconds > 1 ? static_cast<double>(seconds - 1) : 1.0;
    for (std::size_t t = 0; t < drawn; ++t) {
        std::vector<double> xs, ys;
        for (const std::size_t s : shown)
            if (s < e.threads[t].perSecond.size()) {
                xs.push_back(static_cast<double>(s));
                ys.push_back(10.0 * e.threads[t].perSecond[s]);
            }
        if (xs.size() == 1) {  // one second: a level line
            xs.push_back(xMost);
            ys.push_back(ys.front());
        }
        html.Open("polyline", {{"class", "line t" + std::to_string(t % 4)}, {"points", Polyline(xs, ys, xMost, 0.0, most)}});
        html.Close("polyline");
    }
    html.Close("svg");
}

std::string Governors(const std::vector<std::string>& governors)
{
    std::map<std::string, std::size_t> counts;
    for (const std::string& g : governors)
        ++counts[g];
    std::string text;
    for (const auto& [name, count] : counts)
        text += (text.empty() ? "" : ", ") + name + (counts.size() > 1 ? " (" + std::to_string(count) + ")" : "");
    return text;
}

void Fact(Html& html, const char* term, const std::string& value)
{
    html.Element("dt", term);
    html.Element("dd", value);
}

// The conditions of a run in one line: what a reader checks first.
void Conditions(Html& html, const RunConditions& c)
{
    std::string text = "Conditions: " + Number(c.wallSeconds, 2) + " s; " +
                       Plural(c.threads, "thread", "threads") + " on " +
                       Plural(c.logicalProcessors, "logical processor", "logical processors") +
                       (c.threadsPerCore > 0 ? " (" + Plural(c.threadsPerCore, "thread", "threads") + " a core)"
                                             : std::string()) +
                       "; other programs " + Optional(c.otherPercent, 1, " % of a processor") + "; steal " +
                       Optional(c.stealPercent, 1, " %");
    if (!c.governors.empty())
        text += "; governor " + Governors(c.governors);
    if (c.affinity)
        text += "; affinity " + Plural(*c.affinity, "processor", "processors") +
                (c.affinityList.empty() ? std::string() : " (" + c.affinityList + ")");
    if (const std::optional<double> limit = c.CpuLimit())
        text += "; CPU limit " + Number(*limit, 2) + " processors";
    if (c.throttleBefore && c.throttleAfter)
        text += "; throttled " + Plural(c.Throttles(), "time", "times");
    if (c.groupThrottlesBefore && c.groupThrottlesAfter)
        text += "; its control group throttled it in " + Plural(c.GroupThrottles(), "period", "periods") + " (" +
                Number(static_cast<double>(c.GroupThrottledMicros()) / 1000.0, 0) + " ms)";
    if (c.highestCelsiusStart || c.highestCelsiusEnd)
        text += "; temperature " + Optional(c.highestCelsiusStart, 1, " \xC2\xB0""C") + " at the start, " +
                Optional(c.highestCelsiusEnd, 1, " \xC2\xB0""C") + " at the end";
    if (c.lowestMhzStart || c.lowestMhzEnd)
        text += "; lowest frequency " + Optional(c.lowestMhzStart, 0, " MHz") + " at the start, " +
                Optional(c.lowestMhzEnd, 0, " MHz") + " at the end";
    text += c.onBattery ? "; on battery." : ".";
    html.Element("p", text, {{"class", "conditions"}});
}

void VerdictOf(Html& html, const TestEvidence& e)
{
    if (!e.measured) {
        html.Markup("<p class=\"muted\">Transcribed from a record: no samples, no verdict.</p>");
        return;
    }
    html.Element("p", EvidenceLine(e), {{"class", e.verdict.steady ? "ok" : "warn"}});
    if (!e.verdict.reasons.empty()) {
        html.Markup("<ul class=\"reasons\">");
        for (const std::string& reason : e.verdict.reasons)
            html.Element("li", reason);
        html.Markup("</ul>");
    }
    for (const std::string& note : e.verdict.notes)
        html.Element("p", note, {{"class", "muted"}});
}

void Run(Html& html, const std::string& id, const char* name, const TestEvidence& e)
{
    html.Element("h4", std::string(name) + ": " + Number(e.points) + " points" +
                           (e.htt ? std::string(" (HTT run)") : std::string()));
    if (e.measured) {
        SamplesPlot(html, id, e);
        html.Element("p", Plural(e.summary.seconds, "whole second", "whole seconds") + ", spread " +
                              Number(e.summary.spread, 1) + " % between seconds" +
                              (e.threads.size() > 1 ? ", " + Number(e.threadSpread, 1) + " % between threads"
                                                    : std::string()) +
                              "; slowest " + Number(e.summary.slowest) + ", fastest " + Number(e.summary.fastest) +
                              " points a second.");
    }
    Conditions(html, e.conditions);
    VerdictOf(html, e);
}

void HeatPlot(Html& html, const std::string& id, const HeatEvidence& heat)
{
    if (heat.rateCurve.empty() && heat.temperatureCurve.empty())
        return;
    double end = heat.seconds;
    for (const auto* curve : {&heat.rateCurve, &heat.temperatureCurve})
        if (!curve->empty())
            end = std::max(end, curve->back().seconds);
    const auto series = [](const std::vector<HeatCurvePoint>& curve, std::vector<double>& xs, std::vector<double>& ys,
                           double& least, double& most) {
        least = curve.empty() ? 0.0 : curve.front().value;
        most = least;
        for (const HeatCurvePoint& p : curve) {
            xs.push_back(p.seconds);
            ys.push_back(p.value);
            least = std::min(least, p.value);
            most = std::max(most, p.value);
        }
    };
    std::vector<double> rx, ry, tx, ty;
    double rLeast = 0, rMost = 0, tLeast = 0, tMost = 0;
    series(heat.rateCurve, rx, ry, rLeast, rMost);
    series(heat.temperatureCurve, tx, ty, tLeast, tMost);
    // The description carries the numbers, at most 60 of each curve.
    const auto values = [](const std::vector<HeatCurvePoint>& curve, int decimals, const char* unit) {
        std::string text;
        const std::vector<HeatCurvePoint> shown = ThinnedCurve(curve, 60);
        for (const HeatCurvePoint& p : shown)
            text += (text.empty() ? "" : ", ") + Number(p.seconds, 0) + " s " + Number(p.value, decimals) + unit;
        return text.empty() ? std::string("none") : text;
    };
    const std::string over = " over " + Number(end, 0) + " s";
    const std::string title = rx.empty()   ? "Temperature (red)" + over
                              : tx.empty() ? "Work rate (blue)" + over
                                           : "Work rate (blue) and temperature (red)" + over;
    OpenPlot(html, id, title,
             "Work rate, passes a second: " + values(heat.rateCurve, 0, "") +
                 ". Temperature: " + values(heat.temperatureCurve, 1, " \xC2\xB0""C") + ".");
    // The temperature has its own scale, from 10 degrees below its lowest;
    // the rate's is on the left from 0, the temperature's on the right.
    const double tBottom = tLeast - 10.0;
    const std::string degrees = " \xC2\xB0""C";
    if (!rx.empty()) {
        Axes(html, Number(rMost), "0", Number(end, 0) + " s");
        html.Open("polyline", {{"class", "line rate"}, {"points", Polyline(rx, ry, end, 0.0, rMost)}});
        html.Close("polyline");
    } else {
        Axes(html, Number(tMost, 0) + degrees, Number(tBottom, 0) + degrees, Number(end, 0) + " s");
    }
    if (!tx.empty()) {
        if (!rx.empty()) {
            html.Element("text", Number(tMost, 0) + degrees,
                         {{"class", "small"}, {"x", std::to_string(PlotRight - 2)}, {"y", "20"}, {"text-anchor", "end"}});
            html.Element("text", Number(tBottom, 0) + degrees,
                         {{"class", "small"}, {"x", std::to_string(PlotRight - 2)}, {"y", std::to_string(PlotBottom - 4)},
                          {"text-anchor", "end"}});
        }
        html.Open("polyline", {{"class", "line temp"}, {"points", Polyline(tx, ty, end, tBottom, tMost)}});
        html.Close("polyline");
    }
    html.Close("svg");
}

void Heat(Html& html, const std::string& id, const HeatEvidence& heat)
{
    html.Element("h4", "Heat test: " + Plural(heat.seconds, "second", "seconds") + ", " +
                           Plural(heat.workers, "worker", "workers"));
    HeatPlot(html, id, heat);
    html.Markup("<dl class=\"facts\">");
    Fact(html, "Work rate", Optional(heat.passesPerSecond, 0, " passes a second"));
    Fact(html, "Sustained", heat.sustainedPercent
                                ? Number(*heat.sustainedPercent, 1) + " % of the pace of the first " +
                                      Optional(heat.firstSeconds, 0, " s")
                                : std::string("not known"));
    Fact(html, "Slowest processor", Optional(heat.slowestPercent, 1, " % of the fastest"));
    Fact(html, "Checks", std::to_string(heat.checks) + ", " + Plural(heat.errors, "error", "errors"));
    Fact(html, "Highest temperature", Optional(heat.highestCelsius, 1, " \xC2\xB0""C"));
    Fact(html, "Throttled", heat.throttled ? "yes: slower at its highest temperature" : "no");
    html.Markup("</dl>");
    if (heat.errors > 0)
        html.Element("p", "The processor computed " + Plural(heat.errors, "wrong result", "wrong results") +
                              ": it is not stable under load.",
                     {{"class", "warn"}});
}

void Repeats(Html& html, const ResultDocument& d)
{
    if (d.runs.empty())
        return;
    html.Element("h4", "Repeats: " + Plural(d.runs.size(), "run", "runs") + ", run " + std::to_string(d.keptRun + 1) +
                           " kept");
    html.Markup("<table><thead><tr><th scope=\"col\">Run</th><th scope=\"col\" class=\"n\">Speed</th>"
                "<th scope=\"col\" class=\"n\">Power</th><th scope=\"col\">Steady</th></tr></thead><tbody>");
    for (std::size_t k = 0; k < d.runs.size(); ++k) {
        const RunSummary& r = d.runs[k];
        html.Markup("<tr>");
        html.Element("td", std::to_string(k + 1) + (k == d.keptRun ? " (kept)" : ""));
        html.Element("td", Number(r.speed) + " (" + Number(r.speedSpread, 1) + " %)", {{"class", "n"}});
        html.Element("td", Number(r.power) + " (" + Number(r.powerSpread, 1) + " %)", {{"class", "n"}});
        html.Element("td", r.steady ? "yes" : "no");
        html.Markup("</tr>");
    }
    html.Markup("</tbody></table>");
}

// The processor's words for a fleet group and a host.
std::string Processor(const std::string& vendor, const std::string& brand, const std::string& signature,
                      std::uint32_t logical)
{
    return brand + " (" + vendor + ", signature " + signature + "), " +
           Plural(logical, "logical processor", "logical processors");
}

void Statistics(Html& html, const char* name, const FleetStatistics& s, const FleetOutcome& fleet)
{
    html.Markup("<tr>");
    html.Element("th", name, {{"scope", "row"}});
    html.Element("td", Number(s.median), {{"class", "n"}});
    html.Element("td", Number(s.spread, 1) + " %", {{"class", "n"}});
    html.Element("td", Number(s.lowest) + " (" + fleet.hosts[s.lowestHost].host + ")");
    html.Element("td", Number(s.highest) + " (" + fleet.hosts[s.highestHost].host + ")");
    html.Markup("</tr>");
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}
}  // namespace

ReportRecord DocumentReportRecord(const ResultDocument& d, const std::string& host)
{
    ReportRecord r;
    r.name = d.machine.brand;
    r.host = host;
    r.brand = d.machine.brand;
    r.signature = d.machine.signature;
    r.speed = d.speed.points;
    r.power = d.power.points;
    if (d.power.measured && !d.power.threads.empty()) {
        const RunConditions& c = d.power.conditions;
        r.perThread = d.power.points / static_cast<double>(d.power.threads.size());
        // A thread on every core, one thread a core, none held back: a
        // thread's points are a core's.
        if (c.threadsPerCore == 1 && d.power.threads.size() == c.logicalProcessors &&
            (!c.affinity || *c.affinity >= c.logicalProcessors))
            r.perCore = r.perThread;
    }
    return r;
}

std::vector<ReportRecord> TableReportRecords()
{
    std::vector<ReportRecord> records;
    for (std::int32_t k = 0; k < RankedCount && SpeedRanking; ++k) {
        const double line = SpeedRanking[k].line;
        if (!(line >= 0.0) || line >= ResultLineCount)
            continue;
        const ResultRecord record = TableRecord(static_cast<std::uint32_t>(line));
        if (record[FieldDisplay] != wxS("yes"))
            continue;
        ReportRecord r;
        r.name = TitleOf(record).utf8_string();
        // A field that is no finite number ("nan", "inf") ranks as none.
        const auto points = [&](RecordField f) {
            const double value = ReadNumber(record[f]);
            return std::isfinite(value) ? value : 0.0;
        };
        r.speed = points(FieldSpeedPoints);
        r.power = points(FieldPowerPoints);
        r.line = JoinRecord(record).utf8_string();
        records.push_back(std::move(r));
    }
    return records;
}

std::string SignatureFacts(const std::string& signature)
{
    if (signature.empty() || signature.size() > 8)
        return "";
    std::uint32_t value = 0;
    for (const char c : signature) {
        const int digit = HexDigit(c);
        if (digit < 0)
            return "";
        value = value << 4 | static_cast<std::uint32_t>(digit);
    }
    const std::uint32_t stepping = value & 0xF, model = (value >> 4) & 0xF, family = (value >> 8) & 0xF;
    const std::uint32_t extendedModel = (value >> 16) & 0xF, extendedFamily = (value >> 20) & 0xFF;
    // As the vendors' manuals combine them.
    const std::uint32_t shownFamily = family == 0xF ? family + extendedFamily : family;
    const std::uint32_t shownModel = family == 0x6 || family == 0xF ? (extendedModel << 4) + model : model;
    const auto hex = [](std::uint32_t v) {
        static const char digits[] = "0123456789ABCDEF";
        std::string text;
        do {
            text.insert(text.begin(), digits[v & 0xF]);
            v >>= 4;
        } while (v != 0);
        return text + "h";
    };
    return "family " + hex(shownFamily) + ", model " + hex(shownModel) + ", stepping " + std::to_string(stepping);
}

std::string ReportStart(const ReportHeader& header)
{
    std::string out;
    Html html(out);
    html.Markup("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
                "img-src 'none'; base-uri 'none'; form-action 'none'\">\n"
                "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                "<meta name=\"color-scheme\" content=\"light dark\">\n"
                "<meta name=\"generator\" content=\"Tarnwick\">\n");
    html.Element("title", header.title).Markup("\n<style>").Markup(Style).Markup("</style>\n</head>\n<body>\n");
    html.Markup("<header>");
    html.Element("h1", header.title);
    html.Markup("<dl class=\"facts\">");
    Fact(html, "Made", header.made);
    Fact(html, "Program", "Tarnwick " + header.version);
    Fact(html, "Table", header.table.empty() ? std::string("none") : header.table);
    Fact(html, "Records", header.table.empty() ? std::string("none: no table") : std::to_string(header.records) + " displayed");
    Fact(html, "Documents", std::to_string(header.documents) +
                                (header.refused > 0 ? ", " + std::to_string(header.refused) + " refused" : std::string()));
    html.Markup("</dl></header>\n");
    return out;
}

std::string ReportCharts(const std::vector<ReportRecord>& records)
{
    std::string page;
    WriteReportCharts(records, [&page](std::string_view piece) { page += piece; });
    return page;
}

void WriteReportCharts(const std::vector<ReportRecord>& records, const ReportSink& sink)
{
    // The brands that documents give with more than one signature.
    std::map<std::string, std::set<std::string>> signatures;
    for (const ReportRecord& r : records)
        if (!r.host.empty() && !r.signature.empty())
            signatures[r.brand].insert(r.signature);
    // The host first, so that a cut name keeps it; a table line that a
    // fleet wrote names it already.
    const auto shownName = [&](const ReportRecord& r) {
        if (r.host.empty())
            return r.name;
        std::string name = r.name;
        const auto it = signatures.find(r.brand);
        if (it != signatures.end() && it->second.size() > 1)
            name = "(signature " + r.signature + ") " + name;
        if (r.name.find("[" + r.host + "]") == std::string::npos)
            name = "[" + Cut(r.host, HostCharacters) + "] " + name;
        return name;
    };
    const auto ranked = [&](bool power) {
        std::vector<Ranked> rows;
        rows.reserve(records.size());
        for (const ReportRecord& r : records)
            rows.push_back({&r, power ? r.power : r.speed, shownName(r)});
        std::stable_sort(rows.begin(), rows.end(), [](const Ranked& a, const Ranked& b) { return a.score > b.score; });
        return rows;
    };
    std::string out;
    Html html(out);
    std::size_t mine = 0;
    for (const ReportRecord& r : records)
        mine += r.host.empty() ? 0 : 1;
    html.Markup("<section class=\"first\" id=\"charts\">");
    if (mine > 0)
        html.Markup("<p>Records of the documents are <span class=\"key-mine\">highlighted</span>, their host in "
                    "brackets before the name.</p>");
    html.Markup("</section>\n");
    Chart(html, out, sink, "speed", "Speed test", ranked(false), false);
    html.Markup("\n");
    Chart(html, out, sink, "power", "Power test", ranked(true), true);
    if (std::any_of(records.begin(), records.end(), [](const ReportRecord& r) { return r.perThread.has_value(); }))
        html.Markup("\n<p class=\"muted\">Power: points ( per core / per thread ) where a document tells them.</p>\n");
    sink(out);
}

std::string ReportFleet(const FleetOutcome& fleet)
{
    std::string out;
    Html html(out);
    html.Markup("<section id=\"fleet\"><h2>Fleet</h2>");
    const std::size_t flagged = fleet.FlaggedCount();
    html.Element("p", flagged > 0 ? "Flagged: " + std::to_string(flagged) + " of " +
                                        Plural(fleet.hosts.size(), "host", "hosts")
                                  : "No host flagged: " + Plural(fleet.hosts.size(), "host", "hosts") + " compared",
                 {{"class", flagged > 0 ? "warn" : "ok"}});
    if (flagged > 0) {
        html.Markup("<h3>Flagged hosts</h3><table class=\"flagged\"><thead><tr><th scope=\"col\">Host</th>"
                    "<th scope=\"col\">Flags</th><th scope=\"col\">Why</th></tr></thead><tbody>");
        for (const FleetHost& host : fleet.hosts) {
            if (!host.Flagged())
                continue;
            std::string flags;
            for (const FleetFlag flag : host.Flags())
                flags += (flags.empty() ? "" : ", ") + std::string(FleetFlagName(flag));
            html.Markup("<tr>");
            html.Element("td", host.host);
            html.Element("td", flags, {{"class", "warn"}});
            html.Markup("<td><ul>");
            for (const FleetReason& reason : host.reasons)
                html.Element("li", reason.text);
            html.Markup("</ul></td></tr>");
        }
        html.Markup("</tbody></table>");
    }
    html.Markup("<h3>Groups by processor</h3>");
    for (const FleetGroup& group : fleet.groups) {
        html.Markup("<div class=\"group\">");
        html.Element("h4", Processor(group.vendor, group.brand, group.signature, group.logicalProcessors) +
                               (group.sharedBrand ? " \xE2\x80\x94 another processor has this brand" : ""));
        std::string hosts;
        for (const std::size_t h : group.hosts)
            hosts += (hosts.empty() ? "" : ", ") + fleet.hosts[h].host;
        html.Element("p", Plural(group.hosts.size(), "host", "hosts") + ": " + hosts);
        html.Markup("<table><thead><tr><th scope=\"col\">Test</th><th scope=\"col\" class=\"n\">Median</th>"
                    "<th scope=\"col\" class=\"n\">Spread</th><th scope=\"col\">Lowest</th>"
                    "<th scope=\"col\">Highest</th></tr></thead><tbody>");
        Statistics(html, "Speed", group.speed, fleet);
        Statistics(html, "Power", group.power, fleet);
        html.Markup("</tbody></table></div>");
    }
    html.Markup("</section>\n");
    return out;
}

std::string ReportDocumentsStart(std::size_t count)
{
    std::string out;
    Html html(out);
    html.Markup("<section id=\"documents\">");
    html.Element("h2", "Documents (" + std::to_string(count) + ")");
    return out;
}

std::string ReportDocument(std::size_t index, const std::string& name, const ResultDocument& d)
{
    const std::string id = "d" + std::to_string(index + 1);
    std::string out;
    Html html(out);
    html.Open("article", {{"class", "document"}, {"id", id}});
    html.Element("h3", d.host.name.empty() ? name : d.host.name);
    html.Markup("<dl class=\"facts\">");
    const std::string facts = SignatureFacts(d.machine.signature);
    Fact(html, "Processor", d.machine.brand + " (" + d.machine.vendor + ")");
    Fact(html, "Signature", d.machine.signature + (facts.empty() ? std::string() : ": " + facts));
    Fact(html, "Logical processors", std::to_string(d.machine.logicalProcessors));
    Fact(html, "System", d.machine.os + ", kernel " + d.machine.kernel);
    if (!d.host.machineName.empty())
        Fact(html, "Machine", d.host.machineName +
                                  (d.host.machineId.empty() ? std::string() : " (" + d.host.machineId.substr(0, 8) + ")"));
    Fact(html, "Measured", d.date + " by Tarnwick " + d.version);
    Fact(html, "File", name);
    html.Markup("</dl>");
    html.Markup("<p>Record: <code>");
    html.Text(d.record);
    html.Markup("</code></p>");
    if (d.transcribed)
        html.Markup("<p class=\"muted\">Transcribed from a results table: its points as written there.</p>");
    Run(html, id + "s", "Speed test", d.speed);
    Run(html, id + "p", "Power test", d.power);
    if (d.heat.measured)
        Heat(html, id + "h", d.heat);
    Repeats(html, d);
    html.Markup("</article>\n");
    return out;
}

std::string ReportRefused(const std::vector<FleetRefusal>& refused)
{
    if (refused.empty())
        return "";
    std::string out;
    Html html(out);
    html.Markup("<section id=\"refused\">");
    html.Element("h2", "Refused documents (" + std::to_string(refused.size()) + ")");
    html.Markup("<table><thead><tr><th scope=\"col\">Document</th><th scope=\"col\">Why</th></tr></thead><tbody>");
    for (const FleetRefusal& r : refused) {
        html.Markup("<tr>");
        html.Element("td", r.file);
        html.Element("td", r.reason);
        html.Markup("</tr>");
    }
    html.Markup("</tbody></table></section>\n");
    return out;
}

std::string ReportEnd()
{
    return "</body>\n</html>\n";
}
