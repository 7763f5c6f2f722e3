// Result documents: written, read back, checked against their samples, and
// refused with a reason when they are not what they claim.
#include "../support/document_builder.h"
#include "core/version.h"
#include "files/encoding.h"
#include "results/result_document.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {
using Json = nlohmann::ordered_json;

std::string Problem(const std::string& bytes)
{
    ResultDocument document;
    return ReadResultDocument(bytes, document);
}

// Read and checked: the first problem either finds.
std::string Refusal(const std::string& bytes)
{
    ResultDocument document;
    const std::string problem = ReadResultDocument(bytes, document);
    return problem.empty() ? CheckResultDocument(document) : problem;
}

std::vector<std::string> Keys(const Json& object)
{
    std::vector<std::string> keys;
    for (const auto& member : object.items())
        keys.push_back(member.key());
    return keys;
}

void ExpectSameConditions(const RunConditions& a, const RunConditions& b)
{
    EXPECT_EQ(a.wallSeconds, b.wallSeconds);
    EXPECT_EQ(a.otherPercent, b.otherPercent);
    EXPECT_EQ(a.stealPercent, b.stealPercent);
    EXPECT_EQ(a.throttleBefore, b.throttleBefore);
    EXPECT_EQ(a.throttleAfter, b.throttleAfter);
    EXPECT_EQ(a.onBattery, b.onBattery);
    EXPECT_EQ(a.highestCelsiusStart, b.highestCelsiusStart);
    EXPECT_EQ(a.highestCelsiusEnd, b.highestCelsiusEnd);
    EXPECT_EQ(a.lowestMhzStart, b.lowestMhzStart);
    EXPECT_EQ(a.lowestMhzEnd, b.lowestMhzEnd);
    EXPECT_EQ(a.governors, b.governors);
    EXPECT_EQ(a.threadsPerCore, b.threadsPerCore);
    EXPECT_EQ(a.logicalProcessors, b.logicalProcessors);
    EXPECT_EQ(a.threads, b.threads);
}

void ExpectSameEvidence(const TestEvidence& a, const TestEvidence& b)
{
    EXPECT_EQ(a.measured, b.measured);
    EXPECT_EQ(a.test, b.test);
    EXPECT_EQ(a.millis, b.millis);
    ASSERT_EQ(a.threads.size(), b.threads.size());
    for (std::size_t k = 0; k < a.threads.size(); ++k) {
        EXPECT_EQ(a.threads[k].perSecond, b.threads[k].perSecond) << k;
        EXPECT_EQ(a.threads[k].after, b.threads[k].after) << k;
    }
    EXPECT_EQ(a.threadPoints, b.threadPoints);
    EXPECT_EQ(a.points, b.points);
    EXPECT_EQ(a.htt, b.htt);
    EXPECT_EQ(a.summary.seconds, b.summary.seconds);
    EXPECT_EQ(a.summary.mean, b.summary.mean);
    EXPECT_EQ(a.summary.slowest, b.summary.slowest);
    EXPECT_EQ(a.summary.fastest, b.summary.fastest);
    EXPECT_EQ(a.summary.spread, b.summary.spread);
    EXPECT_EQ(a.threadSpread, b.threadSpread);
    ExpectSameConditions(a.conditions, b.conditions);
    EXPECT_EQ(a.verdict.steady, b.verdict.steady);
    EXPECT_EQ(a.verdict.reasons, b.verdict.reasons);
    EXPECT_EQ(a.verdict.notes, b.verdict.notes);
    EXPECT_EQ(a.verdict.MayBeLow(), b.verdict.MayBeLow());
}

void ExpectSameDocument(const ResultDocument& a, const ResultDocument& b)
{
    EXPECT_EQ(a.version, b.version);
    EXPECT_EQ(a.workCycle, b.workCycle);
    EXPECT_EQ(a.date, b.date);
    EXPECT_EQ(a.transcribed, b.transcribed);
    EXPECT_EQ(a.record, b.record);
    EXPECT_EQ(a.machine.vendor, b.machine.vendor);
    EXPECT_EQ(a.machine.brand, b.machine.brand);
    EXPECT_EQ(a.machine.signature, b.machine.signature);
    EXPECT_EQ(a.machine.modelName, b.machine.modelName);
    EXPECT_EQ(a.machine.logicalProcessors, b.machine.logicalProcessors);
    EXPECT_EQ(a.machine.kernel, b.machine.kernel);
    EXPECT_EQ(a.machine.os, b.machine.os);
    ExpectSameEvidence(a.speed, b.speed);
    ExpectSameEvidence(a.power, b.power);
}
}  // namespace

