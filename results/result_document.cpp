#include "results/result_document.h"

#include "cpu/cpuid.h"
#include "files/encoding.h"
#include "results/record.h"

#include <wx/string.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {
using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

// What a document may hold: far more than any machine runs, little enough
// that every count, sum and product stays exact.
constexpr std::uint64_t MaxThreads = 100000;
constexpr std::uint64_t MaxSeconds = 2147483;  // its milliseconds fit an int32
constexpr std::uint64_t MaxBlocksPerSecond = 10000000;
constexpr double MaxPoints = 1e15;
constexpr double MaxSpread = 1e9;   // per cent
constexpr double MaxReading = 1e9;  // per cent, degrees, MHz, seconds
constexpr std::uint64_t MaxCount32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t MaxCount64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t MaxShortText = 64;     // version, work cycle, date, governor
constexpr std::size_t MaxMachineText = 256;  // the machine's names
constexpr std::size_t MaxReasonText = 1024;
constexpr std::size_t MaxReasons = 64;
constexpr std::size_t MaxGovernors = MaxThreads;
constexpr std::size_t MaxRepeats = 100;  // record --repeat

// ---- Writing ----

// A number as JSON: a whole value as an integer, any other as the shortest
// text that reads back as the same double; null when it is not finite.
OrderedJson Number(double value)
{
    if (!std::isfinite(value))
        return nullptr;
    if (value == std::trunc(value) && std::fabs(value) < 9007199254740992.0)
        return value < 0 ? OrderedJson(static_cast<std::int64_t>(value))
                         : OrderedJson(static_cast<std::uint64_t>(value));
    return value;
}

// A derived value, rounded for reading.
double Round(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    const double rounded = std::round(value * scale) / scale;
    return std::isfinite(rounded) ? rounded : value;
}

std::optional<double> Round(const std::optional<double>& value, int decimals)
{
    return value ? std::optional<double>(Round(*value, decimals)) : std::nullopt;
}

template <typename T>
OrderedJson Optional(const std::optional<T>& value)
{
    if (!value)
        return nullptr;
    if constexpr (std::is_floating_point_v<T>)
        return Number(*value);
    else
        return *value;
}

// The conditions as a document writes them: the measurements rounded.
RunConditions Rounded(const RunConditions& c)
{
    RunConditions rounded = c;
    rounded.wallSeconds = Round(c.wallSeconds, 3);
    rounded.otherPercent = Round(c.otherPercent, 2);
    rounded.stealPercent = Round(c.stealPercent, 2);
    rounded.highestCelsiusStart = Round(c.highestCelsiusStart, 2);
    rounded.highestCelsiusEnd = Round(c.highestCelsiusEnd, 2);
    rounded.lowestMhzStart = Round(c.lowestMhzStart, 2);
    rounded.lowestMhzEnd = Round(c.lowestMhzEnd, 2);
    rounded.cpuLimitStart = Round(c.cpuLimitStart, 4);
    rounded.cpuLimitEnd = Round(c.cpuLimitEnd, 4);
    return rounded;
}

OrderedJson ConditionsJson(const RunConditions& c)
{
    OrderedJson j;
    j["wallSeconds"] = Number(c.wallSeconds);
    j["otherPercent"] = Optional(c.otherPercent);
    j["stealPercent"] = Optional(c.stealPercent);
    j["throttleBefore"] = Optional(c.throttleBefore);
    j["throttleAfter"] = Optional(c.throttleAfter);
    j["onBattery"] = c.onBattery;
    j["highestCelsius"] = {{"start", Optional(c.highestCelsiusStart)}, {"end", Optional(c.highestCelsiusEnd)}};
    j["lowestMhz"] = {{"start", Optional(c.lowestMhzStart)}, {"end", Optional(c.lowestMhzEnd)}};
    j["governors"] = c.governors;
    j["threadsPerCore"] = c.threadsPerCore;
    j["logicalProcessors"] = c.logicalProcessors;
    j["threads"] = c.threads;
    // What held the process: its affinity and its control group.
    j["affinity"] = c.affinity ? OrderedJson{{"processors", *c.affinity}, {"list", c.affinityList}}
                               : OrderedJson(nullptr);
    j["cpuLimit"] = {{"start", Optional(c.cpuLimitStart)}, {"end", Optional(c.cpuLimitEnd)}};
    j["groupThrottles"] = {{"before", Optional(c.groupThrottlesBefore)}, {"after", Optional(c.groupThrottlesAfter)}};
    j["groupThrottledMicros"] = {{"before", Optional(c.groupThrottledMicrosBefore)},
                                 {"after", Optional(c.groupThrottledMicrosAfter)}};
    return j;
}

bool SameVerdict(const Verdict& a, const Verdict& b)
{
    return a.steady == b.steady && a.lowers == b.lowers && a.reasons == b.reasons && a.notes == b.notes;
}

// ---- Reading ----

