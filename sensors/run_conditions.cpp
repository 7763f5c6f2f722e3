#include "sensors/run_conditions.h"

#include "sensors/kernel_files.h"
#include "sensors/sensors.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace {

// Longer files are cut here: /proc/cpuinfo of a thousand processors, or a
// device that never ends, must neither hang nor exhaust memory.
constexpr std::size_t TextLimit = 1u << 20;

/// A one-value file (a counter, a state, a governor), trimmed; nullopt
/// when absent, unreadable, empty or longer than a value can be.
std::optional<std::string> ReadValue(const std::string& path)
{
    std::array<char, 256> buffer;
    const ssize_t count = ReadSmallFile(path.c_str(), buffer);
    if (count <= 0)
        return std::nullopt;
    const std::string_view text = Trim(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
    if (text.empty())
        return std::nullopt;
    return OneLine(text);
}

/// A text file up to TextLimit; a longer one is cut after its last whole
/// line below the limit. nullopt when it cannot be read.
std::optional<std::string> ReadText(const std::string& path)
{
    bool cut = false;
    std::optional<std::string> text = ReadBoundedFile(path.c_str(), TextLimit, &cut);
    if (text && cut) {
        const std::size_t newline = text->rfind('\n');
        text->resize(newline == std::string::npos ? 0 : newline + 1);
    }
    return text;
}

/// The names in `dir` other than "." and "..", sorted.
std::vector<std::string> EntryNames(const std::string& dir)
{
    std::vector<std::string> names;
    DIR* stream = ::opendir(dir.c_str());
    if (stream == nullptr)
        return names;
    while (const dirent* entry = ::readdir(stream)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(stream);
    std::sort(names.begin(), names.end());
    return names;
}

bool IsDirectory(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// utime + stime, fields 14 and 15 of /proc/PID/stat. Field 2 is the
/// command name in parentheses, which may itself hold spaces and ')': the
/// fields are counted from the last ')'.
std::optional<std::uint64_t> ParseOwnTicks(std::string_view text)
{
    const std::size_t close = text.rfind(')');
    if (close == std::string_view::npos || text.find('(') > close)
        return std::nullopt;
    std::string_view rest = text.substr(close + 1);
    if (const std::size_t newline = rest.find('\n'); newline != std::string_view::npos)
        rest = rest.substr(0, newline);
    const std::vector<std::string_view> words = SplitWords(rest);
    // words[0] is field 3 (the state), so field N is words[N - 3].
    if (words.size() < 13)
        return std::nullopt;
    return AddCounts(ParseUnsigned(words[11]), ParseUnsigned(words[12]));
}

/// The sum of the cpuN/thermal_throttle/*_throttle_count: a core's counters
/// once for the core and a package's once for the package (every logical
/// processor of them shows the same ones); nullopt when none can be read.
std::optional<std::uint64_t> ReadThrottleCount(const std::string& root)
{
    const std::string cpus = UnderRoot(root, "sys/devices/system/cpu/");
    std::optional<std::uint64_t> total;
    std::array<char, 32> buffer;
    std::set<std::string> packagesCounted, coresCounted;
    for (const auto& [number, cpu] : NumberedEntries(cpus, "cpu")) {
        const std::string dir = cpus + cpu + "/thermal_throttle/";
        const std::optional<std::string> package = ReadValue(cpus + cpu + "/topology/physical_package_id");
        const std::optional<std::string> core = ReadValue(cpus + cpu + "/topology/core_id");
        const bool packageCounted = package && packagesCounted.count(*package) != 0;
        // The logical processors of one core show the core's counter each.
        const std::optional<std::string> coreKey =
            package && core ? std::optional<std::string>(*package + ":" + *core) : std::nullopt;
        const bool coreCounted = coreKey && coresCounted.count(*coreKey) != 0;
        if (coreKey)
            coresCounted.insert(*coreKey);
        for (const std::string& name : EntryNames(dir)) {
            if (!std::string_view(name).ends_with("_throttle_count"))
                continue;
            if (std::string_view(name).starts_with("package_")) {
                if (packageCounted)
                    continue;
                if (package)
                    packagesCounted.insert(*package);
            } else if (coreCounted) {
                continue;
            }
            const ssize_t count = ReadSmallFile((dir + name).c_str(), buffer);
            if (count <= 0)
                continue;
            const std::optional<std::uint64_t> value =
                ParseUnsigned(Trim(std::string_view(buffer.data(), static_cast<std::size_t>(count))));
            if (!value)
                continue;
            std::uint64_t sum = 0;
            // Past the largest count: saturate rather than wrap.
            total = __builtin_add_overflow(total.value_or(0), *value, &sum) ? UINT64_MAX : sum;
        }
    }
    return total;
}

/// A battery of the machine that discharges, or mains adapters none of which
/// is online (a machine may have several: each USB-C port of some laptops is
/// one, offline while unused). Batteries of devices (a wireless mouse: scope
/// "Device") do not power the machine and are passed over.
bool ReadOnBattery(const std::string& root)
{
    const std::string supplies = UnderRoot(root, "sys/class/power_supply/");
    bool mains = false, mainsOnline = false;
    for (const std::string& name : EntryNames(supplies)) {
        const std::string dir = supplies + name + "/";
        const std::optional<std::string> type = ReadValue(dir + "type");
        if (!type)
            continue;
        if (*type == "Mains") {
            const std::optional<std::string> online = ReadValue(dir + "online");
            if (online) {
                mains = true;
                mainsOnline = mainsOnline || *online != "0";
            }
        } else if (*type == "Battery") {
            if (ReadValue(dir + "scope") == "Device")
                continue;
            if (ReadValue(dir + "status") == "Discharging")
                return true;
        }
    }
    return mains && !mainsOnline;
}

/// One value of os-release: shell-like quoting, in double quotes and bare
/// with backslash escapes, in single quotes without.
std::string UnquoteOsRelease(std::string_view value)
{
    std::string out;
    char quote = 0;
    for (std::size_t k = 0; k < value.size(); ++k) {
        const char c = value[k];
        if (quote == '\'') {
            if (c == '\'')
                quote = 0;
            else
                out.push_back(c);
        } else if (c == '\\' && k + 1 < value.size()) {
            out.push_back(value[++k]);
        } else if (quote == '"') {
            if (c == '"')
                quote = 0;
            else
                out.push_back(c);
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else {
            out.push_back(c);
        }
    }
    return OneLine(Trim(out));
}

std::map<std::string, std::string, std::less<>> ParseOsRelease(std::string_view text)
{
    std::map<std::string, std::string, std::less<>> values;
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::string_view line = Trim(text.substr(0, newline));
        text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
        if (line.empty() || line.front() == '#')
            continue;
        const std::size_t equals = line.find('=');
        if (equals == 0 || equals == std::string_view::npos)
            continue;
        const std::string_view key = line.substr(0, equals);
        const bool validKey = std::all_of(key.begin(), key.end(), [](char c) {
            return IsDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
        });
        if (validKey)
            values[std::string(key)] = UnquoteOsRelease(line.substr(equals + 1));
    }
    return values;
}

/// The "name value" lines of a cpu.stat file.
std::optional<std::uint64_t> StatValue(std::string_view text, std::string_view name)
{
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::vector<std::string_view> words = SplitWords(text.substr(0, newline));
        text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
        if (words.size() == 2 && words[0] == name)
            return ParseUnsigned(words[1]);
    }
    return std::nullopt;
}

/// A group's directory under its hierarchy's mount: the whole path, else
/// (a container that sees its own group at the mount but the host's path)
/// the longest tail of it that exists, else the mount itself. A path that
/// would leave the mount gives the mount.
std::string GroupDirectory(const std::string& mount, std::string_view path)
{
    for (std::string_view part = path; !part.empty();) {
        const std::size_t slash = part.find('/');
        const std::string_view name = part.substr(0, slash);
        if (name == "..")
            return mount;
        part = slash == std::string_view::npos ? std::string_view() : part.substr(slash + 1);
    }
    std::string_view rest = path;
    for (;;) {
        while (!rest.empty() && rest.front() == '/')
            rest.remove_prefix(1);
        if (rest.empty())
            return mount;
        const std::string dir = mount + "/" + std::string(rest);
        if (IsDirectory(dir))
            return dir;
        const std::size_t slash = rest.find('/');
        if (slash == std::string_view::npos)
            return mount;
        rest.remove_prefix(slash);
    }
}

/// One group's limit in processors and its throttle counters.
struct GroupReading {
    std::optional<double> limit;
    std::optional<std::uint64_t> throttles, throttledMicros;
};

GroupReading ReadGroup(const std::string& dir, bool v2)
{
    GroupReading reading;
    std::array<char, 256> buffer;
    const auto value = [&buffer](const std::string& path) -> std::optional<std::string_view> {
        const ssize_t count = ReadSmallFile(path.c_str(), buffer);
        if (count <= 0)
            return std::nullopt;
        return Trim(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
    };
    if (v2) {
        // "max 100000" or "150000 100000"
        if (const std::optional<std::string_view> max = value(dir + "/cpu.max")) {
            const std::vector<std::string_view> words = SplitWords(*max);
            const std::optional<std::uint64_t> quota = words.size() == 2 ? ParseUnsigned(words[0]) : std::nullopt;
            const std::optional<std::uint64_t> period = words.size() == 2 ? ParseUnsigned(words[1]) : std::nullopt;
            if (quota && period && *period > 0)
                reading.limit = static_cast<double>(*quota) / static_cast<double>(*period);
        }
    } else {
        // A quota of -1: no limit.
        const std::optional<std::string_view> quotaText = value(dir + "/cpu.cfs_quota_us");
        const std::optional<std::uint64_t> quota = quotaText ? ParseUnsigned(*quotaText) : std::nullopt;
        const std::optional<std::string_view> periodText = quota ? value(dir + "/cpu.cfs_period_us") : std::nullopt;
        const std::optional<std::uint64_t> period = periodText ? ParseUnsigned(*periodText) : std::nullopt;
        if (quota && period && *period > 0)
            reading.limit = static_cast<double>(*quota) / static_cast<double>(*period);
    }
    if (const std::optional<std::string> stat = ReadText(dir + "/cpu.stat")) {
        reading.throttles = StatValue(*stat, "nr_throttled");
        if (v2)
            reading.throttledMicros = StatValue(*stat, "throttled_usec");
        else if (const std::optional<std::uint64_t> nanos = StatValue(*stat, "throttled_time"))
            reading.throttledMicros = *nanos / 1000;
    }
    return reading;
}

/// The CPU limit of the process's group and the groups above it, and the
/// counters of the group that sets it.
void ReadGroupLimits(const std::string& root, ProcessLimits& limits)
{
    const std::optional<std::string> cgroups = ReadText(UnderRoot(root, "proc/self/cgroup"));
    if (!cgroups)
        return;
    // "0::/path" (v2) and "4:cpu,cpuacct:/path" (v1); the cpu controller of
    // v1 rules where it is mounted.
    std::string mount, path;
    bool v2 = false;
    std::string_view text = *cgroups;
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
        const std::size_t first = line.find(':');
        const std::size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
        if (second == std::string_view::npos)
            continue;
        const std::string_view controllers = line.substr(first + 1, second - first - 1);
        const std::string_view place = line.substr(second + 1);
        if (line.substr(0, first) == "0" && controllers.empty()) {
            if (mount.empty() || v2) {
                const std::string unified = UnderRoot(root, "sys/fs/cgroup");
                const bool own = ::access((unified + "/cgroup.controllers").c_str(), F_OK) == 0;
                mount = own ? unified : unified + "/unified";
                path = std::string(place);
                v2 = true;
            }
            continue;
        }
        bool cpu = false;
        for (std::string_view rest = controllers; !rest.empty();) {
            const std::size_t comma = rest.find(',');
            cpu = cpu || rest.substr(0, comma) == "cpu";
            rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        }
        if (!cpu || controllers.find('/') != std::string_view::npos)
            continue;
        for (const std::string& name : {std::string(controllers), std::string("cpu,cpuacct"), std::string("cpu")})
            if (IsDirectory(UnderRoot(root, "sys/fs/cgroup/" + name))) {
                mount = UnderRoot(root, "sys/fs/cgroup/" + name);
                path = std::string(place);
                v2 = false;
                break;
            }
    }
    if (mount.empty() || !IsDirectory(mount))
        return;
    const std::string own = GroupDirectory(mount, path);
    std::string limiting = own;
    for (std::string dir = own;;) {
        const GroupReading reading = ReadGroup(dir, v2);
        if (reading.limit && (!limits.cpuLimit || *reading.limit < *limits.cpuLimit)) {
            limits.cpuLimit = reading.limit;
            limiting = dir;
        }
        if (dir.size() <= mount.size())
            break;
        dir.resize(dir.rfind('/'));
    }
    const GroupReading counters = ReadGroup(limiting, v2);
    limits.groupPath = limiting;
    limits.groupThrottles = counters.throttles;
    limits.groupThrottledMicros = counters.throttledMicros;
}

}  // namespace

std::optional<std::vector<std::uint32_t>> ParseProcessorList(std::string_view text, std::size_t most)
{
    text = Trim(text);
    if (text.empty())
        return std::nullopt;
    constexpr std::uint64_t Largest = 1u << 22;  // far more processors than Linux numbers
    std::vector<std::uint32_t> numbers;
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        const std::string_view part = text.substr(0, comma);
        text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
        if (comma != std::string_view::npos && text.empty())
            return std::nullopt;
        const std::size_t dash = part.find('-');
        const std::optional<std::uint64_t> first = ParseUnsigned(part.substr(0, dash));
        const std::optional<std::uint64_t> last =
            dash == std::string_view::npos ? first : ParseUnsigned(part.substr(dash + 1));
        if (!first || !last || *first > *last || *last >= Largest)
            return std::nullopt;
        for (std::uint64_t k = *first; k <= *last && numbers.size() < most; ++k)
            numbers.push_back(static_cast<std::uint32_t>(k));
    }
    return numbers;
}