TEST(ResultDocument, AWrittenDocumentReadsBackWithEveryMember)
{
    ResultDocument written = Document();
    written.power.htt = true;
    written.power.conditions.onBattery = true;  // unsteady, and said so
    written.power.conditions.throttleBefore.reset();
    written.power.conditions.lowestMhzEnd.reset();
    CompleteEvidence(written.power);
    ASSERT_FALSE(written.power.verdict.steady);
    const std::string text = WriteResultDocument(written);

    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(text, read), "");
    EXPECT_EQ(CheckResultDocument(read), "");
    ExpectSameDocument(read, written);
    EXPECT_EQ(read.speed.points, 9012);  // 9,012 blocks in ten seconds
    EXPECT_EQ(WriteResultDocument(read), text);
}

TEST(ResultDocument, TheTextHoldsItsMembersInOrderIndentedByTwo)
{
    const std::string text = WriteResultDocument(Document());
    EXPECT_EQ(text.substr(0, 60), "{\n  \"format\": \"tarnwick-result/1\",\n  \"program\": \"Tarnwick\",\n");
    EXPECT_EQ(text.back(), '\n');
    const Json j = Json::parse(text);
    EXPECT_EQ(Keys(j), (std::vector<std::string>{"format", "program", "version", "workCycle", "date", "transcribed",
                                                 "record", "machine", "host", "speed", "power", "heat",
                                                 "repeats"}));
    EXPECT_EQ(Keys(j["machine"]), (std::vector<std::string>{"vendor", "brand", "signature", "modelName",
                                                            "logicalProcessors", "kernel", "os"}));
    const Json& speed = j["speed"];
    EXPECT_EQ(Keys(speed), (std::vector<std::string>{"test", "seconds", "points", "htt", "threads", "summary",
                                                     "threadSpread", "conditions", "verdict"}));
    EXPECT_EQ(Keys(speed["threads"][0]), (std::vector<std::string>{"perSecond", "after", "points"}));
    EXPECT_EQ(Keys(speed["summary"]), (std::vector<std::string>{"seconds", "mean", "slowest", "fastest", "spread"}));
    EXPECT_EQ(Keys(speed["conditions"]),
              (std::vector<std::string>{"wallSeconds", "otherPercent", "stealPercent", "throttleBefore",
                                        "throttleAfter", "onBattery", "highestCelsius", "lowestMhz", "governors",
                                        "threadsPerCore", "logicalProcessors", "threads", "affinity", "cpuLimit",
                                        "groupThrottles", "groupThrottledMicros"}));
    EXPECT_EQ(Keys(speed["conditions"]["highestCelsius"]), (std::vector<std::string>{"start", "end"}));
    EXPECT_EQ(Keys(speed["verdict"]), (std::vector<std::string>{"steady", "reasons", "notes"}));

    EXPECT_EQ(j["version"], TARNWICK_VERSION);
    EXPECT_EQ(j["workCycle"], "tarnwick-cycle-1");
    EXPECT_EQ(j["transcribed"], false);
    EXPECT_EQ(speed["seconds"].dump(), "10");
    EXPECT_EQ(speed["points"].dump(), "9012");
    EXPECT_EQ(speed["threads"][0]["perSecond"].dump(), "[900,901,902,900,901,902,900,901,902,900]");
    EXPECT_EQ(speed["threads"][0]["after"].dump(), "3");
    EXPECT_EQ(speed["summary"]["seconds"].dump(), "10");
    EXPECT_EQ(speed["summary"]["slowest"].dump(), "9000");
    EXPECT_EQ(speed["summary"]["fastest"].dump(), "9020");
    EXPECT_EQ(speed["summary"]["mean"].dump(), "9009");
    EXPECT_EQ(speed["summary"]["spread"].dump(), "0.09");  // 0.0906...
    EXPECT_EQ(speed["conditions"]["wallSeconds"].dump(), "10.012");
    EXPECT_EQ(speed["conditions"]["otherPercent"].dump(), "1.25");
    EXPECT_EQ(speed["conditions"]["throttleAfter"].dump(), "7");
    EXPECT_EQ(speed["conditions"]["governors"].dump(), "[\"performance\",\"performance\"]");
    EXPECT_EQ(speed["verdict"].dump(), "{\"steady\":true,\"reasons\":[],\"notes\":[]}");
    EXPECT_EQ(j["power"]["conditions"]["threads"].dump(), "4");
}

TEST(ResultDocument, PointsThatAreNotWholeAreWrittenExactly)
{
    // Three seconds: 10 x 2,704 / 3 points, which no decimal text holds.
    ResultDocument d = Document();
    d.speed = Evidence("speed", 3000, {Samples(3, 900, 1)});
    d.record = DocumentRecord(d.machine.brand, FormatPoints(d.speed.points), FormatPoints(d.power.points));
    const std::string text = WriteResultDocument(d);
    const Json j = Json::parse(text);
    EXPECT_EQ(j["speed"]["points"].dump(), "9013.333333333334");
    EXPECT_EQ(j["speed"]["threads"][0]["points"].dump(), "9013.333333333334");
    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(text, read), "");
    EXPECT_EQ(read.speed.points, d.speed.points);
    EXPECT_EQ(CheckResultDocument(read), "");
    EXPECT_NE(read.record.find(";9013;"), std::string::npos);
}

