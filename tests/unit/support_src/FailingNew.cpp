#include "support_src/FailingNew.h"

#include "support_src/ReplacedNew.h"

namespace {

using Lasting = teskd::test::FailingNew::Lasting;

// Of this thread.
thread_local std::size_t left = 0;  // allocations up to the first failing one; 0: none fails
thread_local bool failsForGood = false;
thread_local bool failed = false;

}  // namespace

namespace teskd::test {

bool allocationFails() noexcept {
    if (failed && failsForGood) return true;
    if (left == 0 || --left > 0) return false;
    failed = true;
    return true;
}

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