// What a tree cannot show once it is built: a member given twice in one
// object (the parser keeps the last, while a person reading the file sees
// the first), and nesting deeper than MaxResultDocumentDepth (which the
// tree builder would follow as deep as it goes). Read by the parser's own
// events, before any tree is built; a syntax error is left to the parse.
class Structure : public nlohmann::json_sax<Json> {
public:
    std::string problem;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override
    {
        if (!Deeper())
            return false;
        m_keys.emplace_back();
        return true;
    }
    bool key(string_t& name) override
    {
        if (m_keys.back().insert(name).second)
            return true;
        problem = "the member " + QuotedText(name) + " is given twice in one object";
        return false;
    }
    bool end_object() override
    {
        m_keys.pop_back();
        --m_depth;
        return true;
    }
    bool start_array(std::size_t) override { return Deeper(); }
    bool end_array() override
    {
        --m_depth;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

private:
    bool Deeper()
    {
        if (++m_depth <= MaxResultDocumentDepth)
            return true;
        problem = "it nests arrays and objects deeper than " + std::to_string(MaxResultDocumentDepth) + " levels";
        return false;
    }

    int m_depth = 0;
    std::vector<std::unordered_set<std::string>> m_keys;
};

// A number as a message shows it: the shortest text that reads back as it.
std::string NumberText(double value)
{
    return Number(value).dump();
}

// Whether a record's points field holds `points` as a record writes them:
// compared as numbers, whatever form the field gives them in.
bool SamePoints(std::string_view field, double points)
{
    return ReadNumber(field) == std::nearbyint(points);
}

std::string Join(const std::string& path, const char* name)
{
    return path.empty() ? std::string(name) : path + "." + name;
}

std::string Index(const std::string& path, std::size_t index)
{
    return path + "[" + std::to_string(index) + "]";
}

// Why a parse failed, from the parser's message: the part between " - "
// and "; " ("unexpected end of input"), never the bytes it last read.
std::string ParseProblem(const Json::parse_error& error)
{
    std::string what = error.what();
    const std::size_t dash = what.find(" - ");
    std::string reason = dash == std::string::npos ? "syntax error" : what.substr(dash + 3);
    reason = reason.substr(0, reason.find("; "));
    if (reason.find("UTF-8") != std::string::npos)
        return "not valid UTF-8 (at byte " + std::to_string(error.byte) + ")";
    return "not JSON: " + ShownText(reason.substr(0, 200)) + " at byte " + std::to_string(error.byte);
}

// Checks members one by one; the first problem met is kept.
class Reader {
public:
    std::string problem;

    bool Fail(std::string text)
    {
        if (problem.empty())
            problem = std::move(text);
        return false;
    }

    const Json* Member(const Json& object, const char* name, const std::string& path)
    {
        const auto found = object.find(name);
        if (found == object.end()) {
            Fail("the member \"" + Join(path, name) + "\" is missing");
            return nullptr;
        }
        return &*found;
    }

