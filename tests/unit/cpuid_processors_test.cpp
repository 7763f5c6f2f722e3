// Decoding the registers of real processors. The first set was captured on
// the machine this program is developed on (a KVM guest on an Intel Xeon);
// the others hold the values these models report in the leaves the decoder
// reads (vendor, signature, logical count and flags, brand text, core-count
// leaves); registers the decoder never reads are left at zero.
#include "cpu/cpuid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {
std::uint32_t Pack(const char* four)
{
    std::uint32_t value = 0;
    std::memcpy(&value, four, 4);
    return value;
}

void SetBrand(CpuidSnapshot& s, const std::string& text)
{
    char bytes[48] = {};
    std::memcpy(bytes, text.data(), std::min<std::size_t>(text.size(), 48));
    for (int k = 0; k < 3; ++k)
        s.brand[k] = {Pack(bytes + 16 * k), Pack(bytes + 16 * k + 4), Pack(bytes + 16 * k + 8),
                      Pack(bytes + 16 * k + 12)};
}

CpuidRegisters Leaf0(std::uint32_t highestBasic, const char* vendor)
{
    return {highestBasic, Pack(vendor), Pack(vendor + 8), Pack(vendor + 4)};
}

struct Expected {
    const char* vendorId;
    const wchar_t* shortName;
    const char* brand;
    const wchar_t* displayName;
    std::uint32_t signature, family, model, stepping, extendedFamily, extendedModel, type;
    std::uint32_t cores, packages, logicalPerPackage, htt;
};

void ExpectFacts(const ProcessorFacts& f, const Expected& e)
{
    EXPECT_STREQ(f.vendorId, e.vendorId);
    EXPECT_STREQ(f.vendorShortName, e.shortName);
    EXPECT_STREQ(f.brandString, e.brand);
    EXPECT_STREQ(f.displayName, e.displayName);
    EXPECT_EQ(f.signature, e.signature);
    EXPECT_EQ(f.family, e.family);
    EXPECT_EQ(f.model, e.model);
    EXPECT_EQ(f.stepping, e.stepping);
    EXPECT_EQ(f.extendedFamily, e.extendedFamily);
    EXPECT_EQ(f.extendedModel, e.extendedModel);
    EXPECT_EQ(f.type, e.type);
    EXPECT_EQ(f.cores, e.cores);
    EXPECT_EQ(f.packages, e.packages);
    EXPECT_EQ(f.logicalPerPackage, e.logicalPerPackage);
    EXPECT_EQ(f.htt, e.htt);
}
}  // namespace

TEST(CpuidProcessors, XeonGuestWithHttCapturedHere)
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x80000008;
    s.leaf0 = {0x00000020, 0x756E6547, 0x6C65746E, 0x49656E69};
    s.leaf1 = {0x000806F8, 0x00020800, 0xFFFA3203, 0x1F8BFBFF};
    s.leaf4 = {0, 0, 0, 0};  // sub-leaf 0xFFFA3203 is no cache index
    s.brand[0] = {0x65746E49, 0x2952286C, 0x6F655820, 0x2952286E};
    s.brand[1] = {0x6F725020, 0x73736563, 0x0000726F, 0x00000000};
    s.brand[2] = {0, 0, 0, 0};
    ExpectFacts(DecodeProcessorFacts(s, 2),
                {"GenuineIntel", L"Intel", "Intel(R) Xeon(R) Processor", L"Intel(R) Xeon(R) Processor",
                 0x806F8, 6, 143, 8, 0, 8, 0, /*cores*/ 1, /*packages*/ 1, /*logical*/ 2, /*htt*/ 1});
}

