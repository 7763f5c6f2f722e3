// Helpers for tests that need a display: the real main window, pixels read
// back from the screen, paints observed as they happen, scratch directories.
#pragma once

#include <wx/colour.h>
#include <wx/event.h>
#include <wx/gdicmn.h>
#include <wx/image.h>
#include <wx/string.h>

#include <wx/msgdlg.h>
#include <wx/testing.h>

#include <functional>
#include <string>
#include <vector>

class MainFrame;
class wxButton;
class wxMenuItem;
class wxWindow;

/// The main window made by MainApp::OnInit.
MainFrame& TheFrame();

/// Sends the menu command of `item` to the main window and returns when its
/// handler has finished.
void SendMenuCommand(wxMenuItem* item);

/// Handles pending events for about `milliseconds`.
void PumpEvents(int milliseconds);

/// Runs idle processing, which deletes windows that destroyed themselves.
void ProcessIdle();

/// Clicks `button` as the user would: its handler runs before this returns.
void PressButton(wxButton* button);

/// Expects a modal dialog of type T and does `act` with it in place of the
/// user; ShowModal() then returns `result`.
template <class T>
class ExpectDialog : public wxExpectModalBase<T, ExpectDialog<T>> {
public:
    explicit ExpectDialog(std::function<void(T*)> act, int result = wxID_OK)
        : m_act(std::move(act)), m_result(result)
    {
    }

protected:
    int OnInvoked(T* dialog) const override
    {
        m_act(dialog);
        return m_result;
    }

private:
    std::function<void(T*)> m_act;
    int m_result;
};

/// Expects a message box with exactly this text and caption, answered OK.
class ExpectMessage : public wxExpectModalBase<wxMessageDialog, ExpectMessage> {
public:
    ExpectMessage(const wxString& text, const wxString& caption) : m_text(text), m_caption(caption) {}

protected:
    int OnInvoked(wxMessageDialog* dialog) const override;

private:
    wxString m_text;
    wxString m_caption;
};

/// The client area of `window` as it is on the screen now.
wxImage CaptureClientArea(wxWindow& window);

/// The smallest rectangle of `region` whose pixels differ from `background`;
/// empty when all are the background.
wxRect InkBounds(const wxImage& image, const wxColour& background, const wxRect& region);

/// Records DisplayMode at every paint of a window, while it lives.
class PaintRecorder : public wxEvtHandler {
public:
    explicit PaintRecorder(wxWindow& window);
    ~PaintRecorder() override;
    std::vector<int> modes;

private:
    wxWindow& m_window;
};

/// The bytes of the file at `path` (relative to the working directory); none
/// when it cannot be read.
std::string ReadBytes(const char* path);

/// Replaces the file at `path` by `bytes`.
void WriteBytes(const char* path, const std::string& bytes);

/// A fresh directory, removed with everything in it at the end of the scope.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const wxString& Path() const { return m_path; }
    /// Writes `content` (UTF-8) to `relative`, making its directories.
    void Write(const wxString& relative, const wxString& content) const;

private:
    wxString m_path;
};

/// Changes the working directory for the rest of the scope.
class ScopedWorkingDirectory {
public:
    explicit ScopedWorkingDirectory(const wxString& path);
    ~ScopedWorkingDirectory();

private:
    wxString m_previous;
};
