#include "support_src/FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

using Lasting = teskd::test::FailingNew::Lasting;

// This thread's.
thread_local std::size_t left = 0;  // allocations to the first that fails; 0: none is to fail
thread_local bool failsForGood = false;
thread_local bool failed = false;

bool fails() {
    if (failed && failsForGood) return true;
    if (left == 0 || --left > 0) return false;
    failed = true;
    return true;
}

void* allocate(std::size_t size) noexcept {
    return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace teskd::test {

FailingNew::FailingNew(std::size_t first, Lasting lasting) {
    failed = false;
    failsForGood = lasting == Lasting::forGood;
    left = first;
}

FailingNew::~FailingNew() {
    left = 0;
    failsForGood = false;
}

bool FailingNew::hasFailed() {
    return failed;
}

}  // namespace teskd::test
