#include "cpu/cpu_info.h"

#include "core/state.h"
#include "cpu/cpuid.h"

#include <cstring>
#include <cwchar>
#include <iterator>

void ApplyProcessorFacts(const ProcessorFacts& facts)
{
    std::memcpy(CpuVendorId, facts.vendorId, sizeof CpuVendorId);
    std::memcpy(CpuBrandString, facts.brandString, sizeof CpuBrandString);
    std::wmemcpy(CpuDisplayName, facts.displayName, std::size(CpuDisplayName));
    std::wmemcpy(CpuVendorShortName, facts.vendorShortName, std::size(CpuVendorShortName));
    CpuSignature = facts.signature;
    CpuFamily = facts.family;
    CpuModel = facts.model;
    CpuStepping = facts.stepping;
    CpuExtendedFamily = facts.extendedFamily;
    CpuExtendedModel = facts.extendedModel;
    CpuType = facts.type;
    CpuCores = facts.cores;
    CpuPackages = facts.packages;
    CpuLogicalPerPackage = facts.logicalPerPackage;
    CpuHtt = facts.htt;
    CpuFeaturesEbx = facts.featuresEbx;
    CpuFeaturesEcx = facts.featuresEcx;
    CpuFeaturesEdx = facts.featuresEdx;
}

void ReadProcessorInfo()
{
    ApplyProcessorFacts(DecodeProcessorFacts(ReadCpuid(), CpuCount));
}
