#include "core/Synchronized.h"

#include <ctime>

namespace teskd {

namespace {

constexpr std::int64_t MICROSECONDS_PER_SECOND = 1'000'000;
constexpr std::int64_t NANOSECONDS_PER_MICROSECOND = 1'000;

timespec steadyTimeIn(std::int64_t microseconds) {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const std::int64_t total =
        time.tv_nsec / NANOSECONDS_PER_MICROSECOND + (microseconds < 0 ? 0 : microseconds);
    time.tv_sec += static_cast<time_t>(total / MICROSECONDS_PER_SECOND);
    using Nanoseconds = decltype(time.tv_nsec);
    time.tv_nsec =
        static_cast<Nanoseconds>((total % MICROSECONDS_PER_SECOND) * NANOSECONDS_PER_MICROSECOND);
    return time;
}

}  // namespace

Synchronized::Synchronized() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
    pthread_cond_init(&condition_, nullptr);
}

Synchronized::Synchronized(const Synchronized&) {
    pthread_mutex_init(&mutex_, nullptr);
    pthread_cond_init(&condition_, nullptr);
}

Synchronized::~Synchronized() noexcept(false) {
    if (pthread_mutex_trylock(&mutex_) != 0) throw SynchronizedException("Deleting locked mutex");
    pthread_mutex_unlock(&mutex_);
    pthread_mutex_destroy(&mutex_);
    pthread_cond_destroy(&condition_);
}

void Synchronized::operator delete(Synchronized* object, std::destroying_delete_t) noexcept(false) {
    void* const memory = dynamic_cast<void*>(object);
    object->~Synchronized();
    ::operator delete(memory);
}

void Synchronized::lock() TESKD_NO_ANALYSIS {
    pthread_mutex_lock(&mutex_);
}

void Synchronized::unlock() TESKD_NO_ANALYSIS {
    pthread_mutex_unlock(&mutex_);
}

void Synchronized::tryLock() TESKD_NO_ANALYSIS {
    if (pthread_mutex_trylock(&mutex_) != 0) throw LockedSynchronizedException();
}

// A thread that is cancelled while it waits acquires the lock again first; the scope releases it.
void Synchronized::wait() {
    const SynchronizedLock held(*this);
    waitLocked();
}

void Synchronized::waitLocked() {
    pthread_cond_wait(&condition_, &mutex_);
}

bool Synchronized::waitLocked(std::int64_t microseconds) {
    const timespec until = steadyTimeIn(microseconds);
    return pthread_cond_clockwait(&condition_, &mutex_, CLOCK_MONOTONIC, &until) == 0;
}

void Synchronized::notify() {
    pthread_cond_signal(&condition_);
}

void Synchronized::notifyAll() {
    pthread_cond_broadcast(&condition_);
}

}  // namespace teskd
