// The state checker keeps every writable global the libraries without a
// window define: read from the libraries themselves with nm, so that a
// global added outside the state list (or on another floor, without an item
// in the checker) fails here, named.
#include "tests/support/required_tool.h"
#include "tests/support/saved_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {
struct PipeCloser {
    void operator()(FILE* pipe) const { pclose(pipe); }
};

// The data symbols with external linkage that `library` defines writable
// (nm's B and D), with what the compiler and sanitizers add left out.
std::set<std::string> WritableGlobals(const std::string& library, std::string& problem)
{
    std::set<std::string> names;
    const std::string command = "nm -C --defined-only '" + library + "' 2>&1";
    std::unique_ptr<FILE, PipeCloser> pipe(popen(command.c_str(), "r"));
    if (!pipe) {
        problem = "could not run nm";
        return names;
    }
    char line[4096];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        std::istringstream fields(line);
        std::string address, kind, name;
        if (!(fields >> address >> kind) || (kind != "B" && kind != "D"))
            continue;
        std::getline(fields >> std::ws, name);
        for (const char* suffix : {"[abi:cxx11]"})
            if (const auto at = name.find(suffix); at != std::string::npos)
                name.erase(at, std::string(suffix).size());
        // Names beginning with "__" are the implementation's (a sanitizer's
        // __odr_asan.X beside each global X, say), never the program's.
        if (name.rfind("typeinfo", 0) == 0 || name.rfind("vtable", 0) == 0 || name.rfind("VTT", 0) == 0 ||
            name.rfind("guard variable", 0) == 0 || name.rfind("__", 0) == 0)
            continue;
        names.insert(name);
    }
    return names;
}

std::vector<std::string> Libraries()
{
    std::vector<std::string> libraries;
    std::istringstream list(TARNWICK_HEADLESS_LIBRARIES);
    for (std::string library; std::getline(list, library, '|');)
        if (!library.empty())
            libraries.push_back(library);
    return libraries;
}

// The names of the list's items that can change (all but the labels).
std::vector<std::string> ListedNames()
{
    std::vector<std::string> listed;
#define TARNWICK_VALUE(type, name, initial) listed.push_back(#name);
#define TARNWICK_LABEL(name, size, text)
#define TARNWICK_TEXT(character, name, size) listed.push_back(#name);
#define TARNWICK_ATOMIC(type, name, initial) listed.push_back(#name);
#define TARNWICK_WORKERS(element, name) listed.push_back(#name);
#define TARNWICK_ROWS(name, extent, rows, width) listed.push_back(#name);
#define TARNWICK_RANKING(name) listed.push_back(#name);
#define TARNWICK_SCRATCH(name, capacity) listed.push_back(#name);
#define TARNWICK_TABLE(type, name, extent) listed.push_back(#name);
#include "core/state_list.h"
#include "core/state_list_end.h"
    return listed;
}
}  // namespace

TEST(StateList, EveryWritableGlobalOfTheLibrariesWithoutAWindowIsKeptByTheChecker)
{
    TARNWICK_REQUIRE_TOOL(std::system("nm --version > /dev/null 2>&1") == 0, "nm (binutils)");
    const std::vector<std::string> libraries = Libraries();
    ASSERT_EQ(libraries.size(), 8u) << "files, core, config, cpu, sensors, bench, results, views";

    const SavedState saved;
    const std::vector<std::string> kept = saved.Names();
    std::set<std::string> globals;
    for (const std::string& library : libraries) {
        std::string problem;
        const std::set<std::string> names = WritableGlobals(library, problem);
        ASSERT_TRUE(problem.empty()) << library << ": " << problem;
        globals.insert(names.begin(), names.end());
        for (const std::string& name : names)
            EXPECT_TRUE(std::find(kept.begin(), kept.end(), name) != kept.end())
                << library << " defines the global " << name << ", which the state checker does not keep";
    }
    // nm saw the list's items, which the core defines.
    for (const std::string& name : ListedNames())
        EXPECT_EQ(globals.count(name), 1u) << name << " is not among the globals nm listed";
}

TEST(StateList, TheCheckerKeepsEachItemOfTheListByItsName)
{
    const SavedState saved;
    const std::vector<std::string> kept = saved.Names();
    const std::vector<std::string> listed = ListedNames();
    ASSERT_FALSE(listed.empty());
    for (const std::string& name : listed)
        EXPECT_TRUE(std::find(kept.begin(), kept.end(), name) != kept.end()) << name << " is not kept";
    // A change to one of them is seen, and put back.
    const std::uint32_t before = CpuFamily;
    SavedState around;
    CpuFamily = before + 7;
    EXPECT_EQ(around.Changed(), std::vector<std::string>{"CpuFamily"});
    around.Restore();
    EXPECT_EQ(CpuFamily, before);
    EXPECT_TRUE(around.Changed().empty());
}
