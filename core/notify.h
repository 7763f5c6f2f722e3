// The one way core code tells the user something. The GUI shows a message
// box; tests capture the texts; without either, the text goes to stderr.
#pragma once

#include <wx/string.h>

#include <functional>

using Notifier = std::function<void(const wxString& text, const wxString& caption)>;

/// Replaces the notifier and returns the previous one.
Notifier SetNotifier(Notifier notifier);

/// Hands a message to the current notifier.
void NotifyUser(const wxString& text, const wxString& caption);