    /// The member `name` when it is an object (or null, when `nullable`).
    const Json* Object(const Json& parent, const char* name, const std::string& path, bool nullable = false)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr || (nullable && value->is_null()) || value->is_object())
            return value;
        Fail(Join(path, name) + " is not an object");
        return nullptr;
    }

    /// The member `name` when it is an array of at most `most` entries (or
    /// null, when `nullable`).
    const Json* Array(const Json& parent, const char* name, const std::string& path, std::size_t most,
                      bool nullable = false)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr || (nullable && value->is_null()))
            return value;
        if (!value->is_array()) {
            Fail(Join(path, name) + " is not an array");
            return nullptr;
        }
        if (value->size() > most) {
            Fail(Join(path, name) + " holds more than " + std::to_string(most) + " entries");
            return nullptr;
        }
        return value;
    }

    bool Bool(const Json& parent, const char* name, const std::string& path, bool& out, bool nullable = false)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr)
            return false;
        if (nullable && value->is_null())
            return true;
        if (!value->is_boolean())
            return Fail(Join(path, name) + " is not true or false");
        out = value->get<bool>();
        return true;
    }

    bool Text(const Json& value, const std::string& path, std::size_t most, std::string& out)
    {
        if (!value.is_string())
            return Fail(path + " is not a text");
        const std::string& text = value.get_ref<const std::string&>();
        if (text.size() > most)
            return Fail(path + " is longer than " + std::to_string(most) + " bytes");
        if (const std::string refused = RefusedCharacterIn(std::string_view(text)); !refused.empty())
            return Fail(path + " holds " + refused);
        out = text;
        return true;
    }

    bool Text(const Json& parent, const char* name, const std::string& path, std::size_t most, std::string& out)
    {
        const Json* value = Member(parent, name, path);
        return value != nullptr && Text(*value, Join(path, name), most, out);
    }

    bool Whole(const Json& value, const std::string& path, std::uint64_t least, std::uint64_t most,
               std::uint64_t& out)
    {
        bool fits = false;
        if (value.is_number_unsigned()) {
            out = value.get<std::uint64_t>();
            fits = out >= least && out <= most;
        } else if (value.is_number_integer() && value.get<std::int64_t>() >= 0) {  // "-0"
            out = static_cast<std::uint64_t>(value.get<std::int64_t>());
            fits = out >= least && out <= most;
        }
        if (!fits)
            return Fail(path + " is not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        return true;
    }

    template <typename T>
    bool Whole(const Json& parent, const char* name, const std::string& path, std::uint64_t least, std::uint64_t most,
               T& out, bool nullable = false)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr)
            return false;
        if (nullable && value->is_null())
            return true;
        std::uint64_t number = 0;
        if (!Whole(*value, Join(path, name), least, most, number))
            return false;
        out = static_cast<T>(number);
        return true;
    }

    bool OptionalWhole(const Json& parent, const char* name, const std::string& path,
                       std::optional<std::uint64_t>& out)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr)
            return false;
        if (value->is_null()) {
            out.reset();
            return true;
        }
        std::uint64_t number = 0;
        if (!Whole(*value, Join(path, name), 0, MaxCount64, number))
            return false;
        out = number;
        return true;
    }

    bool Real(const Json& value, const std::string& path, double least, double most, double& out)
    {
        if (value.is_number()) {
            out = value.get<double>();
            if (std::isfinite(out) && out >= least && out <= most)
                return true;
        }
        return Fail(path + " is not a number from " + NumberText(least) + " to " + NumberText(most));
    }

    bool Real(const Json& parent, const char* name, const std::string& path, double least, double most, double& out,
              bool nullable = false)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr)
            return false;
        if (nullable && value->is_null())
            return true;
        return Real(*value, Join(path, name), least, most, out);
    }

    bool OptionalReal(const Json& parent, const char* name, const std::string& path, double least, double most,
                      std::optional<double>& out)
    {
        const Json* value = Member(parent, name, path);
        if (value == nullptr)
            return false;
        if (value->is_null()) {
            out.reset();
            return true;
        }
        double number = 0;
        if (!Real(*value, Join(path, name), least, most, number))
            return false;
        out = number;
        return true;
    }

    bool Texts(const Json& parent, const char* name, const std::string& path, std::size_t most,
               std::size_t longest, std::vector<std::string>& out, bool nullable = false)
    {
        const Json* array = Array(parent, name, path, most, nullable);
        if (array == nullptr)
            return false;
        out.clear();
        if (array->is_null())
            return true;
        const std::string at = Join(path, name);
        for (std::size_t k = 0; k < array->size(); ++k) {
            out.emplace_back();
            if (!Text((*array)[k], Index(at, k), longest, out.back()))
                return false;
        }
        return true;
    }

    /// A pair {"start", "end"} of readings that may be null.
    bool Readings(const Json& parent, const char* name, const std::string& path, double least, double most,
                  std::optional<double>& start, std::optional<double>& end, bool nullable)
    {
        const Json* pair = Object(parent, name, path, nullable);
        if (pair == nullptr)
            return false;
        if (pair->is_null())
            return true;
        const std::string at = Join(path, name);
        return OptionalReal(*pair, "start", at, least, most, start) && OptionalReal(*pair, "end", at, least, most, end);
    }

    // The conditions of a run; a transcribed document may leave all but
    // the threads null.
    bool Conditions(const Json& parent, const std::string& path, bool transcribed, RunConditions& c)
    {
        const Json* j = Object(parent, "conditions", path);
        if (j == nullptr)
            return false;
        const std::string at = Join(path, "conditions");
        return Real(*j, "wallSeconds", at, 0, MaxReading, c.wallSeconds, transcribed) &&
               OptionalReal(*j, "otherPercent", at, -MaxReading, MaxReading, c.otherPercent) &&
               OptionalReal(*j, "stealPercent", at, -MaxReading, MaxReading, c.stealPercent) &&
               OptionalWhole(*j, "throttleBefore", at, c.throttleBefore) &&
               OptionalWhole(*j, "throttleAfter", at, c.throttleAfter) &&
               Bool(*j, "onBattery", at, c.onBattery, transcribed) &&
               Readings(*j, "highestCelsius", at, -MaxReading, MaxReading, c.highestCelsiusStart,
                        c.highestCelsiusEnd, transcribed) &&
               Readings(*j, "lowestMhz", at, -MaxReading, MaxReading, c.lowestMhzStart, c.lowestMhzEnd,
                        transcribed) &&
               Texts(*j, "governors", at, MaxGovernors, MaxShortText, c.governors, transcribed) &&
               Whole(*j, "threadsPerCore", at, 0, MaxCount32, c.threadsPerCore, transcribed) &&
               Whole(*j, "logicalProcessors", at, 0, MaxCount32, c.logicalProcessors, transcribed) &&
               Whole(*j, "threads", at, 0, MaxThreads, c.threads) && Limits(*j, at, c);
    }

    /// The affinity and the control group's limit and counters: absent in
    /// documents made before they were recorded, which leaves them unknown.
    bool Limits(const Json& j, const std::string& at, RunConditions& c)
    {
        if (j.contains("affinity")) {
            const Json* affinity = Object(j, "affinity", at, true);
            if (affinity == nullptr)
                return false;
            if (!affinity->is_null()) {
                const std::string path = Join(at, "affinity");
                std::uint32_t processors = 0;
                if (!Whole(*affinity, "processors", path, 1, MaxCount32, processors) ||
                    !Text(*affinity, "list", path, 256, c.affinityList))
                    return false;
                if (!c.affinityList.empty() && !ParseProcessorList(c.affinityList, 1))
                    return Fail(Join(path, "list") + " " + QuotedText(c.affinityList) + " is not a list of processors");
                c.affinity = processors;
            }
        }
        const auto pair = [&](const char* name, const char* first, const char* second, auto& a, auto& b) {
            if (!j.contains(name))
                return true;
            const Json* value = Object(j, name, at, true);
            if (value == nullptr)
                return false;
            if (value->is_null())
                return true;
            const std::string path = Join(at, name);
            if constexpr (std::is_same_v<std::decay_t<decltype(a)>, std::optional<double>>)
                return OptionalReal(*value, first, path, 0, MaxReading, a) &&
                       OptionalReal(*value, second, path, 0, MaxReading, b);
            else
                return OptionalWhole(*value, first, path, a) && OptionalWhole(*value, second, path, b);
        };
        return pair("cpuLimit", "start", "end", c.cpuLimitStart, c.cpuLimitEnd) &&
               pair("groupThrottles", "before", "after", c.groupThrottlesBefore, c.groupThrottlesAfter) &&
               pair("groupThrottledMicros", "before", "after", c.groupThrottledMicrosBefore,
                    c.groupThrottledMicrosAfter);
    }

    bool Samples(const Json& thread, const std::string& path, RunSamples& samples, double& points)
    {
        const Json* perSecond = Array(thread, "perSecond", path, MaxSeconds);
        if (perSecond == nullptr)
            return false;
        const auto& counts = perSecond->get_ref<const Json::array_t&>();
        samples.perSecond.reserve(counts.size());
        for (const Json& count : counts) {
            // Checked here rather than by Whole(): a path for every sample would cost more than the sample.
            const bool whole = count.is_number_unsigned() ||
                               (count.is_number_integer() && count.get<std::int64_t>() == 0);
            const std::uint64_t value = whole ? count.get<std::uint64_t>() : 0;
            if (!whole || value > MaxBlocksPerSecond)
                return Fail(Index(Join(path, "perSecond"), samples.perSecond.size()) + " is not a whole number from 0 to " +
                            std::to_string(MaxBlocksPerSecond));
            samples.perSecond.push_back(static_cast<std::uint32_t>(value));
        }
        return Whole(thread, "after", path, 0, MaxBlocksPerSecond, samples.after) &&
               Real(thread, "points", path, 0, MaxPoints, points);
    }

    bool Summary(const Json& parent, const std::string& path, bool transcribed)
    {
        const Json* j = Object(parent, "summary", path, transcribed);
        if (j == nullptr)
            return false;
        if (j->is_null())
            return true;
        // Read to be checked; the summary kept is worked out from the samples.
        SampleSummary s;
        const std::string at = Join(path, "summary");
        return Whole(*j, "seconds", at, 0, MaxSeconds, s.seconds) && Real(*j, "mean", at, 0, MaxPoints, s.mean) &&
               Real(*j, "slowest", at, 0, MaxPoints, s.slowest) && Real(*j, "fastest", at, 0, MaxPoints, s.fastest) &&
               Real(*j, "spread", at, 0, MaxSpread, s.spread);
    }

    /// The verdict's "steady", or nullopt when a transcribed document has none.
    bool StoredVerdict(const Json& parent, const std::string& path, bool transcribed, std::optional<bool>& steady)
    {
        const Json* j = Object(parent, "verdict", path, transcribed);
        if (j == nullptr)
            return false;
        if (j->is_null())
            return true;
        const std::string at = Join(path, "verdict");
        bool value = false;
        std::vector<std::string> texts;
        if (!Bool(*j, "steady", at, value) || !Texts(*j, "reasons", at, MaxReasons, MaxReasonText, texts) ||
            !Texts(*j, "notes", at, MaxReasons, MaxReasonText, texts))
            return false;
        steady = value;
        return true;
    }

    bool Evidence(const Json& root, const char* test, bool transcribed, TestEvidence& e)
    {
        const Json* j = Object(root, test, "");
        if (j == nullptr)
            return false;
        const std::string path = test;
        std::string name;
        if (!Text(*j, "test", path, MaxShortText, name))
            return false;
        if (name != test)
            return Fail(path + ".test is " + QuotedText(name) + ", not \"" + test + "\"");
        e.test = name;
        std::uint64_t seconds = 0;
        if (!Whole(*j, "seconds", path, 1, MaxSeconds, seconds, transcribed))
            return false;
        e.millis = static_cast<std::int32_t>(seconds * 1000);
        if (!Real(*j, "points", path, 0, MaxPoints, e.points) || !Bool(*j, "htt", path, e.htt))
            return false;
        const Json* threads = Array(*j, "threads", path, MaxThreads);
        if (threads == nullptr)
            return false;
        e.threads.resize(threads->size());
        e.threadPoints.resize(threads->size());
        for (std::size_t k = 0; k < threads->size(); ++k) {
            const std::string at = Index(Join(path, "threads"), k);
            if (!(*threads)[k].is_object())
                return Fail(at + " is not an object");
            if (!Samples((*threads)[k], at, e.threads[k], e.threadPoints[k]))
                return false;
        }
        double threadSpread = 0;
        std::optional<bool> steady;
        if (!Summary(*j, path, transcribed) ||
            !Real(*j, "threadSpread", path, 0, MaxSpread, threadSpread, transcribed) ||
            !Conditions(*j, path, transcribed, e.conditions) || !StoredVerdict(*j, path, transcribed, steady))
            return false;

        e.measured = !transcribed;
        CompleteEvidence(e);
        if (steady && *steady != e.verdict.steady) {
            std::string reasons;
            for (const std::string& reason : e.verdict.reasons)
                reasons += (reasons.empty() ? "" : "; ") + reason;
            return Fail(*steady ? "its " + path + " verdict says steady but its evidence says unsteady (" + reasons + ")"
                                : "its " + path + " verdict says unsteady but its evidence says steady");
        }
        return true;
    }

    bool Machine(const Json& root, ResultDocument::Machine& m)
    {
        const Json* j = Object(root, "machine", "");
        if (j == nullptr)
            return false;
        const std::string at = "machine";
        if (!Text(*j, "vendor", at, MaxMachineText, m.vendor) || !Text(*j, "brand", at, MaxMachineText, m.brand) ||
            !Text(*j, "signature", at, 16, m.signature))
            return false;
        for (const char c : m.signature)
            if (!std::isxdigit(static_cast<unsigned char>(c)))
                return Fail("machine.signature " + QuotedText(m.signature) + " is not hexadecimal");
        return Text(*j, "modelName", at, MaxMachineText, m.modelName) &&
               Whole(*j, "logicalProcessors", at, 0, MaxCount32, m.logicalProcessors) &&
               Text(*j, "kernel", at, MaxMachineText, m.kernel) && Text(*j, "os", at, MaxMachineText, m.os);
    }

    bool Host(const Json& root, ResultDocument::Host& h)
    {
        if (!root.contains("host"))
            return true;
        const Json* j = Object(root, "host", "", true);
        if (j == nullptr)
            return false;
        if (j->is_null())
            return true;
        if (!Text(*j, "name", "host", MaxHostName, h.name))
            return false;
        if (const std::string why = HostNameProblem(h.name); !why.empty())
            return Fail("host.name " + QuotedText(h.name) + " is no host name: " + why);
        if (!Text(*j, "machineName", "host", MaxHostName, h.machineName))
            return false;
        const Json* id = Member(*j, "machineId", "host");
        if (id == nullptr)
            return false;
        if (id->is_null())
            return true;
        if (!Text(*id, "host.machineId", 32, h.machineId))
            return false;
        const bool hex = h.machineId.size() == 32 && std::all_of(h.machineId.begin(), h.machineId.end(), [](char c) {
                             return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
                         });
        return hex || Fail("host.machineId " + QuotedText(h.machineId) + " is not 32 hexadecimal digits");
    }

    /// A heat curve (absent in older documents): [seconds, value] pairs, the
    /// seconds from 0 and never going back, at most HeatCurveMost of them.
    bool Curve(const Json& heat, const char* name, double least, double most, std::vector<HeatCurvePoint>& out)
    {
        out.clear();
        if (!heat.contains(name))
            return true;
        const Json* array = Array(heat, name, "heat", HeatCurveMost);
        if (array == nullptr)
            return false;
        const std::string at = Join("heat", name);
        double previous = 0.0;
        for (std::size_t k = 0; k < array->size(); ++k) {
            const Json& pair = (*array)[k];
            const std::string here = at + "[" + std::to_string(k) + "]";
            if (!pair.is_array() || pair.size() != 2)
                return Fail(here + " is not a pair of numbers [seconds, value]");
            HeatCurvePoint point;
            if (!Real(pair[0], here + "[0]", previous, MaxReading, point.seconds) ||
                !Real(pair[1], here + "[1]", least, most, point.value))
                return false;
            previous = point.seconds;
            out.push_back(point);
        }
        return true;
    }

    bool Heat(const Json& root, HeatEvidence& heat)
    {
        if (!root.contains("heat"))
            return true;
        const Json* j = Object(root, "heat", "", true);
        if (j == nullptr)
            return false;
        if (j->is_null())
            return true;
        const std::string at = "heat";
        if (!Whole(*j, "seconds", at, 1, MaxSeconds, heat.seconds) ||
            !Whole(*j, "workers", at, 1, MaxThreads, heat.workers) ||
            !OptionalReal(*j, "passesPerSecond", at, 0, MaxPoints, heat.passesPerSecond) ||
            !OptionalReal(*j, "sustainedPercent", at, 0, MaxReading, heat.sustainedPercent) ||
            !OptionalReal(*j, "firstSeconds", at, 0, MaxReading, heat.firstSeconds) ||
            !OptionalReal(*j, "slowestPercent", at, 0, MaxReading, heat.slowestPercent) ||
            !Whole(*j, "checks", at, 0, MaxCount64, heat.checks) ||
            !Whole(*j, "errors", at, 0, MaxCount64, heat.errors) ||
            !OptionalReal(*j, "highestCelsius", at, -MaxReading, MaxReading, heat.highestCelsius) ||
            !Bool(*j, "throttled", at, heat.throttled))
            return false;
        if (heat.errors > heat.checks)
            return Fail("heat.errors " + std::to_string(heat.errors) + " are more than its checks " +
                        std::to_string(heat.checks));
        if (!Curve(*j, "rateCurve", 0, MaxPoints, heat.rateCurve) ||
            !Curve(*j, "temperatureCurve", -MaxReading, MaxReading, heat.temperatureCurve))
            return false;
        heat.measured = true;
        return true;
    }

    bool Repeats(const Json& root, ResultDocument& d)
    {
        if (!root.contains("repeats"))
            return true;
        const Json* j = Object(root, "repeats", "", true);
        if (j == nullptr)
            return false;
        if (j->is_null())
            return true;
        const Json* runs = Array(*j, "runs", "repeats", MaxRepeats);
        if (runs == nullptr)
            return false;
        if (runs->size() < 2)
            return Fail("repeats.runs holds fewer than 2 runs");
        for (std::size_t k = 0; k < runs->size(); ++k) {
            const std::string at = Index("repeats.runs", k);
            if (!(*runs)[k].is_object())
                return Fail(at + " is not an object");
            RunSummary run;
            const Json& r = (*runs)[k];
            if (!Real(r, "speed", at, 0, MaxPoints, run.speed) || !Real(r, "power", at, 0, MaxPoints, run.power) ||
                !Real(r, "speedSpread", at, 0, MaxSpread, run.speedSpread) ||
                !Real(r, "powerSpread", at, 0, MaxSpread, run.powerSpread) || !Bool(r, "steady", at, run.steady))
                return false;
            d.runs.push_back(run);
        }
        return Whole(*j, "kept", "repeats", 0, runs->size() - 1, d.keptRun);
    }

    bool Date(const Json& root, std::string& date)
    {
        if (!Text(root, "date", "", MaxShortText, date))
            return false;
        // "2026-11-24T09:30:00Z"
        const char* shape = "dddd-dd-ddTdd:dd:ddZ";
        bool fits = date.size() == 20;
        for (std::size_t i = 0; fits && i < date.size(); ++i)
            fits = shape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(date[i])) != 0 : date[i] == shape[i];
        const auto at = [&](std::size_t i) { return (date[i] - '0') * 10 + (date[i + 1] - '0'); };
        if (fits)
            fits = at(5) >= 1 && at(5) <= 12 && at(8) >= 1 && at(8) <= 31 && at(11) <= 23 && at(14) <= 59 &&
                   at(17) <= 60;
        return fits || Fail("date " + QuotedText(date) + " is not a time such as 2026-11-24T09:30:00Z");
    }

    bool Record(const Json& root, std::string& record)
    {
        const Json* value = Member(root, "record", "");
        if (value == nullptr)
            return false;
        if (!value->is_string())
            return Fail("record is not a text");
        const std::string& bytes = value->get_ref<const std::string&>();
        // Four bytes at most a character: a longer text is longer in characters too.
        if (bytes.size() > 4 * MaxRecordLength)
            return Fail("record is longer than " + std::to_string(MaxRecordLength) + " characters");
        const wxString text = wxString::FromUTF8(bytes.data(), bytes.size());
        if (text.empty() && !bytes.empty())
            return Fail("record is not valid UTF-8");
        const wxString why = RecordProblem(std::wstring_view(text.wc_str(), text.length()));
        if (!why.empty())
            return Fail("record is not a results line (" + why.utf8_string() + ")");
        record = bytes;
        return true;
    }

    bool Document(const Json& root, ResultDocument& d)
    {
        if (!root.is_object())
            return Fail(std::string("it is not a Tarnwick result document (it is a JSON ") + root.type_name() +
                        ", not an object)");
        const auto format = root.find("format");
        if (format == root.end())
            return Fail("it is not a Tarnwick result document (it has no \"format\")");
        if (!format->is_string())
            return Fail("it is not a Tarnwick result document (its \"format\" is not a text)");
        const std::string& name = format->get_ref<const std::string&>();
        if (name != ResultDocumentFormat) {
            if (name.rfind("tarnwick-result/", 0) == 0)
                return Fail("it is a Tarnwick result document of another format (" + QuotedText(name) + "), not " +
                            ResultDocumentFormat);
            return Fail("it is not a Tarnwick result document (its format is " + QuotedText(name) + ")");
        }
        std::string program;
        return Text(root, "program", "", MaxShortText, program) && Text(root, "version", "", MaxShortText, d.version) &&
               Text(root, "workCycle", "", MaxShortText, d.workCycle) && Date(root, d.date) &&
               Bool(root, "transcribed", "", d.transcribed) && Record(root, d.record) && Machine(root, d.machine) &&
               Host(root, d.host) && Evidence(root, "speed", d.transcribed, d.speed) &&
               Evidence(root, "power", d.transcribed, d.power) && Heat(root, d.heat) && Repeats(root, d);
    }
};

