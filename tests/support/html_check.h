// A strict look at a page the program wrote: every "<" starts a tag the
// program writes, tags are closed in order, attribute values are quoted
// and hold no markup, and "&" starts a reference the program writes. So a
// text from outside that reached the page unescaped shows as a problem.
#pragma once

#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Why `page` is not well-formed, or an empty text.
inline std::string HtmlPageProblem(std::string_view page)
{
    static const std::set<std::string, std::less<>> tags = {
        "html", "head", "meta", "title", "style", "body", "header", "h1", "h2", "h3", "h4", "p", "span", "dl",
        "dt", "dd", "section", "article", "div", "table", "thead", "tbody", "tr", "th", "td", "ul", "li", "code",
        "svg", "desc", "g", "text", "rect", "path", "polyline"};
    static const std::set<std::string, std::less<>> empty = {"meta"};
    static const char* const references[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"};
    std::vector<std::string> open;
    std::size_t i = 0;
    const auto at = [&](std::size_t k) { return " at byte " + std::to_string(k); };
    if (page.substr(0, 15) != "<!DOCTYPE html>")
        return "no doctype";
    i = 15;
    while (i < page.size()) {
        const char c = page[i];
        if (c == '>')
            return "a \">\" outside a tag" + at(i);
        if (c == '&') {
            bool known = false;
            for (const char* reference : references)
                known = known || page.substr(i, std::strlen(reference)) == reference;
            if (!known)
                return "an \"&\" that starts no reference" + at(i);
            ++i;
            continue;
        }
        if (c != '<') {
            ++i;
            continue;
        }
        const bool closing = i + 1 < page.size() && page[i + 1] == '/';
        std::size_t k = i + (closing ? 2 : 1);
        const std::size_t nameStart = k;
        while (k < page.size() && ((page[k] >= 'a' && page[k] <= 'z') || (page[k] >= '0' && page[k] <= '9')))
            ++k;
        const std::string name(page.substr(nameStart, k - nameStart));
        if (tags.count(name) == 0)
            return "an unknown tag \"" + name + "\"" + at(i);
        if (closing) {
            if (k >= page.size() || page[k] != '>')
                return "a closing tag that does not end" + at(i);
            if (open.empty() || open.back() != name)
                return "</" + name + "> closes " + (open.empty() ? std::string("nothing") : "<" + open.back() + ">") +
                       at(i);
            open.pop_back();
            i = k + 1;
            continue;
        }
        // Attributes: name="value", the value without < > or ".
        while (k < page.size() && page[k] != '>') {
            if (page[k] != ' ')
                return "an attribute not after a space in <" + name + ">" + at(k);
            ++k;
            const std::size_t attributeStart = k;
            while (k < page.size() && ((page[k] >= 'a' && page[k] <= 'z') || (page[k] >= 'A' && page[k] <= 'Z') || page[k] == '-'))
                ++k;
            if (k == attributeStart || page.substr(k, 2) != "=\"")
                return "an attribute without a quoted value in <" + name + ">" + at(k);
            k += 2;
            while (k < page.size() && page[k] != '"') {
                if (page[k] == '<' || page[k] == '>')
                    return "markup in an attribute value of <" + name + ">" + at(k);
                ++k;
            }
            if (k >= page.size())
                return "an attribute value that does not end" + at(attributeStart);
            ++k;
        }
        if (k >= page.size())
            return "a tag that does not end" + at(i);
        if (empty.count(name) == 0)
            open.push_back(name);
        i = k + 1;
        // The style's text is the program's own: it is skipped whole.
        if (name == "style") {
            const std::size_t end = page.find("</style>", i);
            if (end == std::string_view::npos)
                return "a style that does not end";
            i = end;
        }
    }
    if (!open.empty())
        return "<" + open.back() + "> is not closed";
    return "";
}
