#include "core/StopEvent.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/eventfd.h>
#include <unistd.h>

#include "core/Exception.h"

namespace teskd {

StopEvent::StopEvent() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_.isOpen()) return;
    throw IOException(std::string("StopEvent::StopEvent()") + std::strerror(errno));
}

void StopEvent::set() {
    const SynchronizedLock lock(lock_);
    if (set_.exchange(true)) return;
    const std::uint64_t mark = 1;
    while (write(event_.get(), &mark, sizeof mark) < 0 && errno == EINTR) {
    }
}

void StopEvent::clear() {
    const SynchronizedLock lock(lock_);
    if (!set_.exchange(false)) return;
    std::uint64_t mark = 0;
    while (read(event_.get(), &mark, sizeof mark) < 0 && errno == EINTR) {
    }
}

}  // namespace teskd
