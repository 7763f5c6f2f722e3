#include "files/path_text.h"

#include "files/encoding.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <vector>

namespace {
constexpr std::uint32_t EscapeBase = 0xDC00;  // a byte b that is not UTF-8 is U+DC00 + b (b >= 0x80)

bool IsEscape(std::uint32_t code)
{
    return code >= EscapeBase + 0x80 && code <= EscapeBase + 0xFF;
}
}  // namespace

wxString PathFromBytes(std::string_view bytes)
{
    std::wstring text;
    text.reserve(bytes.size());
    const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0; i < bytes.size();) {
        const unsigned char lead = in[i];
        if (lead < 0x80) {
            text += wchar_t(lead);
            ++i;
            continue;
        }
        char32_t code = 0;
        if (const std::size_t length = Utf8Sequence(in, i, bytes.size(), code)) {
            text += wchar_t(code);
            i += length;
        } else {
            text += wchar_t(EscapeBase + lead);
            ++i;
        }
    }
    return wxString(text);
}

std::string PathToBytes(const wxString& path)
{
    std::string bytes;
    bytes.reserve(path.length());
    for (const wxUniChar c : path) {
        const std::uint32_t code = c.GetValue();
        if (IsEscape(code)) {
            bytes += static_cast<char>(code - EscapeBase);
            continue;
        }
        const wchar_t one = static_cast<wchar_t>(code);
        if (!EncodeText(std::wstring_view(&one, 1), TextEncoding::Utf8, bytes))
            bytes += "\xEF\xBF\xBD";  // no character: U+FFFD
    }
    return bytes;
}

wxString ShownText(const wxString& text)
{
    wxString shown;
    shown.reserve(text.length());
    for (const wxUniChar c : text) {
        const std::uint32_t code = c.GetValue();
        shown << (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) ? wxUniChar(0xFFFD) : c);
    }
    return shown;
}

wxString WorkingDirectory()
{
    std::vector<char> buffer(PATH_MAX);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()) != nullptr)
            return PathFromBytes(buffer.data());
        if (errno != ERANGE || buffer.size() > (std::size_t{1} << 20))
            return wxString();
        buffer.resize(buffer.size() * 2);
    }
}

wxString RunningProgramPath()
{
    std::vector<char> buffer(PATH_MAX + 1);
    for (;;) {
        const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n <= 0)
            return wxString();
        if (std::size_t(n) < buffer.size())
            return PathFromBytes(std::string_view(buffer.data(), std::size_t(n)));
        if (buffer.size() > (std::size_t{1} << 20))
            return wxString();
        buffer.resize(buffer.size() * 2);
    }
}

wxString AbsolutePath(const wxString& path)
{
    if (path.StartsWith(wxS("/")))
        return path;
    const wxString cwd = WorkingDirectory();
    if (cwd.empty())
        return path;
    wxString relative = path;
    while (relative.StartsWith(wxS("./")))
        relative.Remove(0, 2);
    if (relative == wxS(".") || relative.empty())
        return cwd;
    return cwd.EndsWith(wxS("/")) ? cwd + relative : cwd + wxS("/") + relative;
}