std::string Read(std::string_view bytes, ResultDocument& document)
{
    if (bytes.size() > MaxResultDocumentBytes)
        return "it is too large: " + std::to_string(bytes.size()) + " bytes, at most " +
               std::to_string(MaxResultDocumentBytes);
    if (const char* encoding = OtherDocumentEncoding(bytes))
        return std::string("it is a JSON text in ") + encoding + ", and result documents are UTF-8";
    Structure structure;
    if (!Json::sax_parse(bytes.begin(), bytes.end(), &structure) && !structure.problem.empty())
        return structure.problem;
    Json root;
    try {
        root = Json::parse(bytes.begin(), bytes.end());
    } catch (const Json::parse_error& error) {
        return ParseProblem(error);
    } catch (const Json::out_of_range&) {
        return "not JSON this program can read: a number is too large for it";
    }
    Reader reader;
    ResultDocument read;
    if (!reader.Document(root, read))
        return reader.problem;
    document = std::move(read);
    return {};
}

// ---- Checking ----

// A measured test's samples against its points. Every points value is
// compared exactly: the program works out each thread's points as
// 10 x blocks / whole seconds and adds them in thread order, as
// PointsFromSamples does, and a document writes each as the shortest text
// that reads back as the same double; so a genuine document matches bit for
// bit, and an edit by any fraction of a point is seen.
std::string CheckSamples(const TestEvidence& e, const char* test, std::string_view recordPoints)
{
    const std::string path = test;
    if (e.threads.empty())
        return "its " + path + " test carries no samples";
    if (path == "speed" && e.threads.size() != 1)
        return "its speed test ran " + std::to_string(e.threads.size()) + " threads, not one";
    if (e.threads.size() != e.conditions.threads)
        return "its " + path + " test carries samples of " + std::to_string(e.threads.size()) + " threads but ran " +
               std::to_string(e.conditions.threads);
    if (e.millis < 1000)
        return "its " + path + " test has no length of whole seconds";
    const std::size_t seconds = static_cast<std::size_t>(e.millis / 1000);
    for (std::size_t k = 0; k < e.threads.size(); ++k) {
        const std::string at = Index(path + ".threads", k);
        const RunSamples& thread = e.threads[k];
        if (thread.perSecond.size() != seconds)
            return at + " has " + std::to_string(thread.perSecond.size()) + " one-second samples, not " +
                   std::to_string(seconds);
        if (k >= e.threadPoints.size())
            return at + " has no points";
        const double points = 10.0 * static_cast<double>(thread.Blocks()) / static_cast<double>(e.millis / 1000);
        if (e.threadPoints[k] != points)
            return at + ".points " + NumberText(e.threadPoints[k]) + " are not what its samples give (" +
                   NumberText(points) + ")";
    }
    const double points = PointsFromSamples(e.threads, e.millis);
    if (e.points != points)
        return path + ".points " + NumberText(e.points) + " are not what its samples give (" + NumberText(points) + ")";
    if (!SamePoints(recordPoints, points))
        return "its " + path + " points " + ShownText(recordPoints) + " are not what its samples give (" +
               FormatPoints(points) + ")";
    return {};
}

