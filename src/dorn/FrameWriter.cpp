#include "dorn/FrameWriter.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <sys/socket.h>
#include <utility>

#include "core/Exception.h"
#include "core/Log.h"
#include "core/NoticeLimiter.h"
#include "core/StopEvent.h"
#include "net/Socket.h"
#include "net/SocketError.h"

namespace teskd {

void FrameWriter::write(const char* frame, std::size_t len) {
    try {
        const SynchronizedLock lock(lock_);
        if (broken_) return;
        const std::size_t sent =
            frames_.empty() ? connection_.getOutputStream().writeAvailable(frame, len) : 0;
        if (sent == len) return;
        enqueue(std::string(frame + sent, len - sent));
        send();
        if (queued_ > 0) wake_.set();
    } catch (const Exception& e) {
        giveUp(e.text());
    } catch (const std::exception& e) {
        giveUp(e.what());
    }
}

std::size_t FrameWriter::sendQueued() {
    if (queued_ == 0) return 0;  // the usual case; who brings a frame now may hold the lock
    try {
        const SynchronizedLock lock(lock_);
        send();
        return queued_;
    } catch (const Exception& e) {
        giveUp(e.text());
    } catch (const std::exception& e) {
        giveUp(e.what());
    }
    return 0;
}

int FrameWriter::patience() const {
    const SynchronizedLock lock(lock_);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(progress_ + timeout_ - Clock::now());
    return static_cast<int>(std::max(left.count(), decltype(left.count()){0}));
}

void FrameWriter::enqueue(std::string frame) {
    if (queued_ > LARGEST_QUEUE) throw SocketException("The host does not keep up");
    if (frames_.empty()) progress_ = Clock::now();
    const std::size_t size = frame.size();
    frames_.push_back(std::move(frame));
    queued_ += size;
}

void FrameWriter::send() {
    while (!frames_.empty()) {
        const std::string& frame = frames_.front();
        const std::size_t n = connection_.getOutputStream().writeAvailable(frame.data() + sent_,
                                                                           frame.size() - sent_);
        if (n == 0) break;
        progress_ = Clock::now();
        sent_ += n;
        queued_ -= n;
        if (sent_ < frame.size()) continue;
        frames_.pop_front();
        sent_ = 0;
    }
    if (queued_ > 0 && Clock::now() - progress_ >= timeout_) {
        throwSocketError("virtual void FrameWriter::write(const char*, size_t)", ETIMEDOUT);
    }
}

void FrameWriter::giveUp(const char* problem) {
    {
        const SynchronizedLock lock(lock_);
        if (std::exchange(broken_, true)) return;
        frames_.clear();
        queued_ = 0;
    }
    if (notices_ == nullptr || notices_->allows()) {
        Log::write(Log::WARNING, "Exception was received: %s", problem);
    }
    connection_.shutdownQuietly();
}

}  // namespace teskd