TEST(ResultDocument, RoundingNeverChangesTheVerdictReadBack)
{
    // Around the threshold, a value rounded to two decimals may be judged
    // otherwise than the value measured: then it is written exactly.
    ResultDocument d = Document();
    int exact = 0;
    for (int step = -2000; step <= 2000; ++step) {
        const double percent = SteadyOtherPercent + step * 0.0000731;
        d.speed.conditions.otherPercent = percent;
        d.speed.conditions.stealPercent = percent;
        CompleteEvidence(d.speed);
        const std::string text = WriteResultDocument(d);
        ResultDocument read;
        ASSERT_EQ(ReadResultDocument(text, read), "") << percent;
        EXPECT_EQ(read.speed.verdict.steady, d.speed.verdict.steady) << percent;
        EXPECT_EQ(read.speed.verdict.reasons, d.speed.verdict.reasons) << percent;
        exact += read.speed.conditions.otherPercent == percent ? 1 : 0;
    }
    EXPECT_GT(exact, 0);

    // Far from any threshold, the percentages are rounded.
    d.speed.conditions.otherPercent = 3.14159;
    d.speed.conditions.stealPercent = 0.125;
    CompleteEvidence(d.speed);
    const Json rounded = Json::parse(WriteResultDocument(d));
    EXPECT_EQ(rounded["speed"]["conditions"]["otherPercent"].dump(), "3.14");
    EXPECT_EQ(rounded["speed"]["conditions"]["stealPercent"].dump(), "0.13");
    EXPECT_EQ(ConditionsToJson(d.speed.conditions)["otherPercent"].dump(), "3.14");
}

TEST(ResultDocument, ATranscribedDocumentRoundTripsWithoutSamples)
{
    const ResultDocument written = TranscribedDocument();
    const std::string text = WriteResultDocument(written);
    const Json j = Json::parse(text);
    EXPECT_EQ(j["transcribed"], true);
    EXPECT_EQ(j["power"]["threads"].dump(), "[]");
    EXPECT_TRUE(j["power"]["seconds"].is_null());
    EXPECT_TRUE(j["power"]["summary"].is_null());
    EXPECT_TRUE(j["power"]["verdict"].is_null());
    EXPECT_EQ(j["power"]["points"].dump(), "35000");
    EXPECT_EQ(j["power"]["conditions"]["threads"].dump(), "8");

    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(text, read), "");
    EXPECT_EQ(CheckResultDocument(read), "");
    EXPECT_TRUE(read.transcribed);
    EXPECT_FALSE(read.power.measured);
    EXPECT_EQ(read.power.conditions.threads, 8u);
    EXPECT_EQ(read.power.points, 35000);
    EXPECT_EQ(WriteResultDocument(read), text);

    // Only the threads are needed: every other condition may be null.
    const std::string sparse = EditedText(written, [](Json& d) {
        for (const char* test : {"speed", "power"})
            for (auto& member : d[test]["conditions"].items())
                if (member.key() != "threads")
                    member.value() = nullptr;
    });
    ResultDocument fromSparse;
    ASSERT_EQ(ReadResultDocument(sparse, fromSparse), "");
    EXPECT_EQ(CheckResultDocument(fromSparse), "");
    EXPECT_EQ(fromSparse.power.conditions.threads, 8u);
    EXPECT_TRUE(fromSparse.power.conditions.governors.empty());
}

TEST(ResultDocument, ATranscribedDocumentsPointsMustBeItsRecords)
{
    ResultDocument d = TranscribedDocument();
    d.record = DocumentRecord("Old model", "9100", "35000");
    EXPECT_EQ(Refusal(WriteResultDocument(d)), "its speed points 9100 are not its evidence's (9000)");
    d = TranscribedDocument();
    d.power.threads.push_back(Samples(10, 100));
    d.power.threadPoints.push_back(1003);
    EXPECT_EQ(Refusal(WriteResultDocument(d)), "it is transcribed but its power test carries samples");
    d = TranscribedDocument();
    d.power.conditions.threads = 0;
    EXPECT_EQ(Refusal(WriteResultDocument(d)), "its power test ran no threads");
}

