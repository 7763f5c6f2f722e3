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

#include <string_view>
#include <vector>

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
    /// Reads the file; false when it cannot be read or decoded.
    bool Read(const wxString& path);

    /// Decodes text as the file reader does (a byte-order mark, else UTF-8,
    /// else Latin-1; text that is not what its mark says is taken as
    /// Latin-1) and splits it into lines.
    void Decode(const char* bytes, std::size_t size);

    std::size_t Count() const { return m_lines.size(); }
    std::wstring_view Line(std::size_t n) const;
    wxTextFileType Type(std::size_t n) const { return m_lines[n].type; }
    wxTextFileType LineEnding() const;

    /// Splits decoded text into lines at "\n", "\r\n" and a lone "\r"; a last
    /// line without a line end counts when it is not empty.
    void Split(const wchar_t* text, std::size_t length);

private:
    struct Span {
        std::size_t start;
        std::size_t length;
        wxTextFileType type;
    };
    wxWCharBuffer m_text;
    const wchar_t* m_data = nullptr;
    std::vector<Span> m_lines;
};
