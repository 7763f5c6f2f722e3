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

// Leaf 0 registers for a 12-character vendor identification.
CpuidRegisters Vendor(const char* id, std::uint32_t highestBasicLeaf = 0xD)
{
    return {highestBasicLeaf, Pack(id), Pack(id + 8), Pack(id + 4)};
}

// The three brand leaves for a text of at most 48 bytes (zero-padded).
void SetBrand(CpuidSnapshot& s, const std::string& text)
{
    char bytes[48] = {};
    std::memcpy(bytes, text.data(), std::min<std::size_t>(text.size(), 48));
    for (int k = 0; k < 3; ++k)
        s.brand[k] = {Pack(bytes + 16 * k), Pack(bytes + 16 * k + 4), Pack(bytes + 16 * k + 8),
                      Pack(bytes + 16 * k + 12)};
}

CpuidSnapshot Processor(const char* vendor, std::uint32_t signature, std::uint32_t highestExtended,
                        const std::string& brand = "")
{
    CpuidSnapshot s;
    s.highestExtendedLeaf = highestExtended;
    s.leaf0 = Vendor(vendor);
    s.leaf1.eax = signature;
    SetBrand(s, brand);
    return s;
}

std::uint32_t Logical(std::uint32_t count)
{
    return count << 16;  // leaf 1 EBX bits 16 to 23
}

constexpr std::uint32_t HttBit = 1u << 28;  // leaf 1 EDX
}  // namespace

TEST(Cpuid, VendorIdIsEbxEdxEcxInMemoryOrder)
{
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("GenuineIntel", 0, 0x80000008), 1);
    EXPECT_STREQ(facts.vendorId, "GenuineIntel");
}

TEST(Cpuid, ShortNameIsAmdOrIntelAndEmptyOtherwise)
{
    EXPECT_STREQ(DecodeProcessorFacts(Processor("AuthenticAMD", 0, 0), 1).vendorShortName, L"AMD");
    EXPECT_STREQ(DecodeProcessorFacts(Processor("GenuineIntel", 0, 0), 1).vendorShortName, L"Intel");
    EXPECT_STREQ(DecodeProcessorFacts(Processor("CentaurHauls", 0, 0), 1).vendorShortName, L"");
    EXPECT_STREQ(DecodeProcessorFacts(Processor("GenuineIotel", 0, 0), 1).vendorShortName, L"");
}

TEST(Cpuid, WithoutBrandLeavesTheDisplayNameIsTheVendorId)
{
    // Highest extended leaf 0x80000003: the brand leaves are not read even if
    // the snapshot holds something there.
    const ProcessorFacts facts =
        DecodeProcessorFacts(Processor("GenuineIntel", 0x686, 0x80000003, "ignored brand"), 1);
    EXPECT_STREQ(facts.brandString, "");
    EXPECT_STREQ(facts.displayName, L"GenuineIntel");
}

TEST(Cpuid, FromLeaf80000004TheDisplayNameIsTheBrand)
{
    const ProcessorFacts facts =
        DecodeProcessorFacts(Processor("GenuineIntel", 0x6D6, 0x80000004, "Brand CPU"), 1);
    EXPECT_STREQ(facts.brandString, "Brand CPU");
    EXPECT_STREQ(facts.displayName, L"Brand CPU");
}

TEST(Cpuid, BrandLeadingBlanksAreTrimmed)
{
    const ProcessorFacts facts = DecodeProcessorFacts(
        Processor("GenuineIntel", 0xF24, 0x80000004, "              Intel(R) Pentium(R) 4 CPU"), 1);
    EXPECT_STREQ(facts.brandString, "Intel(R) Pentium(R) 4 CPU");
    EXPECT_STREQ(facts.displayName, L"Intel(R) Pentium(R) 4 CPU");
}

TEST(Cpuid, BrandTrailingBlanksAreTrimmed)
{
    const ProcessorFacts facts = DecodeProcessorFacts(
        Processor("AuthenticAMD", 0, 0x80000008, "AMD Example 8-Core Processor   \t     "), 1);
    EXPECT_STREQ(facts.brandString, "AMD Example 8-Core Processor");
}

TEST(Cpuid, BrandOfFullFortyEightBytesIsKeptWhole)
{
    const std::string full(48, 'X');
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("GenuineIntel", 0, 0x80000008, full), 1);
    EXPECT_EQ(std::strlen(facts.brandString), 48u);
    EXPECT_EQ(std::wcslen(facts.displayName), 48u);
}

TEST(Cpuid, BlankBrandGivesAnEmptyDisplayName)
{
    const ProcessorFacts facts =
        DecodeProcessorFacts(Processor("GenuineIntel", 0, 0x80000008, std::string(48, ' ')), 1);
    EXPECT_STREQ(facts.brandString, "");
    EXPECT_STREQ(facts.displayName, L"");
}

