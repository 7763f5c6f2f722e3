// Many machines' result documents compared: grouped by processor, each host
// against the other hosts of its processor, and every host that is off
// named with why.
#pragma once

#include "results/result_document.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

/// A document to compare: how messages name it, and its bytes.
struct FleetSource {
    std::string name;
    std::string bytes;
};

/// Why a host stands out.
enum class FleetFlag { Slow, Fast, Unsteady, Limited, Throttled, OnBattery, NotStable, NotSustained };

/// "slow", "fast", "unsteady", "limited", "throttled", "on battery", "not
/// stable under load", "not sustained".
const char* FleetFlagName(FleetFlag flag);

/// More modified Z-scores than this from the median of the other hosts, and
/// more than FleetOffPercent from it, is slow or fast.
constexpr double FleetOffZ = 3.5;
constexpr double FleetOffPercent = 5.0;
/// Fewer other hosts of a processor than this cannot tell a host off.
constexpr std::size_t FleetLeastPeers = 3;

struct FleetReason {
    FleetFlag flag;
    std::string text;
};

/// One host: what its document says, and what is wrong with it.
struct FleetHost {
    std::string file;  ///< the document's name
    std::string host;  ///< its host name, else the document's name
    std::string machineId;
    std::string vendor, brand, signature;
    std::uint32_t logicalProcessors = 0;
    std::string record;  ///< the document's record line
    double speed = 0.0;  ///< points
    double power = 0.0;
    bool steady = false;  ///< both runs measured and steady
    bool heat = false;    ///< a heat test was run
    std::vector<FleetReason> reasons;

    bool Flagged() const { return !reasons.empty(); }
    /// Each flag once, in the order of the reasons.
    std::vector<FleetFlag> Flags() const;
};

/// The median, spread (coefficient of variation, per cent), lowest and
/// highest of one score over a group's hosts, with the hosts that gave the
/// lowest and the highest.
struct FleetStatistics {
    double median = 0.0, spread = 0.0, lowest = 0.0, highest = 0.0;
    std::size_t lowestHost = 0, highestHost = 0;  ///< indexes into FleetOutcome::hosts
};

/// The hosts of one processor: vendor, brand, signature and logical
/// processors alike.
struct FleetGroup {
    std::string vendor, brand, signature;
    std::uint32_t logicalProcessors = 0;
    std::vector<std::size_t> hosts;  ///< indexes into FleetOutcome::hosts, by host name
    FleetStatistics speed, power;
    bool sharedBrand = false;  ///< another group has the same brand: only the signature tells them apart
};

struct FleetRefusal {
    std::string file;
    std::string reason;
};

struct FleetOutcome {
    std::vector<FleetHost> hosts;  ///< in the order given
    std::vector<FleetGroup> groups;
    std::vector<FleetRefusal> refused;

    std::size_t FlaggedCount() const;
};

/// The comparison of documents given one at a time (so that their text
/// need not be held): Add each, then Finish.
class FleetComparison {
public:
    /// Reads and checks a document as merge does; refused with its reason,
    /// as is a second document of a host already given. The host it gives,
    /// valid until the next Add, or null when refused; `document`, when
    /// given, gets the document read.
    const FleetHost* Add(const std::string& name, std::string_view bytes, ResultDocument* document = nullptr);
    /// A document that could not be read at all.
    void Refuse(const std::string& name, const std::string& reason);
    /// Groups the hosts by processor and flags each with every reason that
    /// applies; the comparison starts anew.
    FleetOutcome Finish();

private:
    FleetOutcome m_outcome;
    /// host -> the document that named it first, and its machine identifier
    std::unordered_map<std::string, std::pair<std::string, std::string>> m_hostFiles;
};

/// Reads and checks every document as merge does (a refused one is named
/// with its reason, and so is a second document of a host already given),
/// groups the hosts by processor and flags each with every reason that
/// applies.
FleetOutcome CompareFleet(const std::vector<FleetSource>& sources);

/// The lines of a fleet's table: the record of each steady host, its model
/// followed by " [HOST]" so that each host has a line of its own.
std::vector<std::string> FleetRecords(const FleetOutcome& outcome);

/// One such line: `record` with " [HOST]" after its model (a ";" of the
/// host's name as ","); empty for a record of fewer than three fields.
std::string FleetRecordOf(const std::string& record, std::string host);
