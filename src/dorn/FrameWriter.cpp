#include "dorn/FrameWriter.h"

#include <sys/socket.h>
#include <utility>

#include "core/Exception.h"
#include "core/Log.h"
#include "net/Socket.h"

namespace teskd {

void FrameWriter::write(const char* frame, std::size_t len) {
    if (!enqueue(std::string(frame, len))) return;
    std::string current;
    while (next(current)) send(current);
}

// True when the caller is to write.
bool FrameWriter::enqueue(std::string frame) {
    const SynchronizedLock lock(lock_);
    if (broken_) return false;
    frames_.push_back(std::move(frame));
    return !std::exchange(writing_, true);
}

bool FrameWriter::next(std::string& frame) {
    const SynchronizedLock lock(lock_);
    if (broken_) frames_.clear();
    if (frames_.empty()) {
        writing_ = false;
        return false;
    }
    frame = std::move(frames_.front());
    frames_.pop_front();
    return true;
}

void FrameWriter::send(const std::string& frame) {
    try {
        connection_.getOutputStream().write(frame);
        return;
    } catch (const Exception& e) {
        Log::write(Log::WARNING, "Exception was received: %s", e.getMessage().c_str());
    }
    {
        const SynchronizedLock lock(lock_);
        broken_ = true;
    }
    try {
        connection_.shutdown(SHUT_RDWR);
    } catch (const SocketException&) {
        // The peer was faster.
    }
}

}  // namespace teskd
