// What a command of tarnwick-cli prints: lines of text for people, or one
// JSON object for scripts. Every command fills both; one of them is printed.
#pragma once

#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

class Report {
public:
    explicit Report(bool json) : m_asJson(json) {}

    /// The JSON object, filled member by member in the order printed.
    nlohmann::ordered_json& Json() { return m_json; }
    nlohmann::ordered_json& operator[](const char* member) { return m_json[member]; }

    /// A line of the text form, UTF-8 without its line end.
    void Line(std::string text) { m_lines.push_back(std::move(text)); }

    /// Prints the JSON object on one line, or the text lines, to standard
    /// output (or to `to`).
    void Print(std::FILE* to = stdout) const;

private:
    bool m_asJson;
    nlohmann::ordered_json m_json = nlohmann::ordered_json::object();
    std::vector<std::string> m_lines;
};

/// A whole number as the text form prints it ("%.0f"), for JSON; null when
/// it is not finite (an HTT efficiency without a reference).
nlohmann::ordered_json WholeNumber(double value);

/// Text for JSON and the terminal: UTF-8, a file name's bytes as they were
/// shown (see path_text.h).
std::string ShownUtf8(const wxString& text);
