// The unit tests run with wxBase initialised (threads, clocks, conversions),
// as the program does; no display is needed.
#include "bench/workers.h"
#include "../support/saved_state.h"

#include <wx/init.h>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    wxInitializer wx;
    if (!wx.IsOk())
        return 2;
    // Each test leaves the process-wide state as it found it; its workers
    // are gone before that is checked.
    ::testing::UnitTest::GetInstance()->listeners().Append(new StateKeeper(StateKeeper::Mode::Check, {}, [] {
        if (!WaitForWorkerThreads(10000))
            ADD_FAILURE() << "worker threads still run after the test";
    }));
    const int failures = RUN_ALL_TESTS();
    // Workers end a moment after their flags: none may outlive the toolkit.
    WaitForWorkerThreads(10000);
    return failures;
}