TEST(ResultDocument, EveryEditOfItsSamplesOrPointsIsFound)
{
    const ResultDocument d = Document();
    const auto refusal = [&](const std::function<void(Json&)>& edit) { return Refusal(EditedText(d, edit)); };
    EXPECT_EQ(refusal([](Json&) {}), "");
    EXPECT_EQ(refusal([](Json& j) { j["record"] = DocumentRecord("Ryzen 7 5800X", "9100", "35302"); }),
              "its speed points 9100 are not what its samples give (9012)");
    EXPECT_EQ(refusal([](Json& j) { j["speed"]["threads"][0]["perSecond"][3] = 910; }),
              "speed.threads[0].points 9012 are not what its samples give (9022)");
    EXPECT_EQ(refusal([](Json& j) { j["speed"]["threads"][0]["after"] = 4; }),
              "speed.threads[0].points 9012 are not what its samples give (9013)");
    EXPECT_EQ(refusal([](Json& j) { j["power"]["threads"][1]["points"] = 8830; }),
              "power.threads[1].points 8830 are not what its samples give (8820)");
    EXPECT_EQ(refusal([](Json& j) { j["power"]["threads"][1]["points"] = 8820.25; }),
              "power.threads[1].points 8820.25 are not what its samples give (8820)");
    EXPECT_EQ(refusal([](Json& j) { j["speed"]["points"] = 9100; }),
              "speed.points 9100 are not what its samples give (9012)");
    // Samples and points edited alike: the record still says what was measured.
    EXPECT_EQ(refusal([](Json& j) {
                  j["speed"]["threads"][0]["after"] = 13;
                  j["speed"]["threads"][0]["points"] = 9022;
                  j["speed"]["points"] = 9022;
              }),
              "its speed points 9012 are not what its samples give (9022)");
    EXPECT_EQ(refusal([](Json& j) { j["workCycle"] = "tarnwick-cycle-0"; }),
              "it measured other work (tarnwick-cycle-0); its scores cannot be compared");
    EXPECT_EQ(refusal([](Json& j) { j["speed"]["seconds"] = 9; }), "speed.threads[0] has 10 one-second samples, not 9");
    EXPECT_EQ(refusal([](Json& j) { j["power"]["threads"].erase(3); }),
              "its power test carries samples of 3 threads but ran 4");
    EXPECT_EQ(refusal([](Json& j) {
                  j["speed"]["threads"].push_back(j["speed"]["threads"][0]);
                  j["speed"]["conditions"]["threads"] = 2;
              }),
              "its speed test ran 2 threads, not one");
    EXPECT_EQ(refusal([](Json& j) {
                  j["power"]["threads"] = Json::array();
                  j["power"]["conditions"]["threads"] = 0;
                  j["power"]["verdict"]["steady"] = false;  // no samples are too few to judge
              }),
              "its power test carries no samples");
    EXPECT_EQ(refusal([](Json& j) { j["speed"]["verdict"]["steady"] = false; }),
              "its speed verdict says unsteady but its evidence says steady");
    EXPECT_EQ(refusal([](Json& j) { j["power"]["conditions"]["onBattery"] = true; }),
              "its power verdict says steady but its evidence says unsteady (running on battery)");
    EXPECT_EQ(refusal([](Json& j) { j["format"] = "tarnwick-result/2"; }),
              "it is a Tarnwick result document of another format (\"tarnwick-result/2\"), not tarnwick-result/1");
    EXPECT_EQ(refusal([](Json& j) { j["format"] = "csv"; }),
              "it is not a Tarnwick result document (its format is \"csv\")");

    // Each sample of each thread, one more block: always seen.
    const Json j = Json::parse(WriteResultDocument(d));
    for (const char* test : {"speed", "power"})
        for (std::size_t k = 0; k < j[test]["threads"].size(); ++k)
            for (std::size_t s = 0; s < 10; ++s) {
                Json edited = j;
                edited[test]["threads"][k]["perSecond"][s] = edited[test]["threads"][k]["perSecond"][s].get<int>() + 1;
                EXPECT_NE(Refusal(edited.dump()), "") << test << " " << k << " " << s;
            }
}

TEST(ResultDocument, TheRecordsPointsAreComparedAsNumbers)
{
    const ResultDocument d = Document();
    ASSERT_EQ(FormatPoints(d.speed.points), "9012");
    const auto refusal = [&](const std::string& speed) {
        return Refusal(EditedText(d, [&](Json& j) {
            j["record"] = DocumentRecord("Ryzen 7 5800X", speed, FormatPoints(d.power.points));
        }));
    };
    for (const char* same : {"9012", "9012.0", "+9012", "9.012e3", "09012"})
        EXPECT_EQ(refusal(same), "") << same;
    EXPECT_EQ(refusal("9012.5"), "its speed points 9012.5 are not what its samples give (9012)");
    EXPECT_EQ(refusal("9013"), "its speed points 9013 are not what its samples give (9012)");
    EXPECT_EQ(refusal("1e308"), "its speed points 1e308 are not what its samples give (9012)");
    EXPECT_EQ(refusal(std::string(300, '9')),
              "its speed points " + std::string(24, '9') + "... are not what its samples give (9012)");

    ResultDocument t = TranscribedDocument(9000.4, 35000);
    t.record = DocumentRecord("Old model", "9000.0", "35000");
    EXPECT_EQ(Refusal(WriteResultDocument(t)), "");
    t.record = DocumentRecord("Old model", "9000.4", "35000");
    EXPECT_EQ(Refusal(WriteResultDocument(t)), "its speed points 9000.4 are not its evidence's (9000)");
}

