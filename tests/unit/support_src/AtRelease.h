// Runs something at a chosen one of the moments at which a thread lets go of a lock, so that a test
// can try every interleaving of two threads, lock by lock.
//
//     for (std::size_t n = 1; ...; ++n) { ... on the thread: atRelease(n, [&] { ... }); ... }
//
// Works on calls from objects that are linked into the binary with -Wl,--wrap=pthread_mutex_unlock,
// which linking teskd_at_release does.
//
// Threads: the count is the calling thread's own. Errors: the action must not throw.

#pragma once

#include <cstddef>
#include <functional>

namespace teskd::test {

// The action runs on this thread, once, directly behind its nth release of a lock from now on,
// counted from 1. Never when the thread ends before, or with a second call.
void atRelease(std::size_t n, std::function<void()> action);

}  // namespace teskd::test
