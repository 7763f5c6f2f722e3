// Searching the results table.
#pragma once

#include <wx/string.h>

/// True when `line`, lower-cased, contains `lowerText` (already lower-case):
/// a plain substring test over the whole line, separators included.
bool LineMatches(const wchar_t* line, const wxString& lowerText);

/// Stores `text`, lower-cased, as the confirmed search text (SearchText).
void SetSearchText(const wxString& text);

/// Collects into SearchHits, in file order and in their own case, the
/// result lines that contain SearchText. Without a confirmed search text
/// every line matches.
void FindResults();