ProcessLimits ReadProcessLimits(const std::string& root)
{
    ProcessLimits limits;
    if (const std::optional<std::string> status = ReadText(UnderRoot(root, "proc/self/status"))) {
        std::optional<std::string_view> list = FirstKeyValue(*status, "Cpus_allowed_list");
        std::optional<std::vector<std::uint32_t>> allowed = list ? ParseProcessorList(*list) : std::nullopt;
        if (allowed) {
            // Of the allowed processors, those that are online.
            std::array<char, 4096> buffer;
            const ssize_t count = ReadSmallFile(UnderRoot(root, "sys/devices/system/cpu/online").c_str(), buffer);
            const std::optional<std::vector<std::uint32_t>> online =
                count > 0 ? ParseProcessorList(std::string_view(buffer.data(), static_cast<std::size_t>(count)))
                          : std::nullopt;
            std::uint32_t usable = 0;
            for (const std::uint32_t cpu : *allowed)
                usable += !online || std::binary_search(online->begin(), online->end(), cpu) ? 1 : 0;
            limits.affinity = usable;
            if (list->size() <= 256)
                limits.affinityList = std::string(*list);
        }
    }
    ReadGroupLimits(root, limits);
    return limits;
}

std::uint32_t UsableProcessors(const ProcessLimits& limits, std::uint32_t logicalProcessors)
{
    std::uint32_t usable = logicalProcessors;
    if (limits.affinity && *limits.affinity > 0 && (usable == 0 || *limits.affinity < usable))
        usable = *limits.affinity;
    if (limits.cpuLimit && std::isfinite(*limits.cpuLimit)) {
        // 1.999999 of rounding is 2: a limit is a ratio of whole microseconds.
        const double whole = std::floor(*limits.cpuLimit + 1e-9);
        const std::uint32_t held = whole < 1.0 ? 1u : whole > 1e6 ? 1000000u : static_cast<std::uint32_t>(whole);
        if (usable == 0 || held < usable)
            usable = held;
    }
    return usable == 0 ? 1 : usable;
}

