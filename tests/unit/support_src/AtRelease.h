// Runs an action at the nth lock release of a thread, so that a test can try every interleaving of
// two threads, lock by lock.
//
//     for (std::size_t n = 1; ...; ++n) { ... on the thread: atRelease(n, [&] { ... }); ... }
//
// Affects calls in binaries linked with -Wl,--wrap=pthread_mutex_unlock, as is done by linking
// teskd_at_release.
//
// Threads: the releases are counted per thread. Errors: the action must not throw.

#pragma once

#include <cstddef>
#include <functional>

namespace teskd::test {

// The action runs once, on this thread, directly after its nth release of a lock from now on,
// counted from 1. It does not run if the thread ends before; a further call replaces it.
void atRelease(std::size_t n, std::function<void()> action);

}  // namespace teskd::test
