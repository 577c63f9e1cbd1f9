#include "core/Event.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/eventfd.h>
#include <unistd.h>

#include "core/Exception.h"

namespace teskd {

namespace {

// Stands in lines of the log, and so stays as it was when the class had another name.
constexpr const char* NOT_OPENED = "StopEvent::StopEvent()";

}  // namespace

Event::Event(Opening opening) {
    if (opening == Opening::NOW) opened();
}

int Event::opened() const {
    const SynchronizedLock lock(lock_);
    if (!event_.isOpen()) open();
    return event_.get();
}

void Event::open() const {
    const unsigned marks = set_ ? 1 : 0;
    event_.reset(eventfd(marks, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event_.isOpen()) {
        throw IOException(std::string(NOT_OPENED) + std::strerror(errno));
    }
    isOpen_ = true;
}

void Event::set() {
    const SynchronizedLock lock(lock_);
    if (set_.exchange(true) || !event_.isOpen()) return;
    const std::uint64_t mark = 1;
    while (write(event_.get(), &mark, sizeof mark) < 0 && errno == EINTR) {
    }
}

void Event::clear() {
    const SynchronizedLock lock(lock_);
    if (!set_.exchange(false) || !event_.isOpen()) return;
    std::uint64_t mark = 0;
    while (read(event_.get(), &mark, sizeof mark) < 0 && errno == EINTR) {
    }
}

}  // namespace teskd
