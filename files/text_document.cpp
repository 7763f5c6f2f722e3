#include "files/text_document.h"

bool TextDocument::Parse(std::string_view bytes)
{
    m_bytes.assign(bytes.data(), bytes.size());
    m_lines.clear();
    if (!m_text.Decode(m_bytes.data(), m_bytes.size()))
        return false;
    m_lines.reserve(m_text.Count() + 2);
    for (std::size_t n = 0; n < m_text.Count(); ++n)
        m_lines.push_back({n, std::wstring(), m_text.Type(n), false});
    return true;
}

std::wstring_view TextDocument::Line(std::size_t n) const
{
    const Entry& entry = m_lines[n];
    return entry.original == New ? std::wstring_view(entry.text) : m_text.Line(entry.original);
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
    if (n == count && count > 0 && m_lines[count - 1].type == wxTextFileType_None) {
        m_lines[count - 1].type = type;
        m_lines[count - 1].endChanged = true;
    }
    m_lines.insert(m_lines.begin() + std::ptrdiff_t(n), Entry{New, text.ToStdWstring(), type, false});
}

void TextDocument::Remove(std::size_t n)
{
    if (n < LineCount())
        m_lines.erase(m_lines.begin() + std::ptrdiff_t(n));
}

bool TextDocument::Encode(std::string& out, std::size_t& badLine, Refusal* refusal) const
{
    const auto refuse = [&](std::size_t line, Refusal why) {
        badLine = line;
        if (refusal != nullptr)
            *refusal = why;
        return false;
    };
    TextEncoding encoding = m_text.Encoding();
    // A Latin-1 file given a character Latin-1 lacks becomes UTF-8 as a
    // whole (its old lines decoded without loss), rather than lose it.
    bool wholeAnew = false;
    if (encoding == TextEncoding::Latin1)
        for (const Entry& entry : m_lines) {
            std::string ignored;
            if (entry.original == New && !EncodeText(entry.text, encoding, ignored)) {
                encoding = TextEncoding::Utf8;
                wholeAnew = true;
                break;
            }
        }
    for (int pass = 0; pass < 2; ++pass) {
        const bool marked = m_text.MarkBytes() != 0 || encoding == TextEncoding::Utf8WithMark;
        out.clear();
        out.reserve(m_bytes.size() + 256);
        if (encoding == TextEncoding::Utf8WithMark && m_text.MarkBytes() == 0)
            out.append(ByteOrderMark(encoding));
        else
            out.append(m_bytes, 0, m_text.MarkBytes());
        bool afterCarriageReturn = false;
        for (std::size_t n = 0; n < m_lines.size(); ++n) {
            const Entry& entry = m_lines[n];
            wxTextFileType type = entry.type;
            // "\r" then "\n" would read back as one line end: an empty line
            // that follows a line ending in "\r" keeps to "\r" too, so no line
            // is lost.
            const bool empty = Line(n).empty();
            if (afterCarriageReturn && type == wxTextFileType_Unix && empty)
                type = wxTextFileType_Mac;
            afterCarriageReturn = type == wxTextFileType_Mac;
            if (entry.original != New && !wholeAnew) {
                const TextLine& span = m_text.Span(entry.original);
                // The cut unit a UTF-16 or UTF-32 text ends in can end the
                // file, but nothing can follow it.
                const bool cut = m_text.EndsInACutUnit() && span.byteStart + span.byteLength == m_bytes.size();
                if (cut && (type != span.type || entry.endChanged || n + 1 < m_lines.size()))
                    return refuse(n + 1, Refusal::CutUnit);
                if (type == span.type && !entry.endChanged) {
                    out.append(m_bytes, span.byteStart, span.byteLength + span.endBytes);
                } else {
                    out.append(m_bytes, span.byteStart, span.byteLength);
                    out += LineEndBytes(type, encoding);
                }
                continue;
            }
            if (!EncodeText(Line(n), encoding, out))
                return refuse(n + 1, Refusal::Character);
            out += LineEndBytes(type, encoding);
        }
        // Text without a mark that starts as one does would read back as
        // another encoding: it gets a UTF-8 mark (a Latin-1 text becomes
        // UTF-8 as a whole for it).
        if (marked || !StartsLikeAMark(out))
            return true;
        if (encoding == TextEncoding::Latin1)
            wholeAnew = true;
        encoding = TextEncoding::Utf8WithMark;
    }
    return true;
}
