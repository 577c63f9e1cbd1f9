#include "support_src/FailingThreads.h"

#include <atomic>
#include <cerrno>
#include <pthread.h>

#include "support_src/AtThreadStart.h"

namespace {

std::atomic<int> failuresLeft{0};

bool takeFailure() {
    int left = failuresLeft;
    while (left > 0 && !failuresLeft.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
}

}  // namespace

// The linker's names for "instead of pthread_create" and "pthread_create itself".
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument) {
    teskd::test::AtThreadStart::tell();
    if (takeFailure()) return EAGAIN;
    return __real_pthread_create(thread, attributes, entry, argument);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace teskd::test {

FailingThreads::FailingThreads(int count) {
    failuresLeft = count;
}

FailingThreads::~FailingThreads() {
    failuresLeft = 0;
}

}  // namespace teskd::test
