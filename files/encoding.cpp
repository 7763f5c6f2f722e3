#include "files/encoding.h"

#include "files/big_block.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {
constexpr wchar_t Replacement = 0xFFFD;

// Lines as the characters are decoded: a line ends at "\n", "\r\n" or a
// lone "\r", which are not kept in the text.
struct LineBuilder {
    wchar_t* out;
    std::vector<TextLine>& lines;
    std::size_t n = 0;
    std::size_t lineStart = 0;
    std::size_t lineByte = 0;
    bool lineExact = true;
    bool exact = true;

    void Reset()
    {
        lines.clear();
        n = lineStart = lineByte = 0;
        lineExact = exact = true;
    }
    void Put(wchar_t c) { out[n++] = c; }
    void PutLost()
    {
        out[n++] = Replacement;
        lineExact = exact = false;
    }
    void End(std::size_t byteAt, std::size_t endBytes, wxTextFileType type)
    {
        lines.push_back({lineStart, n - lineStart, lineByte, byteAt - lineByte, std::uint8_t(endBytes), type,
                         lineExact});
        lineStart = n;
        lineByte = byteAt + endBytes;
        lineExact = true;
    }
    void Finish(std::size_t size)
    {
        if (n > lineStart)
            lines.push_back({lineStart, n - lineStart, lineByte, size - lineByte, 0, wxTextFileType_None, lineExact});
    }
};

// Whether an ASCII word holds a "\n" or a "\r".
inline bool HoldsLineEnd(std::uint64_t word)
{
    constexpr std::uint64_t ones = 0x0101010101010101u, highs = 0x8080808080808080u;
    const std::uint64_t lf = word ^ (ones * '\n'), cr = word ^ (ones * '\r');
    return (((lf - ones) & ~lf) | ((cr - ones) & ~cr)) & highs;
}

}  // namespace

std::size_t Utf8Sequence(const unsigned char* in, std::size_t i, std::size_t size, char32_t& code)
{
    const unsigned char lead = in[i];
    std::size_t length;
    char32_t minimum;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, code = lead & 0x1F, minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, code = lead & 0x0F, minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, code = lead & 0x07, minimum = 0x10000;
    } else {
        return 0;
    }
    if (size - i < length)
        return 0;
    for (std::size_t k = 1; k < length; ++k) {
        const unsigned char next = in[i + k];
        if ((next & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (next & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return length;
}

namespace {
// UTF-8 (Latin1: every byte a character). Strict: false at the first byte
// that is not UTF-8; otherwise such a byte is lost and shown as U+FFFD.
enum class ByteCode { Strict, Lossy, Latin1 };
template <ByteCode Code>
bool DecodeBytes(const unsigned char* in, std::size_t size, std::size_t from, LineBuilder& b)
{
    std::size_t i = from;
    while (i < size) {
        // Runs of ASCII without line ends, eight bytes at a time.
        while (size - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, in + i, 8);
            if ((word & 0x8080808080808080u) != 0 || HoldsLineEnd(word))
                break;
            for (int k = 0; k < 8; ++k)
                b.out[b.n + k] = in[i + k];
            b.n += 8;
            i += 8;
        }
        if (i == size)
            break;
        const unsigned char c = in[i];
        if (c == '\n') {
            b.End(i, 1, wxTextFileType_Unix);
            ++i;
        } else if (c == '\r') {
            const bool dos = i + 1 < size && in[i + 1] == '\n';
            b.End(i, dos ? 2 : 1, dos ? wxTextFileType_Dos : wxTextFileType_Mac);
            i += dos ? 2 : 1;
        } else if (c < 0x80 || Code == ByteCode::Latin1) {
            b.Put(c);
            ++i;
        } else {
            char32_t code = 0;
            const std::size_t length = Utf8Sequence(in, i, size, code);
            if (length != 0) {
                b.Put(static_cast<wchar_t>(code));
                i += length;
            } else if (Code == ByteCode::Strict) {
                return false;
            } else {
                b.PutLost();
                ++i;
            }
        }
    }
    b.Finish(size);
    return true;
}

// UTF-16 and UTF-32, either byte order.
template <std::size_t Unit, bool BigEndian>
void DecodeUnits(const unsigned char* in, std::size_t size, std::size_t from, LineBuilder& b)
{
    const auto unit = [&](std::size_t i) {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < Unit; ++k)
            value |= std::uint32_t(in[i + k]) << (8 * (BigEndian ? Unit - 1 - k : k));
        return value;
    };
    std::size_t i = from;
    while (i < size) {
        if (size - i < Unit) {  // a last unit cut short
            b.PutLost();
            i = size;
            break;
        }
        const std::uint32_t u = unit(i);
        if (u == '\n') {
            b.End(i, Unit, wxTextFileType_Unix);
            i += Unit;
        } else if (u == '\r') {
            const bool dos = size - i >= 2 * Unit && unit(i + Unit) == '\n';
            b.End(i, dos ? 2 * Unit : Unit, dos ? wxTextFileType_Dos : wxTextFileType_Mac);
            i += dos ? 2 * Unit : Unit;
        } else if (Unit == 2 && u >= 0xD800 && u <= 0xDBFF && size - i >= 4 && unit(i + 2) >= 0xDC00 &&
                   unit(i + 2) <= 0xDFFF) {
            b.Put(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (unit(i + 2) - 0xDC00)));
            i += 4;
        } else if ((u >= 0xD800 && u <= 0xDFFF) || u > 0x10FFFF) {
            b.PutLost();  // an unpaired surrogate, or no character at all
            i += Unit;
        } else {
            b.Put(static_cast<wchar_t>(u));
            i += Unit;
        }
    }
    b.Finish(size);
}

bool StartsWith(const char* bytes, std::size_t size, std::string_view mark)
{
    return size >= mark.size() && std::memcmp(bytes, mark.data(), mark.size()) == 0;
}

void PutUnit(std::uint32_t value, std::size_t unit, bool bigEndian, std::string& out)
{
    for (std::size_t k = 0; k < unit; ++k)
        out += static_cast<char>((value >> (8 * (bigEndian ? unit - 1 - k : k))) & 0xFF);
}
}  // namespace

