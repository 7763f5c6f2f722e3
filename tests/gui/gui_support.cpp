#include "gui_support.h"

#include "app/state.h"
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
#include <wx/utils.h>

#include <gtest/gtest.h>

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