TEST(ResultDocument, TheSummaryIsWorkedOutFromTheSamplesNotTakenFromTheText)
{
    const std::string text = EditedText(Document(), [](Json& j) {
        j["speed"]["summary"]["spread"] = 25;
        j["speed"]["summary"]["mean"] = 1;
        j["speed"]["threadSpread"] = 99;
        j["speed"]["verdict"]["reasons"] = {"made up"};
    });
    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(text, read), "");
    EXPECT_EQ(read.speed.summary.mean, 9009);
    EXPECT_LT(read.speed.summary.spread, 0.1);
    EXPECT_EQ(read.speed.threadSpread, 0);
    EXPECT_TRUE(read.speed.verdict.reasons.empty());
}

TEST(ResultDocument, BadInputIsRefusedWithAReason)
{
    const ResultDocument d = Document();
    const std::string good = WriteResultDocument(d);
    const auto edited = [&](const std::function<void(Json&)>& edit) { return Problem(EditedText(d, edit)); };

    EXPECT_EQ(Problem(""), "not JSON: unexpected end of input at byte 1");
    const std::size_t cut = good.rfind(",\n", 1234) + 1;  // after a member, outside any text
    EXPECT_EQ(Problem(good.substr(0, cut)), "not JSON: unexpected end of input at byte " + std::to_string(cut + 1));
    EXPECT_EQ(Problem("{\"format\": NaN}"), "not JSON: invalid literal at byte 12");
    EXPECT_EQ(Problem("{\"format\": Infinity}"), "not JSON: invalid literal at byte 12");
    EXPECT_EQ(Problem("{} {}"), "not JSON: unexpected '{' at byte 4");
    EXPECT_EQ(Problem("{}"), "it is not a Tarnwick result document (it has no \"format\")");
    EXPECT_EQ(Problem("[]"), "it is not a Tarnwick result document (it is a JSON array, not an object)");
    EXPECT_EQ(Problem("{\"format\": 1}"), "it is not a Tarnwick result document (its \"format\" is not a text)");
    EXPECT_EQ(Problem("{\"format\": \"tarnwick-result/1\"}"), "the member \"program\" is missing");
    EXPECT_EQ(Problem(std::string(MaxResultDocumentBytes + 1, ' ')), "it is too large: 8388609 bytes, at most 8388608");

    std::string deep = "{\"format\": \"tarnwick-result/1\", \"x\": ";
    deep += std::string(10000, '[') + std::string(10000, ']') + "}";
    EXPECT_EQ(Problem(deep), "it nests arrays and objects deeper than 16 levels");
    std::string deepObjects;
    for (int k = 0; k < 10000; ++k)
        deepObjects += "{\"a\":";
    EXPECT_EQ(Problem(deepObjects), "it nests arrays and objects deeper than 16 levels");
    EXPECT_EQ(Problem(std::string(15, '[') + std::string(15, ']')),
              "it is not a Tarnwick result document (it is a JSON array, not an object)");

    std::string latin1 = good;
    const std::size_t at = latin1.find("Debian");
    latin1.replace(at, 1, "\xC9");
    EXPECT_EQ(Problem(latin1), "not valid UTF-8 (at byte " + std::to_string(at + 2) + ")");  // where it was seen
    EXPECT_EQ(Problem("{\"format\": \"\xED\xA0\x80\"}"), "not valid UTF-8 (at byte 14)");  // a surrogate

    EXPECT_EQ(edited([](Json& j) { j.erase("power"); }), "the member \"power\" is missing");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["conditions"].erase("threads"); }),
              "the member \"speed.conditions.threads\" is missing");
    EXPECT_EQ(edited([](Json& j) { j["machine"] = Json::array(); }), "machine is not an object");
    EXPECT_EQ(edited([](Json& j) { j["transcribed"] = "no"; }), "transcribed is not true or false");
    EXPECT_EQ(edited([](Json& j) { j["version"] = 15; }), "version is not a text");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["points"] = "9012"; }),
              "speed.points is not a number from 0 to 1000000000000000");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["points"] = -1; }),
              "speed.points is not a number from 0 to 1000000000000000");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["points"] = 1e300; }),
              "speed.points is not a number from 0 to 1000000000000000");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["threads"] = Json::object(); }), "speed.threads is not an array");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["threads"][0] = 5; }), "speed.threads[0] is not an object");
    for (const Json& bad : {Json(-1), Json(10000001), Json(2.5), Json(1e3), Json(nullptr), Json("900")})
        EXPECT_EQ(edited([&](Json& j) { j["speed"]["threads"][0]["perSecond"][3] = bad; }),
                  "speed.threads[0].perSecond[3] is not a whole number from 0 to 10000000")
            << bad.dump();
    EXPECT_EQ(edited([](Json& j) { j["speed"]["seconds"] = 4294967296u; }),
              "speed.seconds is not a whole number from 1 to 2147483");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["seconds"] = 0; }),
              "speed.seconds is not a whole number from 1 to 2147483");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["seconds"] = nullptr; }),
              "speed.seconds is not a whole number from 1 to 2147483");
    EXPECT_EQ(edited([](Json& j) { j["machine"]["logicalProcessors"] = -16; }),
              "machine.logicalProcessors is not a whole number from 0 to 4294967295");
    EXPECT_EQ(edited([](Json& j) { j["power"]["conditions"]["threads"] = 100001; }),
              "power.conditions.threads is not a whole number from 0 to 100000");
    EXPECT_EQ(edited([](Json& j) { j["power"]["conditions"]["highestCelsius"]["end"] = "hot"; }),
              "power.conditions.highestCelsius.end is not a number from -1000000000 to 1000000000");
    EXPECT_EQ(edited([](Json& j) { j["power"]["conditions"]["governors"][1] = 7; }),
              "power.conditions.governors[1] is not a text");
    EXPECT_EQ(edited([](Json& j) { j["power"]["verdict"]["reasons"] = "none"; }),
              "power.verdict.reasons is not an array");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["summary"] = nullptr; }), "speed.summary is not an object");
    EXPECT_EQ(edited([](Json& j) { j["speed"]["test"] = "power"; }), "speed.test is \"power\", not \"speed\"");
    EXPECT_EQ(edited([](Json& j) { j["machine"]["brand"] = "AMD\x07"; }),
              "machine.brand holds a control character (U+0007)");
    EXPECT_EQ(edited([](Json& j) { j["machine"]["os"] = std::string(300, 'x'); }),
              "machine.os is longer than 256 bytes");
    EXPECT_EQ(edited([](Json& j) { j["machine"]["signature"] = "A20G10"; }),
              "machine.signature \"A20G10\" is not hexadecimal");
    EXPECT_EQ(edited([](Json& j) { j["date"] = "yesterday"; }),
              "date \"yesterday\" is not a time such as 2026-11-24T09:30:00Z");
    EXPECT_EQ(edited([](Json& j) { j["date"] = "2026-13-24T09:30:00Z"; }),
              "date \"2026-13-24T09:30:00Z\" is not a time such as 2026-11-24T09:30:00Z");
    EXPECT_EQ(edited([](Json& j) { j["record"] = "not a record"; }), "record is not a results line (1 field, not 12)");
    EXPECT_EQ(edited([](Json& j) { j["record"] = DocumentRecord("A\nB", "9012", "35302"); }),
              "record is not a results line (holds a control character (U+000A))");
    EXPECT_EQ(edited([](Json& j) { j["record"] = DocumentRecord(std::string(5000, 'm'), "9012", "35302"); }),
              "record is not a results line (longer than 4096 characters)");
    EXPECT_EQ(edited([](Json& j) { j["record"] = DocumentRecord(std::string(20000, 'm'), "9012", "35302"); }),
              "record is longer than 4096 characters");
    EXPECT_EQ(edited([](Json& j) {
                  j["power"]["threads"] = Json::array();
                  for (int k = 0; k < 100001; ++k)
                      j["power"]["threads"].push_back(Json::object());
              }),
              "power.threads holds more than 100000 entries");
}

