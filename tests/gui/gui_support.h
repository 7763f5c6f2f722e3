// Helpers for tests that need a display: the real main window, pixels read
// back from the screen, paints observed as they happen, scratch directories.
#pragma once

#include <wx/colour.h>
#include <wx/event.h>
#include <wx/gdicmn.h>
#include <wx/image.h>
#include <wx/string.h>

#include <wx/modalhook.h>
#include <wx/msgdlg.h>
#include <wx/testing.h>
#include <wx/timer.h>

#include <functional>
#include <string>
#include <vector>

class MainFrame;
class wxButton;
class wxDialog;
class wxMenuItem;
class wxTextCtrl;
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

/// Runs `act` with the next dialog shown modally, from inside its modal loop,
/// once the dialog is on the screen and (a dialog of wx's own) has the
/// keyboard focus: the dialog really shows, keys reach it as the user's do.
/// A dialog still open three seconds after `act` is closed (by its close
/// box, a GTK message box by Escape) and LeftOpen() says so, so that a key
/// that does nothing fails the test instead of hanging it.
class WhenShown : public wxModalDialogHook {
public:
    explicit WhenShown(std::function<void(wxDialog&)> act);
    ~WhenShown() override;
    WhenShown(const WhenShown&) = delete;
    WhenShown& operator=(const WhenShown&) = delete;

    /// `act` has run.
    bool Acted() const { return m_acted; }
    /// The dialog had to be closed for the test.
    bool LeftOpen() const { return m_leftOpen; }
    /// Its modal loop has ended.
    bool Ended() const { return m_ended; }

protected:
    int Enter(wxDialog* dialog) override;
    void Exit(wxDialog* dialog) override;

private:
    bool Ready();
    void OnTick(wxTimerEvent&);

    std::function<void(wxDialog&)> m_act;
    wxDialog* m_entered = nullptr;
    wxTimer m_timer;
    int m_ticks = 0;
    int m_readyTicks = 0;
    bool m_acted = false;
    bool m_ended = false;
    bool m_leftOpen = false;
};

/// Puts the keyboard focus in `field`, selects what it holds and types
/// `text` over it, key by key.
void TypeInto(wxTextCtrl* field, const char* text);

/// Sets the values the power and heat dialogs show to known ones: 4 threads,
/// Hyper-Threading on with no result typed, 10 heat minutes, and no dialog
/// cancelled.
void SetDialogParameters();

/// Presses and releases `key` (a WXK_ code or a character) on the keyboard.
void PressKey(int key);

/// Where `window` is on the screen as the X server shows it, its frame
/// included; for a GTK message box too, which wx does not follow.
wxRect ScreenFrame(const wxWindow& window);

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
