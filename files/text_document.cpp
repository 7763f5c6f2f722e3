#include "files/text_document.h"

#include "files/atomic_file.h"
#include "files/big_block.h"

#include <wx/file.h>
#include <wx/log.h>

#include <cerrno>

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

bool TextDocument::Open(const wxString& path)
{
    wxLogNull quiet;
    if (!m_file.Open(path, m_conv))
        return false;
    if (m_file.GetLineCount() > 0)
        return true;
    // The text file gives no lines for text its conversion refuses (a mark
    // over text that is not what the mark says): read as TextLines reads it,
    // so that a change never writes the file without them.
    std::string bytes;
    if (ReadWholeFile(path, bytes) != 0)
        return false;
    TextLines lines;
    lines.Decode(bytes.data(), bytes.size());
    for (std::size_t n = 0; n < lines.Count(); ++n)
        m_file.AddLine(wxString(lines.Line(n).data(), lines.Line(n).size()), lines.Type(n));
    return true;
}

wxTextFileType TextDocument::LineEnding() const
{
    return MostCommonLineEnd(LineCount(), [this](std::size_t n) { return LineType(n); });
}

void TextDocument::Insert(const wxString& text, std::size_t n, wxTextFileType type)
{
    const std::size_t count = LineCount();
    if (n > count)
        n = count;
    if (n == count && count > 0 && LineType(count - 1) == wxTextFileType_None) {
        const wxString last = Line(count - 1);
        m_file.RemoveLine(count - 1);
        m_file.AddLine(last, type);
    }
    if (n == count)
        m_file.AddLine(text, type);
    else
        m_file.InsertLine(text, n, type);
}

void TextDocument::Remove(std::size_t n)
{
    if (n < LineCount())
        m_file.RemoveLine(n);
}

bool TextDocument::Write()
{
    std::string bytes;
    if (!Encode(bytes)) {
        m_error = EILSEQ;
        return false;
    }
    m_error = WriteFileAtomically(m_file.GetName(), bytes.data(), bytes.size());
    return m_error == 0;
}

bool TextDocument::Encode(std::string& out) const
{
    wxString text;
    // The converter drops a byte-order mark when reading; put it back.
    if (m_conv.GetBOM() > wxBOM_None)
        text << wxUniChar(0xFEFF);
    bool afterCarriageReturn = false;
    for (std::size_t n = 0; n < LineCount(); ++n) {
        wxTextFileType type = LineType(n);
        // "\r" then "\n" would read back as one line end: an empty line that
        // follows a line ending in "\r" keeps to "\r" too, so no line is lost.
        if (afterCarriageReturn && type == wxTextFileType_Unix && Line(n).empty())
            type = wxTextFileType_Mac;
        text << Line(n) << wxTextBuffer::GetEOL(type);
        afterCarriageReturn = type == wxTextFileType_Mac;
    }

    // In the file's own encoding; text that encoding cannot hold (a character
    // typed that Latin-1 lacks) is written as UTF-8 rather than lost.
    std::size_t size = 0;
    wxCharBuffer bytes = m_conv.cWC2MB(text.wc_str(), text.length(), &size);
    if (!bytes && !text.empty())
        bytes = wxConvUTF8.cWC2MB(text.wc_str(), text.length(), &size);
    if (!bytes && !text.empty())
        return false;
    out.assign(bytes.data() != nullptr ? bytes.data() : "", size);
    return true;
}

