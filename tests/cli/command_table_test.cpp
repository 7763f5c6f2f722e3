// The command table that drives the runner, --help, the manual page and the
// completion: every command has its handler, and every option it names is
// one the runner knows.
#include "cli/command.h"
#include "cli/options.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

TEST(CommandTable, EveryCommandHasItsOwnHandler)
{
    std::set<int (*)(const cli::Options&)> handlers;
    std::set<std::string> names;
    for (const CliCommand& command : CliCommands()) {
        SCOPED_TRACE(command.name);
        ASSERT_NE(command.run, nullptr);
        EXPECT_TRUE(handlers.insert(command.run).second) << "two commands share a handler";
        EXPECT_TRUE(names.insert(command.name).second);
        EXPECT_EQ(FindCliCommand(command.name), &command);
    }
    EXPECT_EQ(FindCliCommand("record")->run, &cli::RunRecord);
    EXPECT_EQ(FindCliCommand("merge")->run, &cli::RunMerge);
    EXPECT_EQ(FindCliCommand("heat")->run, &cli::RunHeat);
    // No default: an unknown name finds nothing (the runner says so).
    EXPECT_EQ(FindCliCommand("bogus"), nullptr);
}

TEST(CommandTable, EveryOptionACommandNamesExistsAndItsNeedsAreAmongThem)
{
    for (const CliCommand& command : CliCommands()) {
        SCOPED_TRACE(command.name);
        for (const char* name : command.options)
            EXPECT_NE(FindCliOption(name), nullptr) << name;
        const auto takes = [&](const char* name) {
            for (const char* option : command.options)
                if (std::strcmp(option, name) == 0)
                    return true;
            return false;
        };
        if (*command.required != '\0') {
            EXPECT_TRUE(takes(command.required)) << command.required;
        }
        if (*command.unless != '\0') {
            EXPECT_NE(*command.required, '\0');
            EXPECT_TRUE(takes(command.unless)) << command.unless;
        }
    }
    for (const char* name : CliCommonOptions())
        EXPECT_NE(FindCliOption(name), nullptr) << name;
}