const char* EncodingName(TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::Utf8: return "UTF-8";
    case TextEncoding::Utf8WithMark: return "UTF-8";
    case TextEncoding::Latin1: return "Latin-1";
    case TextEncoding::Utf16Le: return "UTF-16LE";
    case TextEncoding::Utf16Be: return "UTF-16BE";
    case TextEncoding::Utf32Le: return "UTF-32LE";
    case TextEncoding::Utf32Be: return "UTF-32BE";
    }
    return "UTF-8";
}

std::string_view ByteOrderMark(TextEncoding encoding)
{
    using namespace std::string_view_literals;
    switch (encoding) {
    case TextEncoding::Utf8WithMark: return "\xEF\xBB\xBF"sv;
    case TextEncoding::Utf16Le: return "\xFF\xFE"sv;
    case TextEncoding::Utf16Be: return "\xFE\xFF"sv;
    case TextEncoding::Utf32Le: return "\xFF\xFE\x00\x00"sv;
    case TextEncoding::Utf32Be: return "\x00\x00\xFE\xFF"sv;
    default: return ""sv;
    }
}

bool EncodeText(std::wstring_view text, TextEncoding encoding, std::string& out)
{
    const std::size_t before = out.size();
    for (const wchar_t c : text) {
        const auto code = static_cast<std::uint32_t>(c);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) ||
            (encoding == TextEncoding::Latin1 && code > 0xFF)) {
            out.resize(before);
            return false;
        }
        switch (encoding) {
        case TextEncoding::Latin1:
            out += static_cast<char>(code);
            break;
        case TextEncoding::Utf16Le:
        case TextEncoding::Utf16Be: {
            const bool big = encoding == TextEncoding::Utf16Be;
            if (code >= 0x10000) {
                PutUnit(0xD800 + ((code - 0x10000) >> 10), 2, big, out);
                PutUnit(0xDC00 + ((code - 0x10000) & 0x3FF), 2, big, out);
            } else {
                PutUnit(code, 2, big, out);
            }
            break;
        }
        case TextEncoding::Utf32Le:
        case TextEncoding::Utf32Be:
            PutUnit(code, 4, encoding == TextEncoding::Utf32Be, out);
            break;
        default:
            if (code < 0x80) {
                out += static_cast<char>(code);
            } else if (code < 0x800) {
                out += static_cast<char>(0xC0 | (code >> 6));
                out += static_cast<char>(0x80 | (code & 0x3F));
            } else if (code < 0x10000) {
                out += static_cast<char>(0xE0 | (code >> 12));
                out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
                out += static_cast<char>(0x80 | (code & 0x3F));
            } else {
                out += static_cast<char>(0xF0 | (code >> 18));
                out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
                out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
                out += static_cast<char>(0x80 | (code & 0x3F));
            }
            break;
        }
    }
    return true;
}

