#include "app/startup.h"

#include "cpu/processor_globals.h"
#include "gui/resources.h"

#include <wx/thread.h>

void InitGlobals()
{
    InitDrawingResources();
    InitProcessorGlobals(wxThread::GetCPUCount());
}