ConditionsSnapshot ReadConditionsSnapshot(const std::string& root)
{
    ConditionsSnapshot snapshot;
    snapshot.steadyNanos =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count();

    const ProcessorTimes times = ReadProcessorTimes(root);
    snapshot.busyTicks = times.busy;
    snapshot.stealTicks = times.steal;
    std::array<char, 1024> buffer;
    if (const ssize_t count = ReadSmallFile(UnderRoot(root, "proc/self/stat").c_str(), buffer); count > 0)
        snapshot.ownTicks = ParseOwnTicks(std::string_view(buffer.data(), static_cast<std::size_t>(count)));

    snapshot.throttleCount = ReadThrottleCount(root);
    snapshot.onBattery = ReadOnBattery(root);

    const MachineSensors::Reading reading = MachineSensors(root).Read();
    snapshot.highestCelsius = reading.headlineCelsius;
    snapshot.lowestMhz = reading.lowestMhz;
    snapshot.limits = ReadProcessLimits(root);
    return snapshot;
}

MachineTopology ReadMachineTopology(const std::string& root)
{
    MachineTopology topology;
    const std::string cpus = UnderRoot(root, "sys/devices/system/cpu/");
    const auto entries = NumberedEntries(cpus, "cpu");

    // A processor counts when it is online ("online" absent, as for cpu0,
    // or not 0) and has a topology directory, which the kernel gives each
    // online processor. Without any topology (a bare tree, an odd kernel)
    // the online cpuN directories count, and packages and cores stay 0.
    std::map<std::pair<long long, long long>, std::uint32_t> perCore;  // (package, core) -> threads
    std::set<long long> packages;
    std::uint32_t withTopology = 0, online = 0;
    for (const auto& [number, cpu] : entries) {
        const std::string dir = cpus + cpu + "/";
        if (ReadValue(dir + "online") == "0")
            continue;
        ++online;
        if (!IsDirectory(dir + "topology"))
            continue;
        ++withTopology;
        const std::optional<std::string> package = ReadValue(dir + "topology/physical_package_id");
        const std::optional<long long> packageId = package ? ParseWholeInteger(*package) : std::nullopt;
        if (!packageId)
            continue;
        packages.insert(*packageId);
        const std::optional<std::string> core = ReadValue(dir + "topology/core_id");
        if (const std::optional<long long> coreId = core ? ParseWholeInteger(*core) : std::nullopt)
            ++perCore[{*packageId, *coreId}];
    }
    topology.logicalProcessors = withTopology > 0 ? withTopology : online;
    topology.packages = static_cast<std::uint32_t>(packages.size());
    topology.cores = static_cast<std::uint32_t>(perCore.size());
    // The most threads on one core: a hybrid processor has cores of two
    // and cores of one.
    for (const auto& [core, threads] : perCore)
        topology.threadsPerCore = std::max(topology.threadsPerCore, threads);

    for (const auto& [number, cpu] : entries)
        // A governor's name is a short word; anything else is no name.
        if (std::optional<std::string> governor = ReadValue(cpus + cpu + "/cpufreq/scaling_governor");
            governor && !governor->empty() && governor->size() <= 64 &&
            std::all_of(governor->begin(), governor->end(), [](char c) { return c > ' ' && c < 0x7F; }))
            topology.governors.push_back(std::move(*governor));

    const auto kilohertz = [&cpus](const char* file) -> std::optional<double> {
        const std::optional<std::string> text = ReadValue(cpus + "cpu0/cpufreq/" + file);
        return text ? ParseKilohertz(*text) : std::nullopt;
    };
    topology.baseMhz = kilohertz("base_frequency");
    topology.maxMhz = kilohertz("cpuinfo_max_freq");
    if (!topology.baseMhz && !topology.maxMhz) {
        if (const std::optional<std::string> cpuinfo = ReadText(UnderRoot(root, "proc/cpuinfo"))) {
            const std::vector<double> mhz = ParseCpuinfoMhz(*cpuinfo);
            if (!mhz.empty())
                topology.baseMhz = mhz.front();
        }
    }
    return topology;
}