std::string LineEndBytes(wxTextFileType type, TextEncoding encoding)
{
    const wchar_t* end = type == wxTextFileType_Unix  ? L"\n"
                         : type == wxTextFileType_Dos ? L"\r\n"
                         : type == wxTextFileType_Mac ? L"\r"
                                                      : L"";
    std::string bytes;
    EncodeText(end, encoding, bytes);
    return bytes;
}

bool DecodedText::Decode(const char* bytes, std::size_t size)
{
    m_lines.clear();
    m_exact = true;
    m_cutUnit = false;
    m_encoding = TextEncoding::Utf8;
    m_text = AllocateBlock<wchar_t>(size + 1);
    if (!m_text)
        return false;
    const auto* in = reinterpret_cast<const unsigned char*>(bytes);
    // A mark, longest first: the UTF-32LE mark starts like the UTF-16LE one.
    for (TextEncoding marked : {TextEncoding::Utf32Le, TextEncoding::Utf32Be, TextEncoding::Utf8WithMark,
                                TextEncoding::Utf16Le, TextEncoding::Utf16Be})
        if (StartsWith(bytes, size, ByteOrderMark(marked))) {
            m_encoding = marked;
            break;
        }
    const std::size_t from = ByteOrderMark(m_encoding).size();
    if (m_encoding == TextEncoding::Utf8 || m_encoding == TextEncoding::Latin1)
        m_lines.reserve(std::size_t(std::count(bytes, bytes + size, '\n')) + 1);
    LineBuilder builder{m_text.get(), m_lines};
    builder.lineByte = from;
    switch (m_encoding) {
    case TextEncoding::Utf8:
        if (!DecodeBytes<ByteCode::Strict>(in, size, 0, builder)) {
            // Not UTF-8: every byte is a Latin-1 character.
            builder.Reset();
            m_encoding = TextEncoding::Latin1;
            DecodeBytes<ByteCode::Latin1>(in, size, 0, builder);
        }
        break;
    case TextEncoding::Utf8WithMark: DecodeBytes<ByteCode::Lossy>(in, size, from, builder); break;
    case TextEncoding::Utf16Le: DecodeUnits<2, false>(in, size, from, builder); break;
    case TextEncoding::Utf16Be: DecodeUnits<2, true>(in, size, from, builder); break;
    case TextEncoding::Utf32Le: DecodeUnits<4, false>(in, size, from, builder); break;
    case TextEncoding::Utf32Be: DecodeUnits<4, true>(in, size, from, builder); break;
    case TextEncoding::Latin1: break;
    }
    m_exact = builder.exact;
    const std::size_t unit = m_encoding == TextEncoding::Utf16Le || m_encoding == TextEncoding::Utf16Be   ? 2
                             : m_encoding == TextEncoding::Utf32Le || m_encoding == TextEncoding::Utf32Be ? 4
                                                                                                          : 1;
    m_cutUnit = (size - from) % unit != 0;
    return true;
}

bool StartsLikeAMark(std::string_view bytes)
{
    for (TextEncoding marked : {TextEncoding::Utf32Le, TextEncoding::Utf32Be, TextEncoding::Utf8WithMark,
                                TextEncoding::Utf16Le, TextEncoding::Utf16Be})
        if (bytes.substr(0, ByteOrderMark(marked).size()) == ByteOrderMark(marked))
            return true;
    return false;
}

wxTextFileType DecodedText::LineEnding() const
{
    return MostCommonLineEnd(Count(), [this](std::size_t n) { return Type(n); });
}

