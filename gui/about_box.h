// Help, About.
#pragma once

#include <wx/aboutdlg.h>

/// What the About box shows.
wxAboutDialogInfo MakeAboutInfo();

/// Shows the About box modally; returns when the user closes it.
void ShowAboutBox();
