#include "net/FailingAllocation.h"

#include <atomic>
#include <new>

namespace {

std::atomic<bool> fails{false};

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (fails.exchange(false)) return nullptr;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace teskd::test {

FailingAllocation::FailingAllocation() {
    fails = true;
}

FailingAllocation::~FailingAllocation() {
    fails = false;
}

}  // namespace teskd::test
