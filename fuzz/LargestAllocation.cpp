#include "fuzz/LargestAllocation.h"

#include <atomic>

using MallocHook = void (*)(const volatile void*, std::size_t);
using FreeHook = void (*)(const volatile void*);

// Null in a program without the sanitizer.
extern "C" [[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(MallocHook, FreeHook);

namespace teskd::fuzz {

namespace {

std::atomic<std::size_t> largest{0};

void allocated(const volatile void*, std::size_t size) {
    if (size > largest.load(std::memory_order_relaxed)) largest = size;
}

void freed(const volatile void*) {}

const bool installed = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                       __sanitizer_install_malloc_and_free_hooks(allocated, freed) != 0;

}  // namespace

LargestAllocation::LargestAllocation() {
    largest = 0;
}

std::size_t LargestAllocation::size() const {
    return installed ? largest.load() : 0;
}

}  // namespace teskd::fuzz