// The record against the machine the document describes, and the machine
// against the runs: a record relabelled to another processor, or runs of
// another machine under its name, are no longer one document.
std::string CheckMachine(const ResultDocument& d, const RecordView<char>& fields)
{
    const ResultDocument::Machine& m = d.machine;
    const std::string maker = wxString(VendorShortName(m.vendor)).utf8_string();
    if (!maker.empty() && fields[FieldManufacturer] != maker)
        return "its record names the maker " + QuotedText(fields[FieldManufacturer]) + ", but its machine's vendor " +
               QuotedText(m.vendor) + " is " + maker;
    if (fields[FieldModel] != m.brand)
        return "its record names the model " + QuotedText(fields[FieldModel]) + ", but its machine's processor is " +
               QuotedText(m.brand);
    if (fields[FieldLogicalProcessors] != std::to_string(m.logicalProcessors))
        return "its record gives " + QuotedText(fields[FieldLogicalProcessors]) + " logical processors, but its machine had " +
               std::to_string(m.logicalProcessors);
    for (const TestEvidence* e : {&d.speed, &d.power})
        if (e->conditions.logicalProcessors != 0 && e->conditions.logicalProcessors != m.logicalProcessors)
            return "its " + e->test + " test ran on " + std::to_string(e->conditions.logicalProcessors) +
                   " logical processors, but its machine had " + std::to_string(m.logicalProcessors);
    return {};
}

