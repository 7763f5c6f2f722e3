// A text file read and written whole, as the program's data files are: the
// encoding found on reading (UTF-8, Latin-1, or what a byte-order mark says)
// is kept on writing, every untouched line keeps its bytes and its line end,
// and writing goes to a temporary file renamed over the old one, so a crash
// leaves the old file or the new one, never a torn one and never none.
// (wxTextFile::Write removes the old file before renaming the new one, and
// replaces a symbolic link by a file.)
#pragma once

#include <wx/buffer.h>
#include <wx/convauto.h>
#include <wx/textfile.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

/// Where a line of a text starts, how long it is and how it ends.
struct LineSpan {
    std::size_t start;
    std::size_t length;
    wxTextFileType type;
};

/// Splits text into lines at "\n", "\r\n" and a lone "\r", as the text file
/// does; a last line without a line end counts when it is not empty.
template <typename Char>
void SplitIntoLines(const Char* text, std::size_t length, std::vector<LineSpan>& lines)
{
    lines.clear();
    lines.reserve(std::size_t(std::count(text, text + length, Char('\n'))) + 1);
    std::size_t start = 0;
    for (std::size_t p = 0; p < length; ++p) {
        if (text[p] == Char('\n')) {
            lines.push_back({start, p - start, wxTextFileType_Unix});
            start = p + 1;
        } else if (text[p] == Char('\r')) {
            if (p + 1 < length && text[p + 1] == Char('\n')) {
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

/// The line end most of `count` lines have (the first line's on a tie);
/// Unix for text without any.
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

class TextDocument {
public:
    /// Reads the file; false when it cannot be read. Logs nothing.
    bool Open(const wxString& path);

    std::size_t LineCount() const { return m_file.GetLineCount(); }
    const wxString& Line(std::size_t n) const { return m_file.GetLine(n); }
    wxTextFileType LineType(std::size_t n) const { return m_file.GetLineType(n); }

    /// The line end most lines have (the first line's on a tie); Unix for a
    /// file without any.
    wxTextFileType LineEnding() const;

    /// Inserts `text` before line `n` (or at the end when `n` is the line
    /// count) ending with `type`. A last line without a line end gets one
    /// first, so the new line never runs into it.
    void Insert(const wxString& text, std::size_t n, wxTextFileType type);
    void Remove(std::size_t n);

    /// Writes the lines back in place of the file (of its target, when the
    /// file is a symbolic link); false when it could not be replaced.
    bool Write();

    /// The bytes Write would write; false when the lines cannot be encoded.
    bool Encode(std::string& bytes) const;

    /// Why the last Write failed: an errno value.
    int WriteError() const { return m_error; }

private:
    wxTextFile m_file;
    wxConvAuto m_conv;
    int m_error = 0;
};

/// A text file's lines, read, decoded and split exactly as TextDocument does,
/// but kept in one block rather than a string per line: for large files that
/// are only read.
class TextLines {
public:
    /// Reads the file and decodes it; false when it cannot be read.
    bool Read(const wxString& path);

    /// Decodes text as the file reader does (a byte-order mark, else UTF-8,
    /// else Latin-1; text that is not what its mark says is taken as
    /// Latin-1) and splits it into lines.
    void Decode(const char* bytes, std::size_t size);

    /// How the text was decoded, so that lines added to it can be encoded
    /// as a text file writes them.
    enum class Encoding {
        Utf8,          ///< UTF-8 without a byte-order mark (or no text at all)
        Utf8WithMark,  ///< UTF-8 after its byte-order mark
        Latin1,        ///< not UTF-8, and no mark: byte by byte
        Other,         ///< a UTF-16 or UTF-32 mark, or UTF-8 that is not strict
    };
    Encoding TextEncoding() const { return m_encoding; }

    std::size_t Count() const { return m_lines.size(); }
    std::wstring_view Line(std::size_t n) const;
    wxTextFileType Type(std::size_t n) const { return m_lines[n].type; }
    wxTextFileType LineEnding() const;

    /// Splits decoded text into lines at "\n", "\r\n" and a lone "\r"; a last
    /// line without a line end counts when it is not empty.
    void Split(const wchar_t* text, std::size_t length);

private:
    using Span = LineSpan;
    /// Decodes strict UTF-8 (after a UTF-8 byte-order mark, if any) into
    /// m_decoded; false, with nothing kept, for any other text.
    bool DecodeUtf8(const char* bytes, std::size_t size);

    /// The conversion of the text file: the encoding it found.
    void DecodeAsTextFile(const char* bytes, std::size_t size);

    wxWCharBuffer m_text;
    std::unique_ptr<wchar_t[]> m_decoded;
    Encoding m_encoding = Encoding::Utf8;
    const wchar_t* m_data = nullptr;
    std::vector<Span> m_lines;
};

/// Decodes `size` bytes of strict UTF-8 (no overlong forms, no surrogates,
/// nothing above U+10FFFF) into `out`, which has room for `size` characters
/// (a null `out` only checks). Returns the number of characters, or
/// std::size_t(-1) for any other text.
std::size_t DecodeStrictUtf8(const unsigned char* in, std::size_t size, wchar_t* out);
