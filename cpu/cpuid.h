// The processor identification: the CPUID registers the program reads, and
// the processor facts decoded from them.
#pragma once

#include <cstdint>
#include <string_view>

struct CpuidRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// The registers of every leaf the decoder uses, as read in this order:
/// 0x80000000, 0, 1, 4 (with ECX still holding leaf 1's ECX), 0 again, the
/// three brand-string leaves when the highest extended leaf is above
/// 0x80000003, and 0x80000008 on AMD processors that have it.
struct CpuidSnapshot {
    std::uint32_t highestExtendedLeaf = 0;
    CpuidRegisters leaf0;
    CpuidRegisters leaf1;
    CpuidRegisters leaf4;
    CpuidRegisters brand[3];
    CpuidRegisters leaf80000008;
};

/// What the program knows about the processor.
struct ProcessorFacts {
    char vendorId[13] = "";
    char brandString[49] = "";
    wchar_t displayName[49] = L"";
    wchar_t vendorShortName[16] = L"";
    std::uint32_t signature = 0;
    std::uint32_t family = 0;
    std::uint32_t model = 0;
    std::uint32_t stepping = 0;
    std::uint32_t extendedFamily = 0;
    std::uint32_t extendedModel = 0;
    std::uint32_t type = 0;
    std::uint32_t cores = 0;
    std::uint32_t packages = 1;
    std::uint32_t logicalPerPackage = 0;
    std::uint32_t htt = 0;
    std::uint32_t featuresEbx = 0;  ///< leaf 1's EBX, ECX and EDX, kept as read
    std::uint32_t featuresEcx = 0;
    std::uint32_t featuresEdx = 0;
};

/// Executes CPUID for every leaf the decoder uses, in the order above.
CpuidSnapshot ReadCpuid();

/// Decodes the registers. `cpuCount` is the number of processors the
/// operating system reports; it decides the package count.
ProcessorFacts DecodeProcessorFacts(const CpuidSnapshot& registers, std::uint32_t cpuCount);

/// The maker a record names for a CPUID vendor: "AMD" for AuthenticAMD,
/// "Intel" for GenuineIntel, "" for any other.
const wchar_t* VendorShortName(std::string_view vendorId);
