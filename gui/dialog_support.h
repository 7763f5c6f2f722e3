// What every dialog of the program does alike: how it ends itself from its
// own handlers, where it opens, and how it keeps its controls in view.
#pragma once

#include <wx/defs.h>

class wxDialog;
class wxWindow;

/// Closes `dialog` from one of its own handlers. A dialog running modally
/// ends its modal loop and is destroyed as soon as ShowModal() has returned
/// (destroying it inside the loop pulls the window out from under
/// ShowModal); any other dialog is destroyed at once.
void CloseDialog(wxDialog& dialog, int returnCode = wxID_CANCEL);

/// Keeps the dialog's given size unless its controls need more room (with a
/// larger system font, say): then it grows just enough to show them whole.
void KeepContentsVisible(wxDialog& dialog);

/// The main window, or none before it is made. Every modal dialog opens
/// centred on it (the dialogs have no parent: this is done as each is shown);
/// message boxes are given it as their parent, which centres them on it.
wxWindow* MainWindow();
