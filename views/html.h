// HTML written by the program. Every text that comes from a table, a
// document or a command line goes through EscapeHtml, here and nowhere else:
// markup is only ever the program's own string literals.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

/// `text` (UTF-8) as HTML text or an attribute value: & < > " ' as
/// references; a byte that is not part of strict UTF-8, and a character no
/// text may hold (a control character, a line or bidirectional control),
/// as U+FFFD, so that the page stays well-formed and shows what it shows.
std::string EscapeHtml(std::string_view text);

/// An attribute of an element: its name is the program's own, its value is
/// escaped.
struct HtmlAttribute {
    const char* name;
    std::string value;
};

/// Appends HTML to a string: markup from literals, text escaped.
class Html {
public:
    explicit Html(std::string& out) : m_out(out) {}

    /// The program's own markup: a literal or a constant of the program,
    /// never a text from elsewhere.
    template <std::size_t N>
    Html& Markup(const char (&literal)[N])
    {
        m_out.append(literal, N - 1);
        return *this;
    }
    Html& Text(std::string_view text);
    /// <tag attributes...>
    Html& Open(const char* tag, std::initializer_list<HtmlAttribute> attributes = {});
    Html& Close(const char* tag);
    /// <tag attributes...>text</tag>
    Html& Element(const char* tag, std::string_view text, std::initializer_list<HtmlAttribute> attributes = {});

private:
    std::string& m_out;
};
