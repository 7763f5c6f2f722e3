// File names are bytes. The program holds them as text without losing any:
// bytes that are UTF-8 are their characters, and every other byte is kept
// as one of the 128 code points U+DC80 to U+DCFF (which no UTF-8 text can
// hold), so that the text gives back exactly the bytes it came from,
// whatever the locale.
#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

/// The text of a file name's bytes.
wxString PathFromBytes(std::string_view bytes);

/// The bytes of a file name made by PathFromBytes (or typed: UTF-8).
std::string PathToBytes(const wxString& path);

/// `text` for a person to read: a byte that was not UTF-8 is shown as
/// U+FFFD, so that a window or a JSON document can hold it.
wxString ShownText(const wxString& text);

/// The working directory, or an empty text when it cannot be found.
wxString WorkingDirectory();

/// The running program's own path, or an empty text when it cannot be
/// found.
wxString RunningProgramPath();

/// `path` as an absolute path, to name a file in a message.
wxString AbsolutePath(const wxString& path);
