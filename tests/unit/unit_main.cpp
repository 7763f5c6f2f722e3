// The unit tests run with wxBase initialised (threads, clocks, conversions),
// as the program does; no display is needed.
#include <wx/init.h>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    wxInitializer wx;
    if (!wx.IsOk())
        return 2;
    return RUN_ALL_TESTS();
}
