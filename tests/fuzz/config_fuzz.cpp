// Any bytes as tarnwick.conf: load, save into the remembered lines, load
// again. The save always succeeds, the heat time survives the round trip,
// and every line the save did not replace keeps its bytes exactly.
#include "core/state.h"
#include "config/config_file.h"
#include "fuzz_support.h"

#include <algorithm>
#include <string>

namespace {
std::wstring Setting(const wchar_t* key, std::int32_t value)
{
    return std::wstring(key) + std::to_wstring(value);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    WriteFuzzFile("tarnwick.conf", data, size);
    CpuListCount = 20;
    HeatTestMillis = 600000;
    ConfigCpuListLine = ConfigHeatTimeLine = 0;
    ResultLineWidth = 0;  // chart buffers of no size: huge row counts allocate nothing here

    const int loaded = ProcessConfigFile(ConfigModeLoad);
    FUZZ_CHECK(loaded == 0 || loaded == 2);
    if (loaded != 0)
        return 0;
    FUZZ_CHECK(CpuListHalf == CpuListCount / 2);

    // A load writes nothing.
    const FuzzText before(ReadFuzzFile("tarnwick.conf"));
    FUZZ_CHECK(before.bytes == std::string(reinterpret_cast<const char*>(data), size));

    // The save puts the cpu list on its line, then the heat time on its own:
    // a key the load did not find is written on the first line, and when
    // both are on one line only the heat time is left there.
    const std::size_t cpuLine = static_cast<std::size_t>(ConfigCpuListLine);
    const std::size_t heatLine = static_cast<std::size_t>(ConfigHeatTimeLine);
    FUZZ_CHECK(ConfigCpuListLine >= 0 && ConfigHeatTimeLine >= 0);
    FUZZ_CHECK(before.Count() == 0 || (cpuLine < before.Count() && heatLine < before.Count()));
    const std::int32_t cpus = CpuListCount;
    const std::int32_t minutes = HeatTestMillis / 60000;

    const unsigned long messages = FuzzMessages();
    FUZZ_CHECK(ProcessConfigFile(ConfigModeSave) == 0);
    FUZZ_CHECK(FuzzMessages() == messages);  // nothing to tell: the file took the settings

    const FuzzText after(ReadFuzzFile("tarnwick.conf"));
    FUZZ_CHECK(after.Count() == std::max<std::size_t>(before.Count(), 1));
    const wxTextFileType ending = before.text.LineEnding();
    FUZZ_CHECK(after.Line(heatLine) == Setting(L"heattime\t", minutes));
    FUZZ_CHECK(after.text.Type(heatLine) == ending);
    if (cpuLine != heatLine) {
        FUZZ_CHECK(after.Line(cpuLine) == Setting(L"cpulist\t\t", cpus));
        FUZZ_CHECK(after.text.Type(cpuLine) == ending);
    }
    for (std::size_t n = 0; n < before.Count(); ++n)
        if (n != cpuLine && n != heatLine)
            FUZZ_CHECK(KeptLine(before, n, after, n));
    // Nothing but the lines: the byte-order mark stays, and no byte is
    // left over after the last line.
    FUZZ_CHECK(after.bytes.compare(0, after.text.MarkBytes(), before.bytes, 0, before.text.MarkBytes()) == 0);
    const TextLine& last = after.text.Span(after.Count() - 1);
    FUZZ_CHECK(last.byteStart + last.byteLength + last.endBytes == after.bytes.size());

    HeatTestMillis = 0;
    CpuListCount = -1;
    FUZZ_CHECK(ProcessConfigFile(ConfigModeLoad) == 0);
    FUZZ_CHECK(HeatTestMillis == minutes * 60000);
    FUZZ_CHECK(ConfigHeatTimeLine == static_cast<std::int32_t>(heatLine));
    if (cpuLine != heatLine) {
        FUZZ_CHECK(CpuListCount == cpus);
        FUZZ_CHECK(ConfigCpuListLine == static_cast<std::int32_t>(cpuLine));
    }
    FUZZ_CHECK(ProcessConfigFile(ConfigModeApply) == 0);
    return 0;
}
