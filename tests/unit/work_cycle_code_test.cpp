// The machine code of the work cycle, as this test program was built: every
// conversion and division of the scalar phase is made, and the cycle starts
// on a cache line, as it does in every program that runs it.
#include "bench/work_cycle.h"
#include "tests/support/required_tool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include <unistd.h>

namespace {
// How often each mnemonic occurs in the disassembly of `symbol` in this
// program; empty when objdump is not there.
std::map<std::string, int> Mnemonics(const char* symbol)
{
    std::map<std::string, int> counts;
    char program[4096] = {};
    if (readlink("/proc/self/exe", program, sizeof program - 1) <= 0)
        return counts;
    const std::string command = std::string("objdump -d --no-show-raw-insn --disassemble=") + symbol + " '" +
                                program + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return counts;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        // "  4a1b2c:\tcvtsi2sd %eax,%xmm0"
        const std::string text = line;
        const auto tab = text.find('\t');
        if (text.find(":\t") == std::string::npos || tab == std::string::npos)
            continue;
        const auto end = text.find_first_of(" \t\n", tab + 1);
        ++counts[text.substr(tab + 1, end - tab - 1)];
    }
    pclose(pipe);
    return counts;
}
}  // namespace

TEST(WorkCycleCode, EveryConversionToARealIsMadeInEachPass)
{
    const auto counts = Mnemonics("_Z12RunScalarMixR9WorkState");
    TARNWICK_REQUIRE_TOOL(!counts.empty(), "objdump (binutils), reading this program");
    // Steps 13, 14, 15, 16 and 20 each convert an integer to a real; step 16
    // must not take step 15's conversion of M.
    EXPECT_EQ(counts.count("cvtsi2sd") ? counts.at("cvtsi2sd") : 0, 5);
    // Steps 4, 8, 12, 14 and 20 divide integers; 3, 7, 11 and 16 reals.
    EXPECT_EQ(counts.count("idiv") ? counts.at("idiv") : 0, 5);
    EXPECT_EQ(counts.count("divsd") ? counts.at("divsd") : 0, 4);
}

TEST(WorkCycleCode, ThePhasesStartOnACacheLine)
{
    for (const auto address : {reinterpret_cast<std::uintptr_t>(&RunScalarMix),
                               reinterpret_cast<std::uintptr_t>(&RunByteArrays),
                               reinterpret_cast<std::uintptr_t>(&RunDoubleArrays),
                               reinterpret_cast<std::uintptr_t>(&RunWorkCycle)})
        EXPECT_EQ(address % 64, 0u) << std::hex << address;
}
