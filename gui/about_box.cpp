#include "gui/about_box.h"

#include "core/version.h"

#include <wx/generic/aboutdlgg.h>

namespace {
const wxString LicenceText = wxS(
    "Tarnwick is distributed under the MIT License. The full text is in the\n"
    "file LICENSE beside the program (installed, in share/doc/tarnwick/copyright).\n"
    "\n"
    "LICENSE\n"
    "Permission is hereby granted, free of charge, to any person obtaining a copy\n"
    "of this software and associated documentation files (the \"Software\"), to deal\n"
    "in the Software without restriction, including without limitation the rights\n"
    "to use, copy, modify, merge, publish, distribute, sublicense, and/or sell\n"
    "copies of the Software, and to permit persons to whom the Software is\n"
    "furnished to do so, subject to the conditions in the file LICENSE.\n"
    "\n"
    "DISCLAIMER\n"
    "THE SOFTWARE IS PROVIDED \"AS IS\", WITHOUT WARRANTY OF ANY KIND, EXPRESS OR\n"
    "IMPLIED. A benchmark loads the processor fully for as long as it runs; the\n"
    "heat test does so for minutes. Make sure the machine is cooled adequately.\n"
    "\n"
    "NOTICE\n"
    "Scores are comparable only between runs of this program on otherwise idle\n"
    "machines. Processor information is read from CPUID and may not match the\n"
    "hardware exactly.");
}  // namespace

wxAboutDialogInfo MakeAboutInfo()
{
    wxAboutDialogInfo info;
    info.SetName(wxS("Tarnwick"));
    info.SetVersion(wxS("\n v. " TARNWICK_VERSION));
    info.SetCopyright(wxS("Copyright (c) 2026 The Tarnwick developers"));
    info.SetDescription(wxS("Processor benchmark freeware application."));
    info.SetWebSite(wxS(TARNWICK_WEBSITE), wxEmptyString);
    info.SetLicence(LicenceText);
    info.AddDeveloper(wxS("The Tarnwick developers"));
    return info;
}

void ShowAboutBox()
{
    // The GTK about dialog is modeless; the generic one is shown modally so the
    // command returns only when the box is closed.
    wxGenericAboutDialog dialog(MakeAboutInfo(), nullptr);
    dialog.ShowModal();
}
