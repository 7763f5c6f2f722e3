// Help, Manual: shows doc/manual_tarnwick.txt from the working directory.
#pragma once

#include "gui/text_viewer.h"

class ManualDialogBase : public TextViewerDialogBase {
public:
    explicit ManualDialogBase(wxWindow* parent) : TextViewerDialogBase(parent, wxS("Help - Manual")) {}
};

class ManualDialog : public ManualDialogBase {
public:
    explicit ManualDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnCloseClick(wxCommandEvent& event) override;
};