TEST(ResultDocument, ARecordRelabelledToAnotherMachineIsRefused)
{
    const ResultDocument d = Document();
    const auto refusal = [&](const std::function<void(Json&)>& edit) { return Refusal(EditedText(d, edit)); };
    // The record's maker, model and processors against the machine's.
    EXPECT_EQ(refusal([](Json& j) {
                  j["record"] = "Intel;Ryzen 7 5800X;3800;4700;1;8;16;Linux;6.1;9012;35302;yes";
              }),
              "its record names the maker \"Intel\", but its machine's vendor \"AuthenticAMD\" is AMD");
    EXPECT_EQ(refusal([](Json& j) {
                  j["record"] = "AMD;EPYC 9654;3800;4700;1;8;16;Linux;6.1;9012;35302;yes";
              }),
              "its record names the model \"EPYC 9654\", but its machine's processor is \"Ryzen 7 5800X\"");
    EXPECT_EQ(refusal([](Json& j) {
                  j["record"] = "AMD;Ryzen 7 5800X;3800;4700;1;8;192;Linux;6.1;9012;35302;yes";
              }),
              "its record gives \"192\" logical processors, but its machine had 16");
    // Relabelled whole: the machine too, but not the runs.
    EXPECT_EQ(refusal([](Json& j) {
                  j["record"] = "AMD;EPYC 9654;3800;4700;1;8;192;Linux;6.1;9012;35302;yes";
                  j["machine"]["brand"] = "EPYC 9654";
                  j["machine"]["logicalProcessors"] = 192;
              }),
              "its speed test ran on 16 logical processors, but its machine had 192");
    // What the kernel could not tell may be completed: frequencies, cores,
    // the system's version.
    EXPECT_EQ(refusal([](Json& j) {
                  j["record"] = "AMD;Ryzen 7 5800X;3801;4701;2;16;16;Linux;Debian 12;9012;35302;no";
              }),
              "");
    // A vendor without a short name leaves the maker to whoever completes it.
    EXPECT_EQ(refusal([](Json& j) {
                  j["machine"]["vendor"] = "HygonGenuine";
                  j["record"] = "Hygon;Ryzen 7 5800X;3800;4700;1;8;16;Linux;6.1;9012;35302;yes";
              }),
              "");
}

