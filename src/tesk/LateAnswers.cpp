#include "tesk/LateAnswers.h"

#include "core/Exception.h"
#include "core/Log.h"
#include "core/NoticeLimiter.h"
#include "net/ReplayedInputStream.h"
#include "tesk/TeskPacket.h"

namespace teskd {

void LateAnswers::begin(const TeskPacket& request) {
    hasAsked_ = true;
    asked_ = request.get_asked_id();
}

void LateAnswers::timedOut() {
    ++missing_[asked_];
}

bool LateAnswers::mayLog() {
    return notices_ == nullptr || notices_->allows();
}

// Of whole messages nothing follows.
void LateAnswers::drop(std::string_view bytes, const std::string& machine) {
    if (bytes.empty()) return;
    if (mayLog()) {
        Log::write(Log::NOTICE, "%zu bytes that '%s' sent %s were dropped", bytes.size(),
                   machine.c_str(), missing_.empty() ? "unasked" : "after the time-out");
    }
    std::size_t length = TeskPacket::length_of(bytes);
    while (length > 0 && length <= bytes.size()) {
        bytes.remove_prefix(length);
        length = TeskPacket::length_of(bytes);
    }
    cut_ = !bytes.empty();
}

bool LateAnswers::take(int id) {
    const auto found = missing_.find(id);
    if (found == missing_.end()) return false;
    if (--found->second == 0) missing_.erase(found);
    return true;
}

bool LateAnswers::isRepeated(int id) const {
    const auto found = answered_.find(id);
    return found != answered_.end() && std::chrono::steady_clock::now() - found->second < MEMORY;
}

void LateAnswers::rememberAnswered(int id) {
    answered_[id] = std::chrono::steady_clock::now();
    if (answered_.size() <= MOST_REMEMBERED) return;
    auto oldest = answered_.begin();
    for (auto at = oldest; at != answered_.end(); ++at) {
        if (at->second < oldest->second) oldest = at;
    }
    answered_.erase(oldest);
}

// The rest of an answer that was half read at the time-out or half dropped, or one to a request
// without a number.
bool LateAnswers::isSuspicious(const TeskPacket& answer) const {
    if (missing_.contains(std::nullopt)) return true;
    return (cut_ || !missing_.empty()) && !answer.has_regular_header();
}

bool LateAnswers::isDropped(const TeskPacket& answer, const std::string& machine) {
    const int id = answer.get_id();
    if (id == asked_) return false;
    const bool late = take(id);
    if (!late && !isRepeated(id)) return false;
    if (mayLog()) {
        Log::write(Log::NOTICE, "The answer %d that '%s' %s was dropped", id, machine.c_str(),
                   late ? "sent after the time-out" : "repeated");
    }
    return true;
}

void LateAnswers::accept(const TeskPacket& answer) {
    const int id = answer.get_id();
    if (id == asked_) {
        rememberAnswered(id);
    } else if (asked_ && isSuspicious(answer)) {
        throw TeskConnectionErrorException("An answer to another request");
    }
    cut_ = false;
}

// Each candidate is read into a packet of its own: one that is dropped leaves no trace.
void LateAnswers::read(InputStream& input, TeskPacket& packet, const std::string& machine) {
    ReplayedInputStream replayed(input);
    for (;;) {
        TeskPacket answer;
        answer.read(replayed);
        if (isDropped(answer, machine)) {
            replayed.replay(answer.get_surplus());
            continue;
        }
        accept(answer);
        drop(answer.get_unasked() + replayed.rest(), machine);
        return packet.take_answer(answer);
    }
}

}  // namespace teskd
