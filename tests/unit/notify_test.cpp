#include "core/notify.h"
#include "../support/saved_state.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

TEST(Notify, CurrentNotifierReceivesTextAndCaption)
{
    std::vector<std::pair<wxString, wxString>> seen;
    Notifier previous = SetNotifier([&](const wxString& text, const wxString& caption) {
        seen.emplace_back(text, caption);
    });
    NotifyUser(wxS("cpu_results.csv was created from original template!"),
               wxS("Tarnwick - results file"));
    SetNotifier(std::move(previous));

    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].first, "cpu_results.csv was created from original template!");
    EXPECT_EQ(seen[0].second, "Tarnwick - results file");
}

TEST(Notify, SettingANotifierReturnsThePreviousOne)
{
    const StateGuard saved;  // puts the notifier of the tests back
    int firstCalls = 0;
    SetNotifier([&](const wxString&, const wxString&) { ++firstCalls; });
    Notifier first = SetNotifier(nullptr);
    ASSERT_TRUE(first);
    first(wxS("x"), wxS("y"));
    EXPECT_EQ(firstCalls, 1);
}

TEST(Notify, WithoutNotifierTheTextGoesToStandardError)
{
    Notifier previous = SetNotifier(nullptr);
    ::testing::internal::CaptureStderr();
    NotifyUser(wxS("Please enter a positive number!"), wxS("Tarnwick"));
    const std::string printed = ::testing::internal::GetCapturedStderr();
    SetNotifier(std::move(previous));
    EXPECT_EQ(printed, "Tarnwick: Please enter a positive number!\n");
}