TEST(ResultDocument, UnknownConditionsAndOneSecondRunsCannotClaimSteady)
{
    const ResultDocument d = Document();
    const auto refusal = [&](const std::function<void(Json&)>& edit) { return Refusal(EditedText(d, edit)); };
    EXPECT_EQ(refusal([](Json& j) {
                  j["power"]["conditions"]["otherPercent"] = nullptr;
                  j["power"]["conditions"]["logicalProcessors"] = 0;
              }),
              "its power verdict says steady but its evidence says unsteady (conditions could not be read (other "
              "programs' share, logical processors))");
    // A run of one second: its one sample has no spread to judge.
    ResultDocument shortRun = Document();
    shortRun.speed = Evidence("speed", 1000, {Samples(1, 900)});
    shortRun.record = DocumentRecord(shortRun.machine.brand, FormatPoints(shortRun.speed.points),
                                     FormatPoints(shortRun.power.points));
    EXPECT_FALSE(shortRun.speed.verdict.steady);
    EXPECT_EQ(Refusal(WriteResultDocument(shortRun)), "");  // a document, but no steady one
    EXPECT_EQ(Refusal(EditedText(shortRun, [](Json& j) { j["speed"]["verdict"]["steady"] = true; })),
              "its speed verdict says steady but its evidence says unsteady (too short to judge: 1 one-second sample "
              "a thread, fewer than 3)");
}

TEST(ResultDocument, AMemberGivenTwiceAnywhereRefusesTheDocument)
{
    const std::string good = WriteResultDocument(Document());
    ASSERT_EQ(Refusal(good), "");
    const auto twice = [&good](const std::string& after, const std::string& member) {
        std::string text = good;
        const std::size_t at = text.find(after);
        return at == std::string::npos ? std::string("(not found)") : text.insert(at + after.size(), member);
    };
    // A reader of the file sees the first; the parser would keep the last.
    EXPECT_EQ(Problem(twice("{\n", "  \"record\": \"AMD;Fake;1;1;1;1;16;Linux;1;99999;99999;yes\",\n")),
              "the member \"record\" is given twice in one object");
    EXPECT_EQ(Problem(twice("{\n", "  \"format\": \"tarnwick-result/1\",\n")),
              "the member \"format\" is given twice in one object");
    EXPECT_EQ(Problem(twice("\"speed\": {\n", "    \"points\": 1,\n")),
              "the member \"points\" is given twice in one object");
    // Spelt otherwise, the same name.
    EXPECT_EQ(Problem(twice("{\n", "  \"rec\\u006frd\": \"x\",\n")), "the member \"record\" is given twice in one object");
    // The same name in two objects is two members.
    EXPECT_EQ(Problem(R"({"a": {"x": 1}, "b": {"x": 1}})"), "it is not a Tarnwick result document (it has no \"format\")");
    // A name is quoted with what no terminal should be given masked.
    EXPECT_EQ(Problem(R"({"\u009b31m": 1, "\u009b31m": 2})"), "the member \"?31m\" is given twice in one object");
}

