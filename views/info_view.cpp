#include "views/info_view.h"

#include "core/state.h"

namespace {
wxString Hex(std::uint32_t value)
{
    return wxString::Format(wxS("%X"), value);
}

wxString Decimal(std::uint32_t value)
{
    return wxString::Format(wxS("%i"), static_cast<int>(value));
}
}  // namespace

ViewLayout LayoutInfoView()
{
    constexpr int left = 10, middle = 190, right = 370;
    return {
        TextItem(InfoTitleLabel, left, 16),
        LineItem(10, 36, 775, 36),
        TextItem(wxS("Processor:"), left, 48),
        TextItem(CpuDisplayName, middle, 48),
        TextItem(wxS("Vendor:"), left, 64),
        TextItem(wxString::From8BitData(CpuVendorId), middle, 64),
        TextItem(wxS("Signiture:"), left, 80),
        TextItem(Hex(CpuSignature), middle, 80),
        TextItem(wxS("Family: ") + Hex(CpuFamily), left, 96),
        TextItem(wxS("Model: ") + Hex(CpuModel), middle, 96),
        TextItem(wxS("Stepping: ") + Hex(CpuStepping), right, 96),
        TextItem(wxS("Extended family: ") + Hex(CpuExtendedFamily), left, 112),
        TextItem(wxS("Extended model: ") + Hex(CpuExtendedModel), middle, 112),
        TextItem(wxS("Type: ") + Hex(CpuType), right, 112),
        TextItem(wxS("Processors:"), left, 128),
        TextItem(wxS("( - )"), middle, 128),
        TextItem(wxS("Cores:"), left, 144),
        TextItem(wxS("( ") + Decimal(CpuCores) + wxS(" )"), middle, 144),
        TextItem(wxS("HTT: ( ") + Hex(CpuHtt) + wxS(" )"), right, 144),
        TextItem(wxS("Logical processors:"), left, 160),
        TextItem(Decimal(CpuCount), middle, 160),
        LineItem(10, 188, 775, 188),
        TextItem(wxS("* These informations could not match the reality! Hint purpose only!"), left,
                 204),
    };
}
