// The one way the program's text files are decoded and encoded: a
// byte-order mark says the encoding; without one, text that is strict UTF-8
// is UTF-8 and anything else is Latin-1. Units that decode to nothing (a
// broken sequence after a UTF-8 mark, an unpaired UTF-16 surrogate, an odd
// last byte) are shown as U+FFFD, and the lines that hold them are marked,
// so that a writer keeps their bytes as they were.
#pragma once

#include <wx/textfile.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

enum class TextEncoding {
    Utf8,          ///< strict UTF-8 without a byte-order mark (or no text at all)
    Utf8WithMark,  ///< after a UTF-8 byte-order mark
    Latin1,        ///< no mark and not UTF-8: one character a byte
    Utf16Le,
    Utf16Be,
    Utf32Le,
    Utf32Be,
};

/// "UTF-8", "Latin-1", "UTF-16LE" and so on, for messages.
const char* EncodingName(TextEncoding encoding);

/// The byte-order mark that starts a text in `encoding` ("" for UTF-8
/// without one and for Latin-1).
std::string_view ByteOrderMark(TextEncoding encoding);

/// Appends `text` in `encoding`; false, with `out` as it was, when the
/// encoding cannot hold one of its characters (Latin-1 above U+00FF; a
/// surrogate or a value past U+10FFFF in any).
bool EncodeText(std::wstring_view text, TextEncoding encoding, std::string& out);

/// The bytes of a line end of `type` in `encoding` (none for None).
std::string LineEndBytes(wxTextFileType type, TextEncoding encoding);

/// Where a line is in the decoded text and in the bytes it came from.
struct TextLine {
    std::size_t start;       ///< first character
    std::size_t length;      ///< characters, the line end not counted
    std::size_t byteStart;   ///< first byte
    std::size_t byteLength;  ///< bytes, the line end not counted
    std::uint8_t endBytes;   ///< bytes of the line end
    wxTextFileType type;
    bool exact;              ///< false: holds units shown as U+FFFD
};

/// A text's characters in one block and its lines, split at "\n", "\r\n"
/// and a lone "\r"; a last line without a line end counts when it is not
/// empty.
class DecodedText {
public:
    /// Decodes `size` bytes; false when there is no memory for the text.
    bool Decode(const char* bytes, std::size_t size);

    TextEncoding Encoding() const { return m_encoding; }
    std::size_t Count() const { return m_lines.size(); }
    std::wstring_view Line(std::size_t n) const { return {m_text.get() + m_lines[n].start, m_lines[n].length}; }
    const TextLine& Span(std::size_t n) const { return m_lines[n]; }
    wxTextFileType Type(std::size_t n) const { return m_lines[n].type; }
    bool Exact(std::size_t n) const { return m_lines[n].exact; }

    /// Whether every unit decoded to a character.
    bool Exact() const { return m_exact; }

    /// The line end most lines have (the first line's on a tie); Unix for a
    /// text without any.
    wxTextFileType LineEnding() const;

    /// Bytes of the byte-order mark the text started with.
    std::size_t MarkBytes() const { return ByteOrderMark(m_encoding).size(); }

    /// Whether the text ends in part of a UTF-16 or UTF-32 unit: nothing
    /// can follow it without every later unit being read out of step.
    bool EndsInACutUnit() const { return m_cutUnit; }

private:
    std::unique_ptr<wchar_t[]> m_text;
    std::vector<TextLine> m_lines;
    TextEncoding m_encoding = TextEncoding::Utf8;
    bool m_exact = true;
    bool m_cutUnit = false;
};

/// Whether `bytes` start as a byte-order mark does, so that a text without
/// one that started so would be read as another encoding.
bool StartsLikeAMark(std::string_view bytes);

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

/// Whether `size` bytes (after a UTF-8 mark, if any) are strict UTF-8: no
/// overlong forms, no surrogates, nothing above U+10FFFF.
bool IsStrictUtf8(const unsigned char* bytes, std::size_t size);

/// The strict UTF-8 sequence that starts at in[i] (of `size` bytes): its
/// length, with its character in `code`; 0 when there is none.
std::size_t Utf8Sequence(const unsigned char* in, std::size_t i, std::size_t size, char32_t& code);

/// What `c` is, when text a person reads may not hold it (a record, a name
/// in a document): "a control character" (C0 with tab, DEL, C1), "a line
/// separator" (U+2028, U+2029) or "a bidirectional control character"
/// (U+202A to U+202E, U+2066 to U+2069), which would change what the text
/// around it shows; null for any other character.
const char* RefusedCharacterKind(char32_t c);

/// The first character of `text` (strict UTF-8, or decoded) that
/// RefusedCharacterKind refuses, said as "a control character (U+0009)";
/// empty when there is none.
std::string RefusedCharacterIn(std::string_view text);
std::string RefusedCharacterIn(std::wstring_view text);

/// `text` as a message shows it: at most `limit` characters, then "...";
/// the characters RefusedCharacterKind refuses, and bytes or units that are
/// no character, as "?".
std::string ShownText(std::string_view text, std::size_t limit = 24);
std::string ShownText(std::wstring_view text, std::size_t limit = 24);

/// ShownText in double quotes, as a message quotes a value.
std::string QuotedText(std::string_view text);
std::string QuotedText(std::wstring_view text);

/// Characters in `size` bytes of strict UTF-8.
std::size_t Utf8Characters(const char* bytes, std::size_t size);

/// Where the lines of bytes in a one-byte encoding (UTF-8, Latin-1) are:
/// split as DecodedText splits characters.
struct ByteLine {
    std::size_t start;
    std::size_t length;
    wxTextFileType type;
};
void SplitByteLines(const char* bytes, std::size_t size, std::vector<ByteLine>& lines);