MachineFacts ReadMachineFacts(const std::string& root)
{
    MachineFacts facts;
    if (const std::optional<std::string> cpuinfo = ReadText(UnderRoot(root, "proc/cpuinfo")))
        if (const std::optional<std::string_view> model = FirstKeyValue(*cpuinfo, "model name"))
            facts.modelName = OneLine(*model);
    if (const std::optional<std::string> kernel = ReadValue(UnderRoot(root, "proc/sys/kernel/osrelease")))
        facts.kernel = *kernel;

    // /etc/os-release, else the distribution's own copy it usually links to.
    std::optional<std::string> osRelease = ReadText(UnderRoot(root, "etc/os-release"));
    if (!osRelease)
        osRelease = ReadText(UnderRoot(root, "usr/lib/os-release"));
    if (osRelease) {
        const auto values = ParseOsRelease(*osRelease);
        const auto value = [&values](std::string_view key) -> std::string {
            const auto found = values.find(key);
            return found == values.end() ? std::string() : found->second;
        };
        facts.osName = value("NAME");
        facts.osVersion = value("VERSION_ID");
        if (facts.osVersion.empty())
            facts.osVersion = value("VERSION");
        facts.osPretty = value("PRETTY_NAME");
    }
    return facts;
}

std::uint64_t RunConditions::Throttles() const
{
    if (throttleBefore && throttleAfter && *throttleAfter >= *throttleBefore)
        return *throttleAfter - *throttleBefore;
    return 0;
}