std::string CheckTranscribed(const TestEvidence& e, const char* test, std::string_view recordPoints)
{
    const std::string path = test;
    if (!e.threads.empty())
        return "it is transcribed but its " + path + " test carries samples";
    if (path == "speed" && e.conditions.threads != 1)
        return "its speed test ran " + std::to_string(e.conditions.threads) + " threads, not one";
    if (e.conditions.threads == 0)
        return "its " + path + " test ran no threads";
    if (!SamePoints(recordPoints, e.points))
        return "its " + path + " points " + ShownText(recordPoints) + " are not its evidence's (" + FormatPoints(e.points) +
               ")";
    return {};
}
}  // namespace

nlohmann::ordered_json ConditionsToJson(const RunConditions& conditions)
{
    return ConditionsJson(Rounded(conditions));
}

nlohmann::ordered_json HeatToJson(const HeatEvidence& heat)
{
    if (!heat.measured)
        return nullptr;
    OrderedJson j;
    j["seconds"] = heat.seconds;
    j["workers"] = heat.workers;
    j["passesPerSecond"] = Optional(Round(heat.passesPerSecond, 0));
    j["sustainedPercent"] = Optional(Round(heat.sustainedPercent, 2));
    j["firstSeconds"] = Optional(Round(heat.firstSeconds, 1));
    j["slowestPercent"] = Optional(Round(heat.slowestPercent, 1));
    j["checks"] = heat.checks;
    j["errors"] = heat.errors;
    j["highestCelsius"] = Optional(Round(heat.highestCelsius, 1));
    j["throttled"] = heat.throttled;
    const auto curve = [](const std::vector<HeatCurvePoint>& points) {
        OrderedJson array = OrderedJson::array();
        for (const HeatCurvePoint& p : points)
            array.push_back({Round(p.seconds, 1), Round(p.value, 1)});
        return array;
    };
    j["rateCurve"] = curve(heat.rateCurve);
    j["temperatureCurve"] = curve(heat.temperatureCurve);
    return j;
}

