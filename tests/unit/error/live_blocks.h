// Counts the blocks of the heap that are in use, so that a test can tell that something was
// freed, and when. It replaces the program's operator new: include it in one source only.

#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace test {

inline long live_blocks = 0;

// What live_blocks was when the latest block was asked for.
inline long live_at_latest_request = 0;

inline void* countedBlock(std::size_t size) noexcept {
    live_at_latest_request = live_blocks;
    void* const block = std::malloc(size == 0 ? 1 : size);
    live_blocks += block != nullptr ? 1 : 0;
    return block;
}

inline void freeCounted(void* block) noexcept {
    live_blocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

}  // namespace test

void* operator new(std::size_t size) {
    void* const block = test::countedBlock(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// All the forms that share a deallocation function with the one above: a sanitizer's own
// nothrow form would otherwise meet our delete.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return test::countedBlock(size);
}

void operator delete(void* block) noexcept { test::freeCounted(block); }
void operator delete(void* block, std::size_t) noexcept { test::freeCounted(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { test::freeCounted(block); }
