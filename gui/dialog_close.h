// How dialogs end themselves from their own handlers.
#pragma once

#include <wx/defs.h>

class wxDialog;

/// Closes `dialog` from one of its own handlers. A dialog running modally
/// ends its modal loop and is destroyed as soon as ShowModal() has returned
/// (destroying it inside the loop pulls the window out from under
/// ShowModal); any other dialog is destroyed at once.
void CloseDialog(wxDialog& dialog, int returnCode = wxID_CANCEL);
