#include "results/text_document.h"

#include "results/atomic_file.h"

#include <wx/file.h>
#include <wx/log.h>

#include <cerrno>

#include <cstring>
#include <cwchar>
#include <string>

bool TextDocument::Open(const wxString& path)
{
    wxLogNull quiet;
    return m_file.Open(path, m_conv);
}

namespace {
// The line end most lines have; the first line's on a tie; Unix without any.
template <typename TypeOf>
wxTextFileType MostCommonLineEnd(std::size_t count, TypeOf typeOf)
{
    std::size_t counts[4] = {};
    wxTextFileType first = wxTextFileType_None;
    for (std::size_t n = 0; n < count; ++n) {
        const wxTextFileType type = typeOf(n);
        if (type == wxTextFileType_Unix || type == wxTextFileType_Dos || type == wxTextFileType_Mac) {
            ++counts[type];
            if (first == wxTextFileType_None)
                first = type;
        }
    }
    if (first == wxTextFileType_None)
        return wxTextFileType_Unix;
    wxTextFileType best = first;
    for (wxTextFileType type : {wxTextFileType_Unix, wxTextFileType_Dos, wxTextFileType_Mac})
        if (counts[type] > counts[best])
            best = type;
    return best;
}
}  // namespace

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
    if (!bytes && !text.empty()) {
        m_error = EILSEQ;
        return false;
    }
    m_error = WriteFileAtomically(m_file.GetName(), bytes.data(), size);
    return m_error == 0;
}

bool TextLines::Read(const wxString& path)
{
    wxLogNull quiet;
    m_lines.clear();
    m_data = nullptr;
    m_text.reset();
    wxFile file;
    if (!file.Open(path, wxFile::read))
        return false;
    const wxFileOffset size = file.Length();
    if (size < 0)
        return false;
    wxCharBuffer bytes(static_cast<std::size_t>(size));
    if (size > 0 && file.Read(bytes.data(), static_cast<std::size_t>(size)) != size)
        return false;
    if (size == 0)
        return true;
    // The conversion the text file uses: a byte-order mark, else UTF-8, else
    // Latin-1.
    wxConvAuto conv;
    std::size_t length = 0;
    m_text = conv.cMB2WC(bytes.data(), static_cast<std::size_t>(size), &length);
    if (m_text && length != 0) {
        bytes.reset();
        Split(m_text.data(), length);
        return true;
    }
    // Text that does not convert in one piece (a byte-order mark over broken
    // text, say): read it exactly as the text file does, line by line.
    TextDocument document;
    if (!document.Open(path))
        return false;
    std::wstring joined;
    std::vector<Span> spans;
    for (std::size_t n = 0; n < document.LineCount(); ++n) {
        const wxString& line = document.Line(n);
        spans.push_back({joined.size(), line.length(), document.LineType(n)});
        joined.append(line.wc_str(), line.length());
    }
    m_text = wxWCharBuffer(joined.size());
    std::wmemcpy(m_text.data(), joined.data(), joined.size());
    m_data = m_text.data();
    m_lines = std::move(spans);
    return true;
}

void TextLines::Decode(const char* bytes, std::size_t size)
{
    m_lines.clear();
    m_data = nullptr;
    m_text.reset();
    if (size == 0)
        return;
    wxConvAuto conv;
    std::size_t length = 0;
    m_text = conv.cMB2WC(bytes, size, &length);
    if (!m_text) {
        if (size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
            bytes += 3;
            size -= 3;
        }
        m_text = wxConvISO8859_1.cMB2WC(bytes, size, &length);
    }
    if (m_text)
        Split(m_text.data(), length);
}

void TextLines::Split(const wchar_t* text, std::size_t length)
{
    m_data = text;
    m_lines.clear();
    std::size_t start = 0;
    for (std::size_t p = 0; p < length; ++p) {
        if (text[p] == L'\n') {
            m_lines.push_back({start, p - start, wxTextFileType_Unix});
            start = p + 1;
        } else if (text[p] == L'\r') {
            if (p + 1 < length && text[p + 1] == L'\n') {
                m_lines.push_back({start, p - start, wxTextFileType_Dos});
                start = ++p + 1;
            } else {
                m_lines.push_back({start, p - start, wxTextFileType_Mac});
                start = p + 1;
            }
        }
    }
    if (start < length)
        m_lines.push_back({start, length - start, wxTextFileType_None});
}

std::wstring_view TextLines::Line(std::size_t n) const
{
    return {m_data + m_lines[n].start, m_lines[n].length};
}

wxTextFileType TextLines::LineEnding() const
{
    return MostCommonLineEnd(Count(), [this](std::size_t n) { return Type(n); });
}
