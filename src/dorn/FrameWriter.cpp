#include "dorn/FrameWriter.h"

#include <cerrno>
#include <sys/socket.h>
#include <utility>

#include "core/Attempt.h"
#include "core/Event.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "net/Socket.h"
#include "net/SocketError.h"

namespace teskd {

namespace {

constexpr const char* TOO_SLOW = "The host does not keep up";

}  // namespace

void FrameWriter::write(const char* frame, std::size_t len) {
    attemptOr(
        [&] {
            const SynchronizedLock lock(lock_);
            if (broken_) return;
            const std::size_t sent = frames_.empty() ? offer(frame, len) : 0;
            if (sent == len) return;
            enqueue(std::string(frame + sent, len - sent));
            send();
            if (queued_ > 0) wake_.set();
        },
        [this](const Exception& e) { giveUp(e.text()); });
}

void FrameWriter::beginAnswer() {
    if (queued_ <= account_.limits().allowance() || !account_.hasTooManyAnswers()) return;
    giveUp(SocketException(TOO_SLOW).text());
}

std::size_t FrameWriter::sendQueued() {
    if (queued_ == 0) return 0;  // the usual case; does not wait for a write() that has the lock
    std::size_t left = 0;
    attemptOr(
        [&] {
            const SynchronizedLock lock(lock_);
            send();
            left = queued_;
        },
        [this](const Exception& e) { giveUp(e.text()); });
    return left;
}

Deadline FrameWriter::nextCheck() const {
    const SynchronizedLock lock(lock_);
    return nextCheck_;
}

void FrameWriter::enqueue(std::string frame) {
    if (frames_.empty()) {
        acknowledged_ = acknowledged();
        nextCheck_ = Deadline::after(timeout_ / CHECKS);
        giveUpAt_ = Deadline::after(timeout_);
    }
    const std::size_t size = frame.size();
    frames_.push_back(std::move(frame));
    account_.addAnswer(size);
    queued_ += size;
}

void FrameWriter::send() {
    if (account_.isGivenUp()) throw SocketException(TOO_SLOW);
    while (!frames_.empty()) {
        const std::string& frame = frames_.front();
        const std::size_t n = offer(frame.data() + sent_, frame.size() - sent_);
        if (n == 0) break;
        sent_ += n;
        queued_ -= n;
        if (sent_ < frame.size()) continue;
        account_.removeAnswer(frame.size());
        frames_.pop_front();
        sent_ = 0;
    }
    if (queued_ > 0) checkProgress();
}

std::size_t FrameWriter::offer(const char* bytes, std::size_t len) {
    const std::size_t n = connection_.getOutputStream().writeAvailable(bytes, len);
    taken_ += n;
    return n;
}

void FrameWriter::checkProgress() {
    if (!nextCheck_.hasPassed()) return;
    nextCheck_ = Deadline::after(timeout_ / CHECKS);
    const std::uint64_t before = std::exchange(acknowledged_, acknowledged());
    if (acknowledged_ != before) giveUpAt_ = Deadline::after(timeout_);
    if (!giveUpAt_.hasPassed()) return;
    throwSocketError("virtual void FrameWriter::write(const char*, size_t)", ETIMEDOUT);
}

std::uint64_t FrameWriter::acknowledged() const {
    return taken_ - connection_.unacknowledged();
}

void FrameWriter::giveUp(const char* problem) {
    {
        const SynchronizedLock lock(lock_);
        if (std::exchange(broken_, true)) return;
        for (const std::string& frame : frames_) account_.removeAnswer(frame.size());
        frames_.clear();
        queued_ = 0;
    }
    log_.warning("Exception was received: %s", problem);
    connection_.shutdownQuietly();
}

}  // namespace teskd
