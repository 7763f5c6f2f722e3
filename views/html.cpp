#include "views/html.h"

#include "files/encoding.h"

std::string EscapeHtml(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    std::size_t i = 0;
    while (i < text.size()) {
        const unsigned char c = bytes[i];
        switch (c) {
        case '&': out += "&amp;"; ++i; continue;
        case '<': out += "&lt;"; ++i; continue;
        case '>': out += "&gt;"; ++i; continue;
        case '"': out += "&quot;"; ++i; continue;
        case '\'': out += "&#39;"; ++i; continue;
        default: break;
        }
        char32_t code = c;
        const std::size_t length = c < 0x80 ? 1 : Utf8Sequence(bytes, i, text.size(), code);
        if (length == 0 || RefusedCharacterKind(code) != nullptr) {
            out += "\xEF\xBF\xBD";  // U+FFFD
            i += length == 0 ? 1 : length;
            continue;
        }
        out.append(text.data() + i, length);
        i += length;
    }
    return out;
}

Html& Html::Text(std::string_view text)
{
    m_out += EscapeHtml(text);
    return *this;
}

Html& Html::Open(const char* tag, std::initializer_list<HtmlAttribute> attributes)
{
    m_out += '<';
    m_out += tag;
    for (const HtmlAttribute& a : attributes) {
        m_out += ' ';
        m_out += a.name;
        m_out += "=\"";
        m_out += EscapeHtml(a.value);
        m_out += '"';
    }
    m_out += '>';
    return *this;
}

Html& Html::Close(const char* tag)
{
    m_out += "</";
    m_out += tag;
    m_out += '>';
    return *this;
}

Html& Html::Element(const char* tag, std::string_view text, std::initializer_list<HtmlAttribute> attributes)
{
    Open(tag, attributes);
    Text(text);
    return Close(tag);
}