bool IsStrictUtf8(const unsigned char* in, std::size_t size)
{
    std::size_t i = StartsWith(reinterpret_cast<const char*>(in), size, "\xEF\xBB\xBF") ? 3 : 0;
    while (i < size) {
        while (size - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, in + i, 8);
            if ((word & 0x8080808080808080u) != 0)
                break;
            i += 8;
        }
        if (i == size)
            break;
        if (in[i] < 0x80) {
            ++i;
            continue;
        }
        char32_t code = 0;
        const std::size_t length = Utf8Sequence(in, i, size, code);
        if (length == 0)
            return false;
        i += length;
    }
    return true;
}

std::string ShownText(std::string_view text, std::size_t limit)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    std::string shown;
    std::size_t characters = 0, i = 0;
    while (i < text.size() && characters < limit) {
        char32_t c = bytes[i];
        const std::size_t length = c < 0x80 ? 1 : Utf8Sequence(bytes, i, text.size(), c);
        if (length == 0 || RefusedCharacterKind(c) != nullptr)
            shown += '?';
        else
            shown.append(text.substr(i, length));
        i += std::max<std::size_t>(length, 1);
        ++characters;
    }
    if (i < text.size())
        shown += "...";
    return shown;
}

std::string ShownText(std::wstring_view text, std::size_t limit)
{
    std::string shown;
    std::size_t i = 0;
    for (; i < text.size() && i < limit; ++i) {
        // A surrogate or a value past U+10FFFF is no character: UTF-8 cannot hold it.
        if (RefusedCharacterKind(static_cast<char32_t>(text[i])) != nullptr ||
            !EncodeText(text.substr(i, 1), TextEncoding::Utf8, shown))
            shown += '?';
    }
    if (i < text.size())
        shown += "...";
    return shown;
}

std::string QuotedText(std::string_view text)
{
    std::string quoted(1, '"');
    quoted += ShownText(text);
    quoted += '"';
    return quoted;
}

std::string QuotedText(std::wstring_view text)
{
    std::string quoted(1, '"');
    quoted += ShownText(text);
    quoted += '"';
    return quoted;
}

std::size_t Utf8Characters(const char* bytes, std::size_t size)
{
    return std::size_t(std::count_if(bytes, bytes + size, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void SplitByteLines(const char* text, std::size_t length, std::vector<ByteLine>& lines)
{
    lines.clear();
    lines.reserve(std::size_t(std::count(text, text + length, '\n')) + 1);
    std::size_t start = 0;
    for (std::size_t p = 0; p < length; ++p) {
        if (text[p] == '\n') {
            lines.push_back({start, p - start, wxTextFileType_Unix});
            start = p + 1;
        } else if (text[p] == '\r') {
            if (p + 1 < length && text[p + 1] == '\n') {
                lines.push_back({start, p - start, wxTextFileType_Dos});
                start = ++p + 1;
            } else {
                lines.push_back({start, p - start, wxTextFileType_Mac});
                start = p + 1;
            }
        }
    }
    if (start < length)
        lines.push_back({start, length - start, wxTextFileType_None});
}

const char* RefusedCharacterKind(char32_t c)
{
    if (c < 0x20 || (c >= 0x7F && c <= 0x9F))
        return "a control character";
    if (c == 0x2028 || c == 0x2029)
        return "a line separator";
    if ((c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069))
        return "a bidirectional control character";
    return nullptr;
}

namespace {
std::string Refused(char32_t c)
{
    const char* kind = RefusedCharacterKind(c);
    if (kind == nullptr)
        return {};
    char code[16];
    std::snprintf(code, sizeof code, "U+%04X", unsigned(c));
    return std::string(kind) + " (" + code + ")";
}
}  // namespace

std::string RefusedCharacterIn(std::string_view text)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        char32_t c = bytes[i];
        std::size_t length = 1;
        if (c >= 0x80) {
            length = Utf8Sequence(bytes, i, text.size(), c);
            if (length == 0) {  // no character: not this check's to judge
                ++i;
                continue;
            }
        }
        if (std::string refused = Refused(c); !refused.empty())
            return refused;
        i += length;
    }
    return {};
}

std::string RefusedCharacterIn(std::wstring_view text)
{
    for (const wchar_t c : text)
        if (std::string refused = Refused(static_cast<char32_t>(c)); !refused.empty())
            return refused;
    return {};
}
