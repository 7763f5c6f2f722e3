// The process-wide state as a test found it: every item of core/state_list.h,
// the working directory, the C locale, the executable path the file routines
// use and, where asked, files. Tests run in one process in any order, so each
// puts back what it changes (a StateGuard in its fixture does), and the test
// programs compare the state after every test with what it was before.
#pragma once

#include "core/notify.h"
#include "core/state.h"
#include "bench/evidence.h"
#include "bench/heat_work.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/file_transaction.h"
#include "sensors/heat_readings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <type_traits>
#include <vector>

class SavedState {
public:
    SavedState()
    {
        // Every item of the state list, each by its kind.
#define TARNWICK_VALUE(type, name, initial) Value(#name, name);
#define TARNWICK_LABEL(name, size, text)
#define TARNWICK_TEXT(character, name, size) Text(#name, name);
#define TARNWICK_ATOMIC(type, name, initial) Atomic(#name, name);
#define TARNWICK_WORKERS(element, name) Array(#name, name);
#define TARNWICK_ROWS(name, extent, rows, width) \
    TextRows(#name, name, [] { return std::size_t(rows); }, [] { return std::size_t(width); });
#define TARNWICK_RANKING(name) Ranking(#name, name);
#define TARNWICK_SCRATCH(name, capacity) Scratch(#name, name, capacity);
#define TARNWICK_TABLE(type, name, extent) Value(#name, name);
#include "core/state_list.h"
#include "core/state_list_end.h"

        // What the other floors keep for the whole process.
        Evidence("LastSpeedEvidence", LastSpeedEvidence);
        Evidence("LastPowerEvidence", LastPowerEvidence);

        // The heat test's sensors: where they are read, and what they said.
        Value("SensorRoot", SensorRoot);
        const std::size_t samples = HeatReadings.Samples().size();
        Item("HeatReadings", [samples] { return HeatReadings.Samples().size() != samples; },
             [samples] {
                 if (samples == 0)
                     HeatReadings.Clear();
             });

        // What the heat workers did, and the fault their checks were told of.
        const std::size_t workSamples = HeatWork.Samples().size();
        Item("HeatWork", [workSamples] { return HeatWork.Samples().size() != workSamples; },
             [workSamples] {
                 if (workSamples == 0)
                     HeatWork.Start(0);
             });
        Item("heat fault", [saved = CurrentHeatFault()] { return CurrentHeatFault() != saved; },
             [saved = CurrentHeatFault()] { SetHeatFault(saved); });

        std::error_code ignored;
        const std::filesystem::path directory = std::filesystem::current_path(ignored);
        Item("working directory", [directory] {
                 std::error_code error;
                 return std::filesystem::current_path(error) != directory;
             },
             [directory] {
                 std::error_code error;
                 std::filesystem::current_path(directory, error);
             });
        const char* locale = std::setlocale(LC_ALL, nullptr);
        Item("C locale", [saved = std::string(locale != nullptr ? locale : "C")] {
                 const char* now = std::setlocale(LC_ALL, nullptr);
                 return saved != (now != nullptr ? now : "C");
             },
             [saved = std::string(locale != nullptr ? locale : "C")] { std::setlocale(LC_ALL, saved.c_str()); });
        Item("executable path", [saved = ExecutablePath()] { return ExecutablePath() != saved; },
             [saved = ExecutablePath()] { SetExecutablePathForTests(saved); });
        // The file system calls a test may make fail, and the unsafe writes
        // the runner's --no-lock allows.
        Item("file system calls", [saved = SystemCalls()] {
                 const FileSystemCalls& now = SystemCalls();
                 return now.flock != saved.flock || now.linkAt != saved.linkAt || now.renameAt != saved.renameAt ||
                        now.write != saved.write || now.fchmod != saved.fchmod ||
                        now.betweenCheckAndUse != saved.betweenCheckAndUse;
             },
             [saved = SystemCalls()] { SystemCalls() = saved; });
        Item("changes without lock", [saved = ChangesWithoutLockAllowed()] { return ChangesWithoutLockAllowed() != saved; },
             [saved = ChangesWithoutLockAllowed()] { AllowChangesWithoutLock(saved); });
        // A notifier cannot be compared; it is only put back.
        Notifier notifier = SetNotifier(nullptr);
        SetNotifier(notifier);
        Item("notifier", [] { return false; }, [notifier] { SetNotifier(notifier); });
    }

    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;

    /// Also keeps the bytes of the file at `path` (from the working directory
    /// now), or that there is none.
    void KeepFile(const std::string& path)
    {
        std::error_code error;
        const std::filesystem::path file = std::filesystem::absolute(path, error);
        const std::shared_ptr<const std::string> saved = ReadFile(file);
        Item(path.c_str(), [file, saved] { return !SameFile(ReadFile(file), saved); },
             [file, saved] {
                 if (SameFile(ReadFile(file), saved))
                     return;
                 std::error_code ignored;
                 if (saved == nullptr) {
                     if (std::filesystem::is_regular_file(file, ignored))
                         std::filesystem::remove(file, ignored);
                     return;
                 }
                 std::ofstream out(file, std::ios::binary | std::ios::trunc);
                 out << *saved;
             });
    }

    /// The names of the values that differ from the saved ones now.
    std::vector<std::string> Changed() const
    {
        std::vector<std::string> names;
        for (const SavedItem& item : m_items)
            if (item.changed() && (names.empty() || names.back() != item.name))
                names.push_back(item.name);
        return names;
    }

    /// The names of everything kept.
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const SavedItem& item : m_items)
            names.push_back(item.name);
        return names;
    }

    /// Puts every value back. A heap array that did not exist is freed; one
    /// that did is made anew with what it held (the worker arrays, made for
    /// one run, are only freed).
    void Restore() const
    {
        for (const SavedItem& item : m_items)
            item.restore();
    }

