// Names for Clang's thread-safety attributes, so that a Clang build with -Wthread-safety checks at
// compile time that guarded data is reached through its lock. Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define TESKD_ATTRIBUTE(x) __attribute__((x))
#else
#define TESKD_ATTRIBUTE(x)
#endif

#define TESKD_CAPABILITY(name) TESKD_ATTRIBUTE(capability(name))
#define TESKD_SCOPED_CAPABILITY TESKD_ATTRIBUTE(scoped_lockable)
#define TESKD_GUARDED_BY(lock) TESKD_ATTRIBUTE(guarded_by(lock))
#define TESKD_RETURNS_LOCK(lock) TESKD_ATTRIBUTE(lock_returned(lock))
#define TESKD_REQUIRES(...) TESKD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TESKD_REQUIRES_SHARED(...) TESKD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define TESKD_ACQUIRE_SHARED(...) TESKD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define TESKD_RELEASE_SHARED(...) TESKD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define TESKD_ACQUIRE(...) TESKD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TESKD_RELEASE(...) TESKD_ATTRIBUTE(release_capability(__VA_ARGS__))
// For a function that proves to the compiler that the lock is held.
#define TESKD_ASSERTS_LOCK(lock) TESKD_ATTRIBUTE(assert_capability(lock))
// For the layer that implements locking itself, and for locks that may be held already (recursion).
#define TESKD_NO_ANALYSIS TESKD_ATTRIBUTE(no_thread_safety_analysis)
