#include "gui_support.h"

#include "core/state.h"
#include "gui/main_frame.h"

#include <wx/app.h>
#include <wx/button.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/ffile.h>
#include <wx/menuitem.h>
#include <wx/stopwatch.h>
#include <wx/textctrl.h>
#include <wx/toplevel.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace {
// The few GDK calls the tests need, looked up in the GTK that wx has loaded:
// the tests are not built against GTK themselves.
struct GdkRectangle {
    int x, y, width, height;
};

template <class Function>
Function GdkCall(const char* name)
{
    auto* function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
    if (function == nullptr)
        throw std::runtime_error(std::string("no ") + name + " in the process");
    return function;
}

void* GdkWindowOf(const wxWindow& window)
{
    static const auto getWindow = GdkCall<void* (*)(void*)>("gtk_widget_get_window");
    return window.GetHandle() != nullptr ? getWindow(window.GetHandle()) : nullptr;
}

bool IsViewable(const wxWindow& window)
{
    static const auto viewable = GdkCall<int (*)(void*)>("gdk_window_is_viewable");
    void* gdkWindow = GdkWindowOf(window);
    return gdkWindow != nullptr && viewable(gdkWindow) != 0;
}

bool IsMessageBox(const wxDialog& dialog)
{
    return wxDynamicCast(&dialog, wxMessageDialog) != nullptr;
}
}  // namespace

MainFrame& TheFrame()
{
    auto* frame = dynamic_cast<MainFrame*>(wxTheApp->GetTopWindow());
    if (frame == nullptr)
        throw std::runtime_error("no main window");
    return *frame;
}

void SendMenuCommand(wxMenuItem* item)
{
    wxCommandEvent event(wxEVT_MENU, item->GetId());
    event.SetEventObject(&TheFrame());
    TheFrame().ProcessWindowEvent(event);
}

void PumpEvents(int milliseconds)
{
    wxStopWatch watch;
    do {
        wxTheApp->Yield(true);
        wxMilliSleep(5);
    } while (watch.Time() < milliseconds);
}

void ProcessIdle()
{
    for (int round = 0; round < 5; ++round)
        wxTheApp->ProcessIdle();
}

void PressButton(wxButton* button)
{
    wxCommandEvent click(wxEVT_BUTTON, button->GetId());
    click.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(click);
}

int ExpectMessage::OnInvoked(wxMessageDialog* dialog) const
{
    EXPECT_EQ(dialog->GetMessage(), m_text);
    EXPECT_EQ(dialog->GetTitle(), m_caption);
    return wxID_OK;
}

WhenShown::WhenShown(std::function<void(wxDialog&)> act) : m_act(std::move(act))
{
    m_timer.Bind(wxEVT_TIMER, &WhenShown::OnTick, this);
    Register();
}

WhenShown::~WhenShown()
{
    m_timer.Stop();
    Unregister();
}

int WhenShown::Enter(wxDialog* dialog)
{
    // The first dialog only: those it opens in turn are another's.
    if (m_entered == nullptr) {
        m_entered = dialog;
        m_timer.Start(50);
    }
    return wxID_NONE;
}

void WhenShown::Exit(wxDialog* dialog)
{
    if (dialog == m_entered) {
        m_ended = true;
        m_timer.Stop();
    }
}

bool WhenShown::Ready()
{
    if (!IsViewable(*m_entered))
        return false;
    if (IsMessageBox(*m_entered))
        return true;  // GTK's own: wx knows nothing of its focus
    // Without a window manager nothing gives a new window the focus (the
    // keyboard goes to the window under the pointer): asked for, as a
    // window manager would give it.
    if (m_readyTicks == 0)
        m_entered->Raise();
    wxWindow* focus = wxWindow::FindFocus();
    return focus != nullptr && wxGetTopLevelParent(focus) == m_entered;
}

void WhenShown::OnTick(wxTimerEvent&)
{
    if (m_ended)
        return;
    ++m_ticks;
    if (!m_acted) {
        // Ready for a few ticks running (or after five seconds regardless).
        m_readyTicks = Ready() ? m_readyTicks + 1 : 0;
        if (m_readyTicks < 4 && m_ticks < 100)
            return;
        m_timer.Stop();
        m_acted = true;
        m_act(*m_entered);
        if (!m_ended)
            m_timer.Start(3000);
        return;
    }
    // Still open after `act`: closed here, again if need be.
    m_leftOpen = true;
    if (IsMessageBox(*m_entered))
        PressKey(WXK_ESCAPE);
    else
        m_entered->Close();
}

