// A copy of tarnwick-cli with doc/ beside it, in a directory of its own, run
// as users run it.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

struct Outcome {
    std::string out;
    std::string err;
    int code = -1;
};

inline std::string ReadFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// A copy of the runner with doc/ beside it, in a fresh directory.
class Cli : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/tarnwick-cli-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        fs::copy_file(TARNWICK_CLI, dir / "tarnwick-cli");
        fs::copy(TARNWICK_DOC, dir / "doc", fs::copy_options::recursive);
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }

    Outcome Run(const std::string& arguments, const std::string& environment = "") const
    {
        const std::string command =
            "cd '" + dir.string() + "' && " + environment + "./tarnwick-cli " + arguments + " > out.txt 2> err.txt";
        Outcome outcome;
        const int status = std::system(command.c_str());
        outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.out = ReadFile(dir / "out.txt");
        outcome.err = ReadFile(dir / "err.txt");
        return outcome;
    }

    void WriteFile(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(dir / name, std::ios::binary) << bytes;
    }

    fs::path dir;
};


inline bool Matches(const std::string& text, const std::string& pattern)
{
    return std::regex_match(text, std::regex(pattern));
}