std::size_t DecodeStrictUtf8(const unsigned char* in, std::size_t size, wchar_t* out)
{
    constexpr std::size_t invalid = std::size_t(-1);
    std::size_t n = 0;
    for (std::size_t i = 0; i < size;) {
        // Runs of ASCII, eight bytes at a time.
        while (size - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, in + i, 8);
            if ((word & 0x8080808080808080u) != 0)
                break;
            if (out != nullptr)
                for (int k = 0; k < 8; ++k)
                    out[n + k] = in[i + k];
            n += 8;
            i += 8;
        }
        if (i == size)
            break;
        const unsigned char lead = in[i];
        if (lead < 0x80) {
            if (out != nullptr)
                out[n] = lead;
            ++n;
            ++i;
            continue;
        }
        std::size_t length;
        char32_t code, minimum;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2, code = lead & 0x1F, minimum = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3, code = lead & 0x0F, minimum = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4, code = lead & 0x07, minimum = 0x10000;
        } else {
            return invalid;
        }
        if (size - i < length)
            return invalid;
        for (std::size_t k = 1; k < length; ++k) {
            const unsigned char next = in[i + k];
            if ((next & 0xC0) != 0x80)
                return invalid;
            code = (code << 6) | (next & 0x3F);
        }
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return invalid;
        if (out != nullptr)
            out[n] = static_cast<wchar_t>(code);
        ++n;
        i += length;
    }
    return n;
}

bool TextLines::DecodeUtf8(const char* bytes, std::size_t size)
{
    const char* const start = bytes;
    if (size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
        bytes += 3;
        size -= 3;
    } else if (size >= 2 && (static_cast<unsigned char>(bytes[0]) >= 0xFE || bytes[0] == 0)) {
        return false;  // a UTF-16 or UTF-32 mark, or text that may be either
    }
    const bool marked = bytes != start;
    m_decoded = AllocateBlock<wchar_t>(size + 1);
    if (!m_decoded)
        return false;
    const std::size_t length = DecodeStrictUtf8(reinterpret_cast<const unsigned char*>(bytes), size, m_decoded.get());
    if (length == std::size_t(-1)) {
        m_decoded.reset();
        return false;
    }
    m_encoding = marked ? Encoding::Utf8WithMark : Encoding::Utf8;
    Split(m_decoded.get(), length);
    return true;
}

bool TextLines::Read(const wxString& path)
{
    std::string bytes;
    if (ReadWholeFile(path, bytes) != 0)
        return false;
    Decode(bytes.data(), bytes.size());
    return true;
}

void TextLines::DecodeAsTextFile(const char* bytes, std::size_t size)
{
    // The conversion the text file uses: a byte-order mark, else UTF-8, else
    // Latin-1.
    wxConvAuto conv;
    std::size_t length = 0;
    m_text = conv.cMB2WC(bytes, size, &length);
    m_encoding = conv.GetBOM() == wxBOM_None && conv.GetEncoding() == wxFONTENCODING_ISO8859_1 ? Encoding::Latin1
                                                                                                : Encoding::Other;
    if (m_text && length != 0)
        Split(m_text.data(), length);
    else
        m_text.reset();
}

void TextLines::Decode(const char* bytes, std::size_t size)
{
    m_lines.clear();
    m_data = nullptr;
    m_text.reset();
    m_decoded.reset();
    m_encoding = Encoding::Utf8;
    if (size == 0 || DecodeUtf8(bytes, size))
        return;
    DecodeAsTextFile(bytes, size);
    if (m_data != nullptr || size == 0)
        return;
    // Text that is not what its mark says: byte by byte, after a UTF-8 mark.
    if (size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
        bytes += 3;
        size -= 3;
    }
    std::size_t length = 0;
    m_text = wxConvISO8859_1.cMB2WC(bytes, size, &length);
    m_encoding = Encoding::Other;
    if (m_text)
        Split(m_text.data(), length);
}

void TextLines::Split(const wchar_t* text, std::size_t length)
{
    m_data = text;
    SplitIntoLines(text, length, m_lines);
}

std::wstring_view TextLines::Line(std::size_t n) const
{
    return {m_data + m_lines[n].start, m_lines[n].length};
}

wxTextFileType TextLines::LineEnding() const
{
    return MostCommonLineEnd(Count(), [this](std::size_t n) { return Type(n); });
}
