#include "cpu/cpuid.h"

#include <cpuid.h>

#include <cstring>
#include <cwchar>
#include <iterator>

namespace {
constexpr std::uint32_t BrandFirstLeaf = 0x80000002;

CpuidRegisters Execute(std::uint32_t leaf, std::uint32_t subLeaf = 0)
{
    CpuidRegisters r;
    __cpuid_count(leaf, subLeaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

bool IsVendor(const ProcessorFacts& facts, const char* vendor)
{
    return std::strcmp(facts.vendorId, vendor) == 0;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Copies a narrow text into a wide buffer byte by byte (Latin-1), bounded.
template <std::size_t N>
void Widen(wchar_t (&target)[N], const char* source)
{
    std::size_t i = 0;
    for (; i + 1 < N && source[i] != '\0'; ++i)
        target[i] = static_cast<unsigned char>(source[i]);
    target[i] = L'\0';
}

template <std::size_t N>
void CopyWide(wchar_t (&target)[N], const wchar_t* source)
{
    std::wcsncpy(target, source, N - 1);
    target[N - 1] = L'\0';
}

void StoreBytes(char* target, std::uint32_t value)
{
    std::memcpy(target, &value, sizeof value);  // memory (little-endian) order
}

// The 48 brand bytes, cut at the first zero, with white space trimmed at
// both ends.
void DecodeBrand(const CpuidRegisters (&brand)[3], char (&target)[49])
{
    char raw[49] = {};
    for (int k = 0; k < 3; ++k) {
        StoreBytes(raw + 16 * k, brand[k].eax);
        StoreBytes(raw + 16 * k + 4, brand[k].ebx);
        StoreBytes(raw + 16 * k + 8, brand[k].ecx);
        StoreBytes(raw + 16 * k + 12, brand[k].edx);
    }
    std::size_t begin = 0;
    std::size_t end = std::strlen(raw);
    while (begin < end && IsBlank(raw[begin]))
        ++begin;
    while (end > begin && IsBlank(raw[end - 1]))
        --end;
    std::memcpy(target, raw + begin, end - begin);
    target[end - begin] = '\0';
}
}  // namespace

CpuidSnapshot ReadCpuid()
{
    CpuidSnapshot snapshot;
    snapshot.highestExtendedLeaf = Execute(0x80000000).eax;
    snapshot.leaf0 = Execute(0);
    snapshot.leaf1 = Execute(1);
    // Leaf 4 runs with ECX still holding leaf 1's ECX. Processors that take
    // it as an invalid cache index answer with zeros.
    snapshot.leaf4 = Execute(4, snapshot.leaf1.ecx);
    snapshot.leaf0 = Execute(0);
    if (snapshot.highestExtendedLeaf > 0x80000003) {
        for (std::uint32_t k = 0; k < 3; ++k)
            snapshot.brand[k] = Execute(BrandFirstLeaf + k);
    }
    char vendor[13] = {};
    StoreBytes(vendor, snapshot.leaf0.ebx);
    StoreBytes(vendor + 4, snapshot.leaf0.edx);
    StoreBytes(vendor + 8, snapshot.leaf0.ecx);
    if (std::strcmp(vendor, "AuthenticAMD") == 0 && snapshot.highestExtendedLeaf > 0x80000007)
        snapshot.leaf80000008 = Execute(0x80000008);
    return snapshot;
}

const wchar_t* VendorShortName(std::string_view vendorId)
{
    if (vendorId == "AuthenticAMD")
        return L"AMD";
    if (vendorId == "GenuineIntel")
        return L"Intel";
    return L"";
}

ProcessorFacts DecodeProcessorFacts(const CpuidSnapshot& registers, std::uint32_t cpuCount)
{
    ProcessorFacts facts;

    StoreBytes(facts.vendorId, registers.leaf0.ebx);
    StoreBytes(facts.vendorId + 4, registers.leaf0.edx);
    StoreBytes(facts.vendorId + 8, registers.leaf0.ecx);
    facts.vendorId[12] = '\0';
    CopyWide(facts.vendorShortName, VendorShortName(facts.vendorId));

    if (registers.highestExtendedLeaf > 0x80000003)
        DecodeBrand(registers.brand, facts.brandString);

    const std::uint32_t eax = registers.leaf1.eax;
    facts.signature = eax;
    facts.stepping = eax & 0xF;
    facts.model = (eax >> 4) & 0xF;
    facts.family = (eax >> 8) & 0xF;
    facts.type = (eax >> 12) & 0x3;
    facts.extendedModel = (eax >> 16) & 0xF;
    facts.extendedFamily = (eax >> 20) & 0xFF;
    if (facts.family == 15) {
        facts.family = facts.extendedFamily + 15;
        facts.model += 16 * facts.extendedModel;
    }
    if (facts.family == 6)
        facts.model += 16 * facts.extendedModel;

    facts.featuresEbx = registers.leaf1.ebx;
    facts.featuresEcx = registers.leaf1.ecx;
    facts.featuresEdx = registers.leaf1.edx;
    facts.packages = 1;
    facts.htt = (registers.leaf1.edx >> 28) & 1;
    facts.cores = (registers.leaf1.ebx >> 16) & 0xFF;
    facts.logicalPerPackage = facts.cores;
    if (IsVendor(facts, "AuthenticAMD") && registers.highestExtendedLeaf > 0x80000007)
        facts.cores = (registers.leaf80000008.ecx & 0xFF) + 1;
    if (IsVendor(facts, "GenuineIntel"))
        facts.cores = (registers.leaf4.eax >> 26) + 1;
    // A core count of 0 (another vendor, no count in leaf 1) gives no package
    // count rather than a division by zero.
    if (facts.htt == 0 && facts.cores != 0 && facts.cores < cpuCount)
        facts.packages = cpuCount / facts.cores;

    if (registers.highestExtendedLeaf < 0x80000004)
        Widen(facts.displayName, facts.vendorId);
    else
        Widen(facts.displayName, facts.brandString);
    return facts;
}
