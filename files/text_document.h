// A text file's lines, to be changed and written back: the encoding found
// on reading is kept on writing, and every line that is not changed keeps
// its bytes and its line end exactly, even bytes that decode to no
// character. (A Latin-1 file that is given a character Latin-1 lacks
// becomes UTF-8 as a whole rather than lose it.)
#pragma once

#include "files/encoding.h"

#include <wx/string.h>

#include <string>
#include <string_view>
#include <vector>

class TextDocument {
public:
    /// Decodes `bytes` (kept in the document); false when there is no
    /// memory for them.
    bool Parse(std::string_view bytes);

    std::size_t LineCount() const { return m_lines.size(); }
    std::wstring_view Line(std::size_t n) const;
    wxTextFileType LineType(std::size_t n) const { return m_lines[n].type; }
    TextEncoding Encoding() const { return m_text.Encoding(); }

    /// The line end most lines have (the first line's on a tie); Unix for a
    /// file without any.
    wxTextFileType LineEnding() const;

    /// Inserts `text` before line `n` (or at the end when `n` is the line
    /// count) ending with `type`. A last line without a line end gets one
    /// first, so the new line never runs into it.
    void Insert(const wxString& text, std::size_t n, wxTextFileType type);
    void Remove(std::size_t n);

    /// Why the lines cannot be written.
    enum class Refusal {
        None,
        Character,  ///< a changed line holds a character no encoding of the file holds
        CutUnit,    ///< something would follow a cut UTF-16 or UTF-32 unit
    };

    /// The bytes the lines make; false, with the line (from 1) that cannot
    /// be written in `badLine` and why in `refusal`. A text without a mark
    /// that would start as a mark does is written as UTF-8 with a mark, so
    /// that it reads back as it was.
    bool Encode(std::string& out, std::size_t& badLine, Refusal* refusal = nullptr) const;

private:
    static constexpr std::size_t New = std::size_t(-1);
    struct Entry {
        std::size_t original;  ///< the decoded line it is, or New
        std::wstring text;     ///< a new line's text
        wxTextFileType type;
        bool endChanged;       ///< an original line given a line end it did not have
    };
    std::string m_bytes;
    DecodedText m_text;
    std::vector<Entry> m_lines;
};