std::string HostNameProblem(std::string_view name)
{
    if (name.empty())
        return "it is empty";
    if (name.size() > MaxHostName)
        return "it is longer than " + std::to_string(MaxHostName) + " bytes";
    if (!IsStrictUtf8(reinterpret_cast<const unsigned char*>(name.data()), name.size()))
        return "it is not UTF-8";
    if (const std::string refused = RefusedCharacterIn(name); !refused.empty())
        return "it holds " + refused;
    if (name.find(';') != std::string_view::npos)
        return "it holds \";\", which separates the fields of a record";
    if (name.front() == ' ' || name.back() == ' ')
        return "it begins or ends with a space";
    return {};
}

nlohmann::ordered_json VerdictToJson(const Verdict& verdict)
{
    OrderedJson j;
    j["steady"] = verdict.steady;
    j["reasons"] = verdict.reasons;
    j["notes"] = verdict.notes;
    return j;
}

nlohmann::ordered_json EvidenceToJson(const TestEvidence& e)
{
    OrderedJson j;
    j["test"] = e.test;
    j["seconds"] = e.millis > 0 ? Number(e.millis / 1000.0) : OrderedJson(nullptr);
    j["points"] = Number(e.points);
    j["htt"] = e.htt;
    OrderedJson threads = OrderedJson::array();
    for (std::size_t k = 0; k < e.threads.size(); ++k) {
        OrderedJson thread;
        thread["perSecond"] = e.threads[k].perSecond;
        thread["after"] = e.threads[k].after;
        thread["points"] = k < e.threadPoints.size() ? Number(e.threadPoints[k]) : OrderedJson(nullptr);
        threads.push_back(std::move(thread));
    }
    j["threads"] = std::move(threads);
    if (e.measured) {
        const SampleSummary& s = e.summary;
        j["summary"] = {{"seconds", s.seconds},
                        {"mean", Number(Round(s.mean, 2))},
                        {"slowest", Number(Round(s.slowest, 2))},
                        {"fastest", Number(Round(s.fastest, 2))},
                        {"spread", Number(Round(s.spread, 2))}};
        j["threadSpread"] = Number(Round(e.threadSpread, 2));
    } else {
        j["summary"] = nullptr;
        j["threadSpread"] = nullptr;
    }
    // The verdict is judged again from what is written: the conditions are
    // rounded only when that judges the run alike, else written exactly.
    RunConditions rounded = Rounded(e.conditions);
    TestEvidence probe;
    probe.measured = e.measured;
    probe.test = e.test;
    probe.millis = e.millis;
    probe.points = e.points;
    probe.htt = e.htt;
    probe.summary = e.summary;
    probe.threadSpread = e.threadSpread;
    probe.conditions = e.conditions;
    const Verdict exact = JudgeRun(probe);
    probe.conditions = rounded;
    j["conditions"] = ConditionsJson(SameVerdict(exact, JudgeRun(probe)) ? rounded : e.conditions);
    j["verdict"] = e.measured ? VerdictToJson(e.verdict) : OrderedJson(nullptr);
    return j;
}

