// A tool that the test packages install (scripts/install-deps.sh test). On a
// developer's machine without it, the test that needs it is skipped; under
// CI=true, where the packages are always installed, its absence fails the
// test, naming the tool, so that a check cannot quietly drop out.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

inline bool RunningUnderCi()
{
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

// TARNWICK_REQUIRE_TOOL(present, "what is missing (its package)"): returns
// from the test, skipped or failed, when `present` is false.
#define TARNWICK_REQUIRE_TOOL(present, what)                                      \
    do {                                                                          \
        if (!(present)) {                                                         \
            if (RunningUnderCi())                                                 \
                FAIL() << (what) << " is missing, and CI=true requires it";       \
            GTEST_SKIP() << (what) << " is missing (scripts/install-deps.sh test)"; \
        }                                                                         \
    } while (false)
