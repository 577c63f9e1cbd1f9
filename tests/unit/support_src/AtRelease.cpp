#include "support_src/AtRelease.h"

#include <pthread.h>
#include <utility>

namespace {

thread_local std::size_t releasesLeft = 0;  // 0: there is no action
thread_local std::function<void()> action;

}  // namespace

// The linker's names for "instead of pthread_mutex_unlock" and "pthread_mutex_unlock itself".
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
int __real_pthread_mutex_unlock(pthread_mutex_t*);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_unlock(mutex);
    if (releasesLeft > 0 && --releasesLeft == 0) std::exchange(action, nullptr)();
    return result;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace teskd::test {

void atRelease(std::size_t n, std::function<void()> what) {
    action = std::move(what);
    releasesLeft = n;
}

}  // namespace teskd::test