std::uint64_t RunConditions::GroupThrottles() const
{
    if (groupThrottlesBefore && groupThrottlesAfter && *groupThrottlesAfter >= *groupThrottlesBefore)
        return *groupThrottlesAfter - *groupThrottlesBefore;
    return 0;
}

std::uint64_t RunConditions::GroupThrottledMicros() const
{
    if (groupThrottledMicrosBefore && groupThrottledMicrosAfter &&
        *groupThrottledMicrosAfter >= *groupThrottledMicrosBefore)
        return *groupThrottledMicrosAfter - *groupThrottledMicrosBefore;
    return 0;
}

std::optional<double> RunConditions::CpuLimit() const
{
    if (cpuLimitStart && cpuLimitEnd)
        return std::min(*cpuLimitStart, *cpuLimitEnd);
    return cpuLimitStart ? cpuLimitStart : cpuLimitEnd;
}

namespace {

/// How far a counter moved, or nullopt when it is missing or went back.
std::optional<std::uint64_t> Delta(const std::optional<std::uint64_t>& before,
                                   const std::optional<std::uint64_t>& after)
{
    if (!before || !after || *after < *before)
        return std::nullopt;
    return *after - *before;
}

}  // namespace

RunConditions CompareConditions(const ConditionsSnapshot& before, const ConditionsSnapshot& after,
                                const MachineTopology& topology, std::uint32_t threads, long ticksPerSecond)
{
    RunConditions run;
    // In doubles: two arbitrary 64-bit values cannot overflow there.
    const double wall = (static_cast<double>(after.steadyNanos) - static_cast<double>(before.steadyNanos)) / 1e9;
    run.wallSeconds = wall > 0 ? wall : 0.0;

    if (run.wallSeconds > 0 && ticksPerSecond > 0) {
        const double scale = 100.0 / static_cast<double>(ticksPerSecond) / run.wallSeconds;
        const std::optional<std::uint64_t> busy = Delta(before.busyTicks, after.busyTicks);
        const std::optional<std::uint64_t> own = Delta(before.ownTicks, after.ownTicks);
        if (busy && own) {
            // Own time is counted apart from the busy total and can come out
            // a tick above it.
            const double other = (static_cast<double>(*busy) - static_cast<double>(*own)) * scale;
            if (std::isfinite(other))
                run.otherPercent = std::max(0.0, other);
        }
        if (const std::optional<std::uint64_t> steal = Delta(before.stealTicks, after.stealTicks)) {
            const double percent = static_cast<double>(*steal) * scale;
            if (std::isfinite(percent))
                run.stealPercent = percent;
        }
    }

    run.throttleBefore = before.throttleCount;
    run.throttleAfter = after.throttleCount;
    run.onBattery = before.onBattery || after.onBattery;
    run.highestCelsiusStart = before.highestCelsius;
    run.highestCelsiusEnd = after.highestCelsius;
    run.lowestMhzStart = before.lowestMhz;
    run.lowestMhzEnd = after.lowestMhz;
    run.governors = topology.governors;
    run.threadsPerCore = topology.threadsPerCore;
    run.logicalProcessors = topology.logicalProcessors;
    run.threads = threads;
    const ProcessLimits& start = before.limits;
    const ProcessLimits& end = after.limits;
    run.affinity = start.affinity && end.affinity ? std::min(*start.affinity, *end.affinity)
                                                  : start.affinity ? start.affinity : end.affinity;
    // The list of the snapshot whose count is kept.
    run.affinityList = start.affinity && (!end.affinity || *start.affinity <= *end.affinity) ? start.affinityList
                                                                                            : end.affinityList;
    run.cpuLimitStart = start.cpuLimit;
    run.cpuLimitEnd = end.cpuLimit;
    // Counters of two different groups cannot be compared.
    if (start.groupPath == end.groupPath) {
        run.groupThrottlesBefore = start.groupThrottles;
        run.groupThrottlesAfter = end.groupThrottles;
        run.groupThrottledMicrosBefore = start.groupThrottledMicros;
        run.groupThrottledMicrosAfter = end.groupThrottledMicros;
    }
    return run;
}