private:
    struct SavedItem {
        std::string name;
        std::function<bool()> changed;
        std::function<void()> restore;
    };

    void Item(const char* name, std::function<bool()> changed, std::function<void()> restore)
    {
        m_items.push_back({name, std::move(changed), std::move(restore)});
    }

    // Reals compare by their bits, so that a NaN left as it was is unchanged.
    template <class T>
    static bool Same(const T& a, const T& b)
    {
        if constexpr (std::is_floating_point_v<T>)
            return std::memcmp(&a, &b, sizeof a) == 0;
        else
            return a == b;
    }

    template <class T>
    void Value(const char* name, T& global)
    {
        Item(name, [&global, saved = global] { return !Same(global, saved); },
             [&global, saved = global] { global = saved; });
    }

    // A table of values, each kept as a value.
    template <class T, std::size_t N>
    void Value(const char* name, T (&global)[N])
    {
        for (T& element : global)
            Value(name, element);
    }

    template <class T>
    void Atomic(const char* name, std::atomic<T>& global)
    {
        Item(name, [&global, saved = global.load()] { return global.load() != saved; },
             [&global, saved = global.load()] { global.store(saved); });
    }

    // A run's evidence compares by what the charts and the runner show of it.
    void Evidence(const char* name, TestEvidence& global)
    {
        auto saved = std::make_shared<TestEvidence>(global);
        Item(name,
             [&global, saved] {
                 return global.measured != saved->measured || !Same(global.points, saved->points) ||
                        EvidenceLine(global) != EvidenceLine(*saved);
             },
             [&global, saved] { global = *saved; });
    }

    // Fixed text arrays compare as texts: what follows the terminator is
    // not part of them.
    template <class C, std::size_t N>
    void Text(const char* name, C (&global)[N])
    {
        auto saved = std::make_shared<std::vector<C>>(global, global + N);
        Item(name,
             [&global, saved] {
                 if constexpr (std::is_same_v<C, wchar_t>)
                     return std::wcscmp(global, saved->data()) != 0;
                 else
                     return std::strcmp(global, saved->data()) != 0;
             },
             [&global, saved] { std::copy(saved->begin(), saved->end(), global); });
    }

    // A worker array, made for one run: the same one or none.
    template <class T>
    void Array(const char* name, std::unique_ptr<T[]>& global)
    {
        Item(name, [&global, saved = global.get()] { return global.get() != saved; },
             [&global, saved = global.get()] {
                 if (saved == nullptr)
                     global.reset();
             });
    }

    using Size = std::function<std::size_t()>;

    // A regular file's bytes, or null when there is none.
    static std::shared_ptr<const std::string> ReadFile(const std::filesystem::path& file)
    {
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error))
            return nullptr;
        std::ifstream in(file, std::ios::binary);
        return std::make_shared<const std::string>(std::istreambuf_iterator<char>(in),
                                                   std::istreambuf_iterator<char>());
    }

    static bool SameFile(const std::shared_ptr<const std::string>& a, const std::shared_ptr<const std::string>& b)
    {
        return a == nullptr ? b == nullptr : b != nullptr && *a == *b;
    }

    static std::vector<std::wstring> Texts(const wchar_t* rows, std::size_t count, std::size_t width)
    {
        std::vector<std::wstring> texts;
        for (std::size_t r = 0; rows != nullptr && r < count && width != 0; ++r)
            texts.emplace_back(rows + r * width, wcsnlen(rows + r * width, width));
        return texts;
    }

    // Rows of text (the table, the record buffers, the search), compared by
    // the texts they hold, the sizes read from the globals at the time. Put
    // back as a new array of the saved size (the size the globals are put
    // back to) holding the saved texts: the one there now may be another.
    template <std::size_t N>
    void TextRows(const char* name, std::unique_ptr<wchar_t[]> (&global)[N], const Size& count, const Size& width)
    {
        for (auto& rows : global)
            TextRows(name, rows, count, width);
    }

    void TextRows(const char* name, std::unique_ptr<wchar_t[]>& global, const Size& count, const Size& width)
    {
        const wchar_t* const array = global.get();  // only whether there was one
        const std::size_t rows = count(), columns = width();
        const auto saved = std::make_shared<std::vector<std::wstring>>(Texts(array, rows, columns));
        Item(name,
             [&global, array, saved, count, width] {
                 return (global != nullptr) != (array != nullptr) || Texts(global.get(), count(), width()) != *saved;
             },
             [&global, array, saved, rows, columns] {
                 if (array == nullptr) {
                     global.reset();
                     return;
                 }
                 global = std::make_unique<wchar_t[]>(std::max<std::size_t>(rows * columns, 1));
                 for (std::size_t r = 0; r < saved->size(); ++r)
                     std::copy((*saved)[r].begin(), (*saved)[r].end(), global.get() + r * columns);
             });
    }

    static std::vector<RankedResult> Entries(const RankedResult* ranking)
    {
        return ranking != nullptr ? std::vector<RankedResult>(ranking, ranking + std::max(RankedCount, 0))
                                  : std::vector<RankedResult>();
    }

    static bool SameEntries(const std::vector<RankedResult>& a, const std::vector<RankedResult>& b)
    {
        return a.size() == b.size() &&
               (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(RankedResult)) == 0);
    }

    // A ranking, compared by its ranked entries; put back like text rows.
    void Ranking(const char* name, std::unique_ptr<RankedResult[]>& global)
    {
        const RankedResult* const array = global.get();  // only whether there was one
        const auto saved = std::make_shared<std::vector<RankedResult>>(Entries(array));
        const std::size_t size = std::max<std::size_t>({std::size_t(std::max(ResultLineCount, 0)), saved->size(), 1});
        Item(name,
             [&global, array, saved] {
                 return (global != nullptr) != (array != nullptr) || !SameEntries(Entries(global.get()), *saved);
             },
             [&global, array, saved, size] {
                 if (array == nullptr) {
                     global.reset();
                     return;
                 }
                 global = std::make_unique<RankedResult[]>(size);
                 std::copy(saved->begin(), saved->end(), global.get());
             });
    }

    // Scratch rows whose contents mean nothing between paints: there or not;
    // put back as new ones of the saved size.
    void Scratch(const char* name, std::unique_ptr<wchar_t[]>& global, std::size_t capacity)
    {
        const bool existed = global != nullptr;
        Item(name, [&global, existed] { return (global != nullptr) != existed; },
             [&global, existed, capacity] {
                 if (existed)
                     global = std::make_unique<wchar_t[]>(std::max<std::size_t>(capacity, 1));
                 else
                     global.reset();
             });
    }

    std::vector<SavedItem> m_items;
};

