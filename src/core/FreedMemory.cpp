#include "core/FreedMemory.h"

#include <cstddef>
#include <malloc.h>
#include <pthread.h>

#include "core/Thread.h"

namespace teskd {

namespace {

// A block of at least this many bytes is returned to the system when it is freed, so that the
// memory of a large frame or message does not stay with the process.
constexpr int LARGE_BLOCK = 128 * 1024;

// The C library keeps up to 40 MiB of stacks, with the pages that were touched of each, and has no
// call to drop them. A stack that is larger than that drives out all others when its thread ends,
// and then itself. Nearly all of it is a guard, so it takes address space and no memory; where
// there is too little of that, the stacks stay.
void dropStacks() {
#ifndef TESKD_SANITIZED  // a sanitizer touches memory for each stack
    constexpr std::size_t GUARD = std::size_t{48} * 1024 * 1024;
    pthread_attr_t attributes{};
    if (pthread_attr_init(&attributes) != 0) return;
    pthread_t thread{};
    const auto nothing = [](void* argument) { return argument; };
    const bool started = pthread_attr_setstacksize(&attributes, Thread::STACK_SIZE) == 0 &&
                         pthread_attr_setguardsize(&attributes, GUARD) == 0 &&
                         pthread_create(&thread, &attributes, nothing, nullptr) == 0;
    if (started) pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
#endif
}

}  // namespace

void limitFreedMemory() {
    mallopt(M_MMAP_THRESHOLD, LARGE_BLOCK);
    mallopt(M_ARENA_MAX, 1);
}

void returnFreedMemory() {
    malloc_trim(0);
    dropStacks();
}

}  // namespace teskd