TEST(CpuidProcessors, CoreI7_8700KWithHtt)
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x80000008;
    s.leaf0 = Leaf0(0x16, "GenuineIntel");
    s.leaf1 = {0x000906EA, 0x00100800, 0x7FFAFBFF, 0xBFEBFBFF};
    s.leaf4 = {0, 0, 0, 0};  // sub-leaf 0x7FFAFBFF is no cache index
    SetBrand(s, "Intel(R) Core(TM) i7-8700K CPU @ 3.70GHz");
    ExpectFacts(DecodeProcessorFacts(s, 12),
                {"GenuineIntel", L"Intel", "Intel(R) Core(TM) i7-8700K CPU @ 3.70GHz",
                 L"Intel(R) Core(TM) i7-8700K CPU @ 3.70GHz", 0x906EA, 6, 158, 10, 0, 9, 0, 1, 1,
                 16, 1});
}

TEST(CpuidProcessors, PentiumMWithoutHtt)
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x80000004;
    s.leaf0 = Leaf0(0x2, "GenuineIntel");
    s.leaf1 = {0x000006D6, 0x00000000, 0x00000180, 0xAFE9FBFF};
    // Leaf 4 is above the highest basic leaf: the processor answers with
    // leaf 2's registers.
    s.leaf4 = {0x02B3B001, 0x000000F0, 0x00000000, 0x2C04307D};
    SetBrand(s, "Intel(R) Pentium(R) M processor 1.70GHz");
    ExpectFacts(DecodeProcessorFacts(s, 1),
                {"GenuineIntel", L"Intel", "Intel(R) Pentium(R) M processor 1.70GHz",
                 L"Intel(R) Pentium(R) M processor 1.70GHz", 0x6D6, 6, 13, 6, 0, 0, 0, 1, 1, 0, 0});
}

TEST(CpuidProcessors, DualPentiumIIIWithoutExtendedLeaves)
{
    // No extended leaves: leaf 0x80000000 answers with the highest basic
    // leaf's registers, far below 0x80000004, so no brand is read.
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x03020101;
    s.leaf0 = Leaf0(0x2, "GenuineIntel");
    s.leaf1 = {0x00000686, 0x00000002, 0x00000000, 0x0383F9FF};
    s.leaf4 = {0x03020101, 0x00000000, 0x00000000, 0x0C040882};
    ExpectFacts(DecodeProcessorFacts(s, 2),
                {"GenuineIntel", L"Intel", "", L"GenuineIntel", 0x686, 6, 8, 6, 0, 0, 0,
                 /*cores*/ 1, /*packages*/ 2, 0, 0});
}

TEST(CpuidProcessors, Ryzen7_5800XWithLeaf80000008)
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x80000020;
    s.leaf0 = Leaf0(0x10, "AuthenticAMD");
    s.leaf1 = {0x00A20F10, 0x00100800, 0x7EF8320B, 0x178BFBFF};
    s.leaf80000008 = {0x00003030, 0x111EF657, 0x0000500F, 0x00000000};
    SetBrand(s, "AMD Ryzen 7 5800X 8-Core Processor             ");
    ExpectFacts(DecodeProcessorFacts(s, 16),
                {"AuthenticAMD", L"AMD", "AMD Ryzen 7 5800X 8-Core Processor",
                 L"AMD Ryzen 7 5800X 8-Core Processor", 0xA20F10, 25, 33, 0, 10, 2, 0, 16, 1, 16, 1});
}

TEST(CpuidProcessors, PhenomII_X4_940Family16)
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = 0x8000001B;
    s.leaf0 = Leaf0(0x5, "AuthenticAMD");
    s.leaf1 = {0x00100F42, 0x00040800, 0x00802009, 0x178BFBFF};
    s.leaf80000008 = {0x00003030, 0x00000000, 0x00003003, 0x00000000};
    SetBrand(s, "AMD Phenom(tm) II X4 940 Processor");
    ExpectFacts(DecodeProcessorFacts(s, 4),
                {"AuthenticAMD", L"AMD", "AMD Phenom(tm) II X4 940 Processor",
                 L"AMD Phenom(tm) II X4 940 Processor", 0x100F42, 16, 4, 2, 1, 0, 0, 4, 1, 4, 1});
}
