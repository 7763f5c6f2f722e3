// Large heap arrays that are filled right after they are made (the results
// table, the decoded text of a results file).
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

/// Asks the kernel for huge pages over the whole pages of a block of
/// several megabytes not touched yet; smaller blocks are left as they are.
inline void AdviseHugePages(void* block, std::size_t bytes)
{
    constexpr std::size_t page = 4096, huge = std::size_t{2} << 20;
    if (block == nullptr || bytes < 2 * huge)
        return;
    const auto start = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    if (end > start)
        ::madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);  // advice only: may be refused
}

/// `count` uninitialised elements from the heap (released with delete[]),
/// or null when there is no memory. A block of megabytes asks the kernel
/// for huge pages: filling 100 MB then takes some fifty page faults rather
/// than twenty-five thousand, which is most of the time of a large load.
template <typename T>
std::unique_ptr<T[]> AllocateBlock(std::size_t count)
{
    std::unique_ptr<T[]> block(new (std::nothrow) T[count]);
    if (block)
        AdviseHugePages(block.get(), count * sizeof(T));
    return block;
}
