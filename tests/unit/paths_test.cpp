#include "config/paths.h"

#include <gtest/gtest.h>

TEST(Paths, SameDirectoryGivesBareNames)
{
    const FilePaths p = ResolveFilePaths(wxS("/opt/tarnwick/tarnwick"), wxS("/opt/tarnwick"));
    EXPECT_EQ(p.appBaseDir, "");
    EXPECT_EQ(p.resultsFile, "cpu_results.csv");
    EXPECT_EQ(p.resultsTemplate, "doc/cpu_results_original.csv");
    EXPECT_EQ(p.resultsBackup, "cpu_result.bak");
    EXPECT_EQ(p.configFile, "tarnwick.conf");
    EXPECT_EQ(p.configTemplate, "doc/tarnwick_original.conf");
    EXPECT_EQ(p.configBackup, "tarnwick.bak");
    EXPECT_EQ(p.manualFile, "doc/manual_tarnwick.txt");
    EXPECT_EQ(p.historyFile, "doc/history_tarnwick.txt");
    EXPECT_EQ(p.exePath, "/opt/tarnwick/tarnwick");
}

TEST(Paths, OtherDirectoryGivesPathsBesideTheExecutable)
{
    const FilePaths p = ResolveFilePaths(wxS("/opt/tarnwick/tarnwick"), wxS("/home/user"));
    EXPECT_EQ(p.appBaseDir, "/opt/tarnwick/");
    EXPECT_EQ(p.resultsFile, "/opt/tarnwick/cpu_results.csv");
    EXPECT_EQ(p.resultsTemplate, "/opt/tarnwick/doc/cpu_results_original.csv");
    EXPECT_EQ(p.resultsBackup, "/opt/tarnwick/cpu_result.bak");
    EXPECT_EQ(p.configFile, "/opt/tarnwick/tarnwick.conf");
    EXPECT_EQ(p.configTemplate, "/opt/tarnwick/doc/tarnwick_original.conf");
    EXPECT_EQ(p.configBackup, "/opt/tarnwick/tarnwick.bak");
    EXPECT_EQ(p.manualFile, "/opt/tarnwick/doc/manual_tarnwick.txt");
    EXPECT_EQ(p.historyFile, "/opt/tarnwick/doc/history_tarnwick.txt");
}

TEST(Paths, DirectoriesAreComparedExactlyAndCaseSensitively)
{
    EXPECT_EQ(ResolveFilePaths(wxS("/opt/Tarnwick/tarnwick"), wxS("/opt/tarnwick")).appBaseDir,
              "/opt/Tarnwick/");
    EXPECT_EQ(ResolveFilePaths(wxS("/opt/tarnwick/tarnwick"), wxS("/opt/tarnwick/")).appBaseDir,
              "/opt/tarnwick/");
}

TEST(Paths, WithoutTheProgramsOwnFolderThereAreNoPathsNotAnotherPlace)
{
    for (const wxString& unknown : {wxString(), wxString(wxS("tarnwick"))}) {
        const FilePaths p = ResolveFilePaths(unknown, wxS("/home/user"));
        EXPECT_EQ(p.resultsFile, "") << unknown;
        EXPECT_EQ(p.resultsBackup, "") << unknown;
        EXPECT_EQ(p.configFile, "") << unknown;
        EXPECT_EQ(p.appBaseDir, "") << unknown;
    }
}

TEST(Paths, EveryResultsFileHasItsOwnBackupName)
{
    EXPECT_EQ(ResultsBackupName("cpu_results.csv"), "cpu_result.bak");
    EXPECT_EQ(ResultsBackupName("lab.csv"), "lab.csv.bak");
    EXPECT_EQ(ResultsBackupName("cpu_results.csv.old"), "cpu_results.csv.old.bak");
}
