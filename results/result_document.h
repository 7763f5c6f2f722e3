// A result that travels with its evidence: one JSON document holding the
// record line, the machine it was measured on, and both tests' samples,
// conditions and verdicts. Documents from strangers are untrusted: reading
// one checks everything it holds and refuses it with a reason.
#pragma once

#include "bench/evidence.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The "format" member every document carries.
constexpr const char* ResultDocumentFormat = "tarnwick-result/1";

/// The largest document read: a run of thousands of threads fits many times.
constexpr std::size_t MaxResultDocumentBytes = 8u << 20;

/// The deepest nesting of arrays and objects a document may have.
constexpr int MaxResultDocumentDepth = 16;

struct ResultDocument {
    std::string version;    ///< the program's version that measured it
    std::string workCycle;  ///< WorkCycleIdentity of that program
    std::string date;       ///< ISO 8601, UTC ("2026-11-24T09:30:00Z")
    /// Copied from a text record made before documents existed: points and
    /// conditions as written there, no samples, no verdict.
    bool transcribed = false;
    std::string record;  ///< the results-table line, UTF-8, no line end

    struct Machine {
        std::string vendor;     ///< CPUID vendor ("AuthenticAMD")
        std::string brand;      ///< CPUID brand string
        std::string signature;  ///< CPUID signature, hexadecimal ("A10F11")
        std::string modelName;  ///< /proc/cpuinfo model name
        std::uint32_t logicalProcessors = 0;
        std::string kernel;
        std::string os;  ///< PRETTY_NAME of /etc/os-release
    } machine;

    /// The host that made it. Documents made before hosts were named have
    /// none: all three empty.
    struct Host {
        std::string name;         ///< the name it was given (record --host), else the machine's own
        std::string machineName;  ///< the machine's own host name
        std::string machineId;    ///< MachineIdentity: 32 hexadecimal digits; empty when the machine has none
    } host;

    TestEvidence speed;
    TestEvidence power;
    HeatEvidence heat;  ///< measured only with record --heat

    /// Every run of a repeated record, in order (empty for a single run);
    /// the document's evidence is that of run `keptRun`.
    std::vector<RunSummary> runs;
    std::uint32_t keptRun = 0;
};

/// The longest host name a document holds, in bytes.
constexpr std::size_t MaxHostName = 255;

/// Why `name` cannot name a host (empty, longer than MaxHostName bytes, not
/// UTF-8, a character no text may hold, or ";", which would split the
/// record of a fleet's table), or an empty text.
std::string HostNameProblem(std::string_view name);

/// The JSON of one run's evidence, as --json prints it and documents hold
/// it: test, seconds, points, htt, threads (perSecond, after, points each),
/// summary, threadSpread, conditions, verdict. Points are exact (whole ones
/// as integers); derived values are rounded, and so are the conditions'
/// readings unless that would judge the run otherwise. A run not measured
/// (a transcribed one) has null summary, threadSpread and verdict.
nlohmann::ordered_json EvidenceToJson(const TestEvidence& evidence);
nlohmann::ordered_json ConditionsToJson(const RunConditions& conditions);
nlohmann::ordered_json VerdictToJson(const Verdict& verdict);
/// A heat test's evidence as documents hold it; null when none was run.
nlohmann::ordered_json HeatToJson(const HeatEvidence& heat);

/// The document as JSON text (indented, ending in a line end).
std::string WriteResultDocument(const ResultDocument& document);

/// Whether `bytes` is meant as a document rather than a results file: its
/// first character other than white space (after a UTF-8 byte-order mark)
/// is "{".
bool LooksLikeResultDocument(std::string_view bytes);

/// The encoding of `bytes` when they are a JSON text in UTF-16 or UTF-32
/// (as an editor may save a document), with or without a byte-order mark:
/// "UTF-16LE" and so on; null for anything else.
const char* OtherDocumentEncoding(std::string_view bytes);

/// Reads a document: an empty text when `bytes` is one (its "format"
/// ResultDocumentFormat, UTF-8, no member given twice in one object, every
/// member present and of its type, counts whole, numbers finite and in
/// range, text valid UTF-8 without the characters RefusedCharacterKind
/// names, the record a record), else why not, in plain words ("not
/// JSON: ...", "speed.threads[0].perSecond[3] is not a whole number from 0
/// to 10000000", ...), and `document` is left as it was. The summaries,
/// thread spreads and verdicts are worked out again from the samples and
/// conditions; a stored verdict that says otherwise is refused. Never
/// throws; nothing nested deeper than MaxResultDocumentDepth is built.
std::string ReadResultDocument(std::string_view bytes, ResultDocument& document);

/// Whether a document read can join this program's table: an empty text,
/// else why not ("its speed points 9100 are not what its samples give
/// (9000)", "it measured other work (tarnwick-cycle-0); its scores cannot be
/// compared"). Each thread's points must be what its samples give, each
/// test's points their sum, the record's points those made whole as
/// FormatPoints makes them (compared as numbers: "9012.0" is 9012); one
/// speed thread, and as many power threads as the power test ran. The record must
/// name the machine the document describes: the maker its vendor names (any
/// for another vendor), its brand as the model, its logical processors,
/// which both tests ran on. A transcribed document has no samples to check;
/// its points must be its record's.
std::string CheckResultDocument(const ResultDocument& document);
