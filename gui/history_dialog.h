// Help, History: shows doc/history_tarnwick.txt from the working directory.
#pragma once

#include "gui/text_viewer.h"

class HistoryDialogBase : public TextViewerDialogBase {
public:
    explicit HistoryDialogBase(wxWindow* parent) : TextViewerDialogBase(parent, wxS("Help - History")) {}
};

class HistoryDialog : public HistoryDialogBase {
public:
    explicit HistoryDialog(wxWindow* parent);

protected:
    void OnCloseDialog(wxCloseEvent& event) override;
    void OnCloseClick(wxCommandEvent& event) override;
};