std::string WriteResultDocument(const ResultDocument& d)
{
    OrderedJson j;
    j["format"] = ResultDocumentFormat;
    j["program"] = "Tarnwick";
    j["version"] = d.version;
    j["workCycle"] = d.workCycle;
    j["date"] = d.date;
    j["transcribed"] = d.transcribed;
    j["record"] = d.record;
    j["machine"] = {{"vendor", d.machine.vendor},       {"brand", d.machine.brand},
                    {"signature", d.machine.signature}, {"modelName", d.machine.modelName},
                    {"logicalProcessors", d.machine.logicalProcessors},
                    {"kernel", d.machine.kernel},       {"os", d.machine.os}};
    // A document made without a host (a transcribed one) names none.
    if (d.host.name.empty())
        j["host"] = nullptr;
    else
        j["host"] = {{"name", d.host.name},
                     {"machineName", d.host.machineName},
                     {"machineId", d.host.machineId.empty() ? OrderedJson(nullptr) : OrderedJson(d.host.machineId)}};
    j["speed"] = EvidenceToJson(d.speed);
    j["power"] = EvidenceToJson(d.power);
    j["heat"] = HeatToJson(d.heat);
    if (d.runs.empty()) {
        j["repeats"] = nullptr;
    } else {
        OrderedJson runs = OrderedJson::array();
        for (const RunSummary& run : d.runs)
            runs.push_back({{"speed", Number(run.speed)},
                            {"power", Number(run.power)},
                            {"speedSpread", Number(Round(run.speedSpread, 2))},
                            {"powerSpread", Number(Round(run.powerSpread, 2))},
                            {"steady", run.steady}});
        j["repeats"] = {{"kept", d.keptRun}, {"runs", std::move(runs)}};
    }
    // Text that is not UTF-8 is written with U+FFFD in its place, never thrown at.
    return j.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool LooksLikeResultDocument(std::string_view bytes)
{
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF")
        bytes.remove_prefix(3);
    const std::size_t first = bytes.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || bytes[first] != '{')
        return false;
    // A results file whose first record starts with "{" (a maker named so)
    // stays a results file.
    std::string_view line = bytes.substr(first, bytes.find('\n', first) - first);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.size() > MaxRecordLength)
        return true;
    const wxString text = IsStrictUtf8(reinterpret_cast<const unsigned char*>(line.data()), line.size())
                              ? wxString::FromUTF8(line.data(), line.size())
                              : wxString::From8BitData(line.data(), line.size());
    return !RecordProblem(std::wstring_view(text.wc_str(), text.length())).empty();
}

const char* OtherDocumentEncoding(std::string_view bytes)
{
    // With a byte-order mark: decoded, its first line a document's start.
    DecodedText text;
    if (text.Decode(bytes.data(), std::min<std::size_t>(bytes.size(), 4096)) &&
        text.Encoding() != TextEncoding::Utf8 && text.Encoding() != TextEncoding::Utf8WithMark &&
        text.Encoding() != TextEncoding::Latin1) {
        for (std::size_t n = 0; n < text.Count(); ++n) {
            const std::wstring_view line = text.Line(n);
            const std::size_t first = line.find_first_not_of(L" \t");
            if (first == std::wstring_view::npos)
                continue;
            return line[first] == L'{' && !RecordProblem(line).empty() ? EncodingName(text.Encoding()) : nullptr;
        }
        return nullptr;
    }
    // Without one: "{" beside the zero bytes of its wider units.
    std::size_t at = 0;
    while (at < bytes.size() && (bytes[at] == '\0' || bytes[at] == ' ' || bytes[at] == '\t' || bytes[at] == '\r' ||
                                 bytes[at] == '\n'))
        ++at;
    if (at >= bytes.size() || bytes[at] != '{')
        return nullptr;
    const auto zeros = [&](std::size_t from, std::size_t count) {
        return from + count <= bytes.size() && bytes.substr(from, count).find_first_not_of('\0') == std::string_view::npos;
    };
    // Where "{" falls in its unit tells the order of the unit's bytes.
    if (at % 4 == 3 && zeros(at - 3, 3))
        return EncodingName(TextEncoding::Utf32Be);
    if (at % 4 == 0 && zeros(at + 1, 3))
        return EncodingName(TextEncoding::Utf32Le);
    if (at % 2 == 1 && zeros(at - 1, 1))
        return EncodingName(TextEncoding::Utf16Be);
    if (at % 2 == 0 && zeros(at + 1, 1))
        return EncodingName(TextEncoding::Utf16Le);
    return nullptr;
}

std::string ReadResultDocument(std::string_view bytes, ResultDocument& document)
{
    try {
        return Read(bytes, document);
    } catch (const std::bad_alloc&) {
        return "there is not enough memory to read it";
    } catch (...) {
        return "it could not be read";
    }
}

std::string CheckResultDocument(const ResultDocument& d)
{
    if (d.workCycle != WorkCycleIdentity)
        return "it measured other work (" + ShownText(d.workCycle) + "); its scores cannot be compared";
    const wxString record = wxString::FromUTF8(d.record.data(), d.record.size());
    const wxString why = RecordProblem(std::wstring_view(record.wc_str(), record.length()));
    if (!why.empty() || (record.empty() && !d.record.empty()))
        return "its record is not a results line (" + (why.empty() ? std::string("not UTF-8") : why.utf8_string()) +
               ")";
    const RecordView<char> fields = SplitRecord(std::string_view(d.record));
    const std::string_view speed = fields[FieldSpeedPoints], power = fields[FieldPowerPoints];
    std::string problem = CheckMachine(d, fields);
    if (!problem.empty())
        return problem;
    if (d.transcribed) {
        problem = CheckTranscribed(d.speed, "speed", speed);
        return problem.empty() ? CheckTranscribed(d.power, "power", power) : problem;
    }
    problem = CheckSamples(d.speed, "speed", speed);
    if (problem.empty())
        problem = CheckSamples(d.power, "power", power);
    if (problem.empty() && !d.runs.empty()) {
        // The run kept is the one whose evidence the document holds.
        const RunSummary& kept = d.runs[d.keptRun];
        if (kept.speed != d.speed.points || kept.power != d.power.points)
            return "its kept run " + std::to_string(d.keptRun + 1) + " gives " + NumberText(kept.speed) + " and " +
                   NumberText(kept.power) + " points, not its evidence's " + NumberText(d.speed.points) + " and " +
                   NumberText(d.power.points);
        if (kept.steady != (d.speed.verdict.steady && d.power.verdict.steady))
            return "its kept run " + std::to_string(d.keptRun + 1) + " is called " +
                   (kept.steady ? "steady" : "unsteady") + ", but its evidence says otherwise";
    }
    return problem;
}
