// Any bytes as tarnwick.conf: load, save into the remembered lines, load
// again; the heat time always survives the round trip.
#include "app/state.h"
#include "config/config_file.h"
#include "fuzz_support.h"

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

    const std::int32_t minutes = HeatTestMillis / 60000;
    FUZZ_CHECK(ProcessConfigFile(ConfigModeSave) == 0);
    HeatTestMillis = 0;
    FUZZ_CHECK(ProcessConfigFile(ConfigModeLoad) == 0);
    FUZZ_CHECK(HeatTestMillis == minutes * 60000);
    FUZZ_CHECK(ProcessConfigFile(ConfigModeApply) == 0);
    return 0;
}