TEST(Cpuid, SignatureFieldsAreCutFromLeafOneEax)
{
    // type 2, extended family 0x12, extended model 0xA, family 5, model 7, stepping 3
    const std::uint32_t eax = (0x12u << 20) | (0xAu << 16) | (2u << 12) | (5u << 8) | (7u << 4) | 3u;
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("GenuineIntel", eax, 0), 1);
    EXPECT_EQ(facts.signature, eax);
    EXPECT_EQ(facts.stepping, 3u);
    EXPECT_EQ(facts.model, 7u);  // neither family 6 nor 15: no adjustment
    EXPECT_EQ(facts.family, 5u);
    EXPECT_EQ(facts.type, 2u);
    EXPECT_EQ(facts.extendedModel, 0xAu);
    EXPECT_EQ(facts.extendedFamily, 0x12u);
}

TEST(Cpuid, Family15WithExtendedFamily1IsFamily16)
{
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("AuthenticAMD", 0x00100F42, 0), 1);
    EXPECT_EQ(facts.family, 16u);
    EXPECT_EQ(facts.model, 4u);
}

TEST(Cpuid, Family6ExtendedModel9Model14IsModel158)
{
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("GenuineIntel", 0x000906EA, 0), 1);
    EXPECT_EQ(facts.family, 6u);
    EXPECT_EQ(facts.model, 158u);
}

TEST(Cpuid, Family15AddsTheExtendedModelOnce)
{
    // Family 15 becomes 15 + extended family, never 6: the model gains 16 x
    // the extended model once.
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("AuthenticAMD", 0x00A20F10, 0), 1);
    EXPECT_EQ(facts.family, 25u);
    EXPECT_EQ(facts.model, 33u);
}

TEST(Cpuid, IntelLeaf4ZerosGiveOneCore)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    s.leaf1.ebx = Logical(12);
    const ProcessorFacts facts = DecodeProcessorFacts(s, 12);
    EXPECT_EQ(facts.cores, 1u);
    EXPECT_EQ(facts.logicalPerPackage, 12u);
}

TEST(Cpuid, IntelCoresComeFromLeaf4Eax)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    s.leaf4.eax = (7u << 26) | 0x121;
    EXPECT_EQ(DecodeProcessorFacts(s, 16).cores, 8u);
}

TEST(Cpuid, AmdCoresComeFromLeaf80000008)
{
    CpuidSnapshot s = Processor("AuthenticAMD", 0xA20F10, 0x80000008);
    s.leaf1.ebx = Logical(16);
    s.leaf80000008.ecx = 0x500F;
    EXPECT_EQ(DecodeProcessorFacts(s, 16).cores, 16u);
}

TEST(Cpuid, AmdWithoutLeaf80000008KeepsTheLeafOneCount)
{
    CpuidSnapshot s = Processor("AuthenticAMD", 0x00000F48, 0x80000007);
    s.leaf1.ebx = Logical(2);
    s.leaf80000008.ecx = 0x0F;  // not there to be read
    EXPECT_EQ(DecodeProcessorFacts(s, 2).cores, 2u);
}

TEST(Cpuid, OtherVendorsKeepTheLeafOneCount)
{
    CpuidSnapshot s = Processor("CentaurHauls", 0x6F2, 0x80000008);
    s.leaf1.ebx = Logical(4);
    s.leaf4.eax = 3u << 26;
    s.leaf80000008.ecx = 7;
    EXPECT_EQ(DecodeProcessorFacts(s, 4).cores, 4u);
}

TEST(Cpuid, HttIsBit28OfLeafOneEdx)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    EXPECT_EQ(DecodeProcessorFacts(s, 1).htt, 0u);
    s.leaf1.edx = HttBit | 0x0FEBFBFF;
    EXPECT_EQ(DecodeProcessorFacts(s, 1).htt, 1u);
}

TEST(Cpuid, WithoutHttEightProcessorsOfFourCoresAreTwoPackages)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    s.leaf4.eax = 3u << 26;  // 4 cores
    const ProcessorFacts facts = DecodeProcessorFacts(s, 8);
    EXPECT_EQ(facts.cores, 4u);
    EXPECT_EQ(facts.packages, 2u);
}

TEST(Cpuid, WithHttThereIsOnePackage)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    s.leaf1.edx = HttBit;
    s.leaf4.eax = 3u << 26;
    EXPECT_EQ(DecodeProcessorFacts(s, 8).packages, 1u);
}

TEST(Cpuid, NoCoreCountGivesOnePackageInsteadOfDividingByZero)
{
    const ProcessorFacts facts = DecodeProcessorFacts(Processor("CentaurHauls", 0x6F2, 0), 4);
    EXPECT_EQ(facts.cores, 0u);
    EXPECT_EQ(facts.packages, 1u);
}

TEST(Cpuid, FeatureWordsAreKeptAsRead)
{
    CpuidSnapshot s = Processor("GenuineIntel", 0x906EA, 0x80000008);
    s.leaf1.ebx = 0x00100800;
    s.leaf1.ecx = 0x7FFAFBFF;
    s.leaf1.edx = 0xBFEBFBFF;
    const ProcessorFacts facts = DecodeProcessorFacts(s, 12);
    EXPECT_EQ(facts.featuresEbx, 0x00100800u);
    EXPECT_EQ(facts.featuresEcx, 0x7FFAFBFFu);
    EXPECT_EQ(facts.featuresEdx, 0xBFEBFBFFu);
}