/// Saves the process-wide state when made and puts it back when gone: a
/// fixture member (or a local of a test) that undoes whatever the test
/// changes, whichever way it ends; `files` are kept too.
class StateGuard {
public:
    explicit StateGuard(std::initializer_list<std::string> files = {})
    {
        for (const std::string& file : files)
            m_saved.KeepFile(file);
    }
    ~StateGuard() { m_saved.Restore(); }
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;

private:
    SavedState m_saved;
};

/// Runs beside the tests so that each starts from the state the one before
/// found: after every test the process-wide state (and `files`) is compared
/// with what it was before and put back. With Check, a test that left
/// anything changed fails, naming it; with Restore it is only put back. With
/// this, the tests pass in one process in any order.
class StateKeeper : public ::testing::EmptyTestEventListener {
public:
    enum class Mode { Check, Restore };

    /// `beforeCheck` runs after each test, before the comparison (to let
    /// workers end, say).
    StateKeeper(Mode mode, std::vector<std::string> files, std::function<void()> beforeCheck)
        : m_mode(mode), m_files(std::move(files)), m_beforeCheck(std::move(beforeCheck))
    {
    }

    void OnTestStart(const ::testing::TestInfo&) override
    {
        m_saved = std::make_unique<SavedState>();
        for (const std::string& file : m_files)
            m_saved->KeepFile(file);
    }

    void OnTestEnd(const ::testing::TestInfo&) override
    {
        if (m_beforeCheck)
            m_beforeCheck();
        std::string names;
        for (const std::string& name : m_saved->Changed())
            names += (names.empty() ? "" : ", ") + name;
        if (!names.empty()) {
            if (m_mode == Mode::Check)
                ADD_FAILURE() << "the test left process-wide state changed: " << names;
            m_saved->Restore();
        }
        m_saved.reset();
    }

private:
    Mode m_mode;
    std::vector<std::string> m_files;
    std::function<void()> m_beforeCheck;
    std::unique_ptr<SavedState> m_saved;
};
