#include "cli/report.h"

#include "files/path_text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

void Report::Print(std::FILE* to) const
{
    if (m_asJson) {
        const std::string text = m_json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        std::fprintf(to, "%s\n", text.c_str());
        return;
    }
    for (const std::string& line : m_lines)
        std::fprintf(to, "%s\n", line.c_str());
}

nlohmann::ordered_json WholeNumber(double value)
{
    if (!std::isfinite(value))
        return nullptr;
    // Rounded as printf rounds (half to even), so both forms say the same.
    const double whole = std::nearbyint(value);
    if (std::fabs(whole) < 9.0e15)
        return static_cast<std::int64_t>(whole);
    return whole;
}

std::string ShownUtf8(const wxString& text)
{
    return ShownText(text).utf8_string();
}