TEST(ResultDocument, ControlSeparatorAndDirectionCharactersAreRefusedInEveryText)
{
    const ResultDocument d = Document();
    for (const auto& [character, kind] : std::vector<std::pair<std::string, std::string>>{
             {"\t", "a control character (U+0009)"},
             {"\xC2\x9B", "a control character (U+009B)"},
             {"\xC2\x85", "a control character (U+0085)"},
             {"\xE2\x80\xA8", "a line separator (U+2028)"},
             {"\xE2\x80\xA9", "a line separator (U+2029)"},
             {"\xE2\x80\xAE", "a bidirectional control character (U+202E)"},
             {"\xE2\x81\xA6", "a bidirectional control character (U+2066)"}}) {
        EXPECT_EQ(Problem(EditedText(d, [&](Json& j) { j["machine"]["os"] = "Debian" + character; })),
                  "machine.os holds " + kind);
        EXPECT_EQ(Problem(EditedText(d, [&](Json& j) {
                      j["record"] = "AMD;Ryzen" + character + ";3800;4700;1;8;16;Linux;6.1;9012;35302;yes";
                  })),
                  "record is not a results line (holds " + kind + ")");
    }
}

TEST(ResultDocument, ADocumentInUtf16OrUtf32IsOneRefusalNamingItsEncoding)
{
    const wxString text = wxString::FromUTF8(WriteResultDocument(Document()));
    for (const auto& [encoding, name] : std::vector<std::pair<TextEncoding, std::string>>{
             {TextEncoding::Utf16Le, "UTF-16LE"},
             {TextEncoding::Utf16Be, "UTF-16BE"},
             {TextEncoding::Utf32Le, "UTF-32LE"},
             {TextEncoding::Utf32Be, "UTF-32BE"}}) {
        std::string bytes;
        ASSERT_TRUE(EncodeText(text.ToStdWstring(), encoding, bytes));
        const std::string expected = "it is a JSON text in " + name + ", and result documents are UTF-8";
        EXPECT_EQ(Problem(bytes), expected) << name;                                              // no mark
        EXPECT_EQ(Problem(std::string(ByteOrderMark(encoding)) + bytes), expected) << name;  // with one
        EXPECT_EQ(OtherDocumentEncoding(std::string(ByteOrderMark(encoding)) + bytes), name) << name;
    }
    EXPECT_EQ(OtherDocumentEncoding(text.utf8_string()), nullptr);
    // A results file in UTF-16 is a results file.
    std::string table = std::string(ByteOrderMark(TextEncoding::Utf16Le));
    ASSERT_TRUE(EncodeText(L"{AMD};Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes\n", TextEncoding::Utf16Le, table));
    EXPECT_EQ(OtherDocumentEncoding(table), nullptr);
}

TEST(ResultDocument, AFailedReadLeavesTheDocumentAsItWas)
{
    ResultDocument document = Document("Kept");
    EXPECT_NE(ReadResultDocument("{\"format\": \"tarnwick-result/1\"}", document), "");
    EXPECT_EQ(document.record, Document("Kept").record);
}

TEST(ResultDocument, TextThatIsNotUtf8IsWrittenWithoutThrowing)
{
    ResultDocument d = Document();
    d.machine.brand = "Pentium\xAE";
    d.power.conditions.governors = {"\xFF"};
    std::string text;
    ASSERT_NO_THROW(text = WriteResultDocument(d));
    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(text, read), "");
    EXPECT_EQ(read.machine.brand, "Pentium\xEF\xBF\xBD");
}

TEST(ResultDocument, OnlyTextStartingWithABraceLooksLikeADocument)
{
    EXPECT_TRUE(LooksLikeResultDocument("{"));
    EXPECT_TRUE(LooksLikeResultDocument(" \t\r\n{\"format\""));
    EXPECT_TRUE(LooksLikeResultDocument("\xEF\xBB\xBF\n{"));
    EXPECT_FALSE(LooksLikeResultDocument(""));
    EXPECT_FALSE(LooksLikeResultDocument("   "));
    EXPECT_FALSE(LooksLikeResultDocument("[{}]"));
    EXPECT_FALSE(LooksLikeResultDocument("AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes\n"));
    // A results file whose first record starts with a brace stays one.
    EXPECT_FALSE(LooksLikeResultDocument("{AMD};Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes\r\nmore\n"));
    EXPECT_FALSE(LooksLikeResultDocument("{Caf\xE9};Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes"));
    EXPECT_TRUE(LooksLikeResultDocument("{AMD};Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;maybe\n"));
    EXPECT_FALSE(LooksLikeResultDocument("\xEF\xBB\xBF\xEF\xBB\xBF{"));
}

namespace {
TEST(DocumentBadInput, ANumberBeyondADoubleIsRefusedWithAReason)
{
    ResultDocument document;
    const std::string problem = ReadResultDocument(R"({"format": "tarnwick-result/1", "x": 1e999})", document);
    EXPECT_EQ(problem, "not JSON this program can read: a number is too large for it");
}
}  // namespace
