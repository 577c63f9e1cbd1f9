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
    set_ = true;
    const char mark = 1;
    // A full pipe refuses the byte, and is as readable as it needs to be.
    [[maybe_unused]] const ssize_t written = write(writeEnd_.get(), &mark, sizeof mark);
}

void StopEvent::clear() {
    set_ = false;
    char marks[64];
    while (read(readEnd_.get(), marks, sizeof marks) > 0) {
    }
}

}  // namespace teskd
