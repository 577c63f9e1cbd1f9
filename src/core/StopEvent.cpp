#include "core/StopEvent.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "core/Exception.h"

namespace teskd {

StopEvent::StopEvent() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw IOException(std::string("StopEvent::StopEvent()") + std::strerror(errno));
    }
    readEnd_.reset(ends[0]);
    writeEnd_.reset(ends[1]);
}

void StopEvent::set() {
    const SynchronizedLock lock(lock_);
    if (set_.exchange(true)) return;
    const char mark = 1;
    [[maybe_unused]] const ssize_t written = write(writeEnd_.get(), &mark, sizeof mark);
}

void StopEvent::clear() {
    const SynchronizedLock lock(lock_);
    if (!set_.exchange(false)) return;
    char mark = 0;
    [[maybe_unused]] const ssize_t taken = read(readEnd_.get(), &mark, sizeof mark);
}

}  // namespace teskd