void TypeInto(wxTextCtrl* field, const char* text)
{
    field->SetFocus();
    field->SelectAll();
    PumpEvents(100);
    wxUIActionSimulator keyboard;
    keyboard.Text(text);
    PumpEvents(200);
}

void SetDialogParameters()
{
    ThreadCount = 4;
    HttOption = 1;
    HttOffResult = 0;
    HeatTestMillis = 600000;
    DialogCancelled = 0;
}

void PressKey(int key)
{
    wxUIActionSimulator keyboard;
    keyboard.Char(key);
}

wxRect ScreenFrame(const wxWindow& window)
{
    static const auto extents = GdkCall<void (*)(void*, GdkRectangle*)>("gdk_window_get_frame_extents");
    void* gdkWindow = GdkWindowOf(window);
    if (gdkWindow == nullptr)
        return wxRect();
    GdkRectangle frame{};
    extents(gdkWindow, &frame);
    return wxRect(frame.x, frame.y, frame.width, frame.height);
}

wxImage CaptureClientArea(wxWindow& window)
{
    const wxSize size = window.GetClientSize();
    wxBitmap bitmap(size.x, size.y, 24);
    {
        wxClientDC screen(&window);
        wxMemoryDC memory(bitmap);
        memory.Blit(0, 0, size.x, size.y, &screen, 0, 0);
    }
    return bitmap.ConvertToImage();
}

wxRect InkBounds(const wxImage& image, const wxColour& background, const wxRect& region)
{
    int left = region.GetRight() + 1, top = region.GetBottom() + 1, right = -1, bottom = -1;
    for (int y = region.GetTop(); y <= region.GetBottom(); ++y) {
        for (int x = region.GetLeft(); x <= region.GetRight(); ++x) {
            if (image.GetRed(x, y) == background.Red() && image.GetGreen(x, y) == background.Green() &&
                image.GetBlue(x, y) == background.Blue())
                continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    }
    if (right < 0)
        return wxRect();
    return wxRect(wxPoint(left, top), wxPoint(right, bottom));
}

PaintRecorder::PaintRecorder(wxWindow& window) : m_window(window)
{
    Bind(wxEVT_PAINT, [this](wxPaintEvent& event) {
        modes.push_back(DisplayMode);
        event.Skip();
    });
    m_window.PushEventHandler(this);
}

PaintRecorder::~PaintRecorder()
{
    m_window.RemoveEventHandler(this);
}

std::string ReadBytes(const char* path)
{
    wxFFile file(path, "rb");
    std::string bytes;
    char buffer[4096];
    while (file.IsOpened() && !file.Eof()) {
        const size_t n = file.Read(buffer, sizeof buffer);
        if (n == 0)
            break;
        bytes.append(buffer, n);
    }
    return bytes;
}

void WriteBytes(const char* path, const std::string& bytes)
{
    wxFFile file(path, "wb");
    EXPECT_TRUE(file.IsOpened()) << path;
    file.Write(bytes.data(), bytes.size());
}

TempDir::TempDir()
{
    wxString base = wxFileName::CreateTempFileName(wxFileName::GetTempDir() + wxS("/tarnwick"));
    wxRemoveFile(base);
    wxFileName::Mkdir(base, 0700, wxPATH_MKDIR_FULL);
    m_path = base;
}

TempDir::~TempDir()
{
    wxFileName::Rmdir(m_path, wxPATH_RMDIR_RECURSIVE);
}

void TempDir::Write(const wxString& relative, const wxString& content) const
{
    wxFileName name(m_path + wxS("/") + relative);
    wxFileName::Mkdir(name.GetPath(), 0700, wxPATH_MKDIR_FULL);
    wxFFile file(name.GetFullPath(), wxS("wb"));
    ASSERT_TRUE(file.IsOpened());
    ASSERT_TRUE(file.Write(content, wxConvUTF8));
}

ScopedWorkingDirectory::ScopedWorkingDirectory(const wxString& path) : m_previous(wxGetCwd())
{
    EXPECT_TRUE(wxSetWorkingDirectory(path));
}

ScopedWorkingDirectory::~ScopedWorkingDirectory()
{
    wxSetWorkingDirectory(m_previous);
}
