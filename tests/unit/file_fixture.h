// A scratch program directory for tests of the results and configuration
// files: the file routines act as if the executable lived there.
#pragma once

#include "core/notify.h"
#include "core/state.h"
#include "config/paths.h"
#include "unprivileged.h"
#include "../support/saved_state.h"
#include "../support/document_builder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

/// Puts the results, configuration and chart state back to start values.
inline void ResetFileState()
{
    ReleaseGlobalArrays();
    ResultLineCount = ResultLineWidth = RankedCount = CurrentResult = BackupPending = 0;
    ResultsFileLineType = ConfigLineType = wxTextFileType_None;
    CpuListCount = 20;
    CpuListHalf = 0;
    HeatTestMillis = 600000;
    ConfigCpuListLine = ConfigHeatTimeLine = 0;
    ConfigBackupEnabled = false;
}

class ProgramDirectory : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/tarnwick-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        ::chmod(dir.c_str(), 0777);  // an unprivileged child may work here too
        previousCwd = fs::current_path();
        fs::current_path(dir);
        SetExecutablePathForTests(wxString::FromUTF8((dir / "tarnwick").string()));
        previousNotifier = SetNotifier([this](const wxString& text, const wxString& caption) {
            messages.emplace_back(text.utf8_string(), caption.utf8_string());
        });
        ResetFileState();
    }

    void TearDown() override
    {
        ResetFileState();
        SetNotifier(std::move(previousNotifier));
        SetExecutablePathForTests(wxString());
        fs::current_path(previousCwd);
        std::error_code ignored;
        fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(dir, ignored);
    }

    void Write(const std::string& relative, const std::string& bytes) const
    {
        const fs::path path = dir / relative;
        fs::create_directories(path.parent_path());
        std::ofstream out(path, std::ios::binary);
        out << bytes;
    }

    std::string Read(const std::string& relative) const
    {
        std::ifstream in(dir / relative, std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    }

    bool Exists(const std::string& relative) const { return fs::exists(dir / relative); }

    /// In a child of RunUnprivileged: a program directory of the child's own
    /// (so that it may change its permissions), made the current one.
    fs::path OwnProgramDirectory() const
    {
        const fs::path own = dir / ("own-" + std::to_string(getpid()));
        fs::create_directory(own);
        fs::current_path(own);
        SetExecutablePathForTests(wxString::FromUTF8((own / "tarnwick").string()));
        return own;
    }

    /// Runs `body` as an ordinary user (unprivileged.h).
    std::string RunUnprivileged(const std::function<std::string()>& body) const { return ::RunUnprivileged(body); }

    StateGuard savedState;  ///< the paths the file routines resolve, and the rest, put back at the end
    fs::path dir;
    fs::path previousCwd;
    Notifier previousNotifier;
    std::vector<std::pair<std::string, std::string>> messages;
};

