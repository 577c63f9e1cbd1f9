#include "tesk/LateAnswers.h"

#include <algorithm>

#include "core/Exception.h"
#include "core/Log.h"
#include "core/NoticeLimiter.h"
#include "net/ReplayedInputStream.h"
#include "tesk/TeskPacket.h"

namespace teskd {

void LateAnswers::begin(const TeskPacket& request) {
    hasAsked_ = true;
    behindLate_ = false;
    request_ = {request.get_asked_id(), std::nullopt};
    if (request.get_size() <= LONGEST_REQUEST) request_.bytes = request.get_request();
}

void LateAnswers::timedOut() {
    if (!behindLate_) expect(request_);
}

void LateAnswers::expect(const Request& request) {
    missing_.push_back({request, std::chrono::steady_clock::now()});
    if (missing_.size() > MOST_REMEMBERED) missing_.pop_front();
}

void LateAnswers::expire() {
    const Time end = std::chrono::steady_clock::now() - memory_;
    while (!missing_.empty() && missing_.front().since <= end) missing_.pop_front();
}

std::list<LateAnswers::Missing>::iterator LateAnswers::firstMissing(int id) {
    return std::find_if(missing_.begin(), missing_.end(),
                        [id](const Missing& missing) { return missing.request.id == id; });
}

bool LateAnswers::mayLog() {
    return notices_ == nullptr || notices_->allows();
}

// Of whole messages nothing follows.
void LateAnswers::drop(std::string_view bytes, const std::string& machine) {
    if (bytes.empty()) return;
    expire();
    if (mayLog()) {
        Log::write(Log::NOTICE, "%zu bytes that '%s' sent %s were dropped", bytes.size(),
                   machine.c_str(), missing_.empty() ? "unasked" : "after the time-out");
    }
    auto header = TeskPacket::header_of(bytes);
    while (header && header->length <= bytes.size()) {
        settle(header->id);
        bytes.remove_prefix(header->length);
        header = TeskPacket::header_of(bytes);
    }
    cut_ = !bytes.empty();
}

void LateAnswers::settle(int id) {
    const auto found = firstMissing(id);
    if (found != missing_.end()) missing_.erase(found);
}

bool LateAnswers::isRepeated(int id) const {
    const auto found = answered_.find(id);
    return found != answered_.end() && std::chrono::steady_clock::now() - found->second < memory_;
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
    const auto isUnknown = [](const Missing& missing) { return !missing.request.id; };
    if (std::any_of(missing_.begin(), missing_.end(), isUnknown)) return true;
    return (cut_ || !missing_.empty()) && !answer.has_regular_header();
}

bool LateAnswers::isDropped(const TeskPacket& answer, const std::string& machine) {
    const int id = answer.get_id();
    const bool late = isLate(id);
    // The answer to a request whose number nobody knows may bear any.
    const bool repeated = request_.id && id != request_.id && isRepeated(id);
    if (!late && !repeated) return false;
    if (mayLog()) {
        Log::write(Log::NOTICE, "The answer %d that '%s' %s was dropped", id, machine.c_str(),
                   late ? "sent after the time-out" : "repeated");
    }
    return true;
}

bool LateAnswers::isLate(int id) {
    expire();
    const auto found = firstMissing(id);
    if (found == missing_.end()) return false;
    const bool same = id == request_.id && found->request.isLike(request_);
    missing_.erase(found);
    rememberAnswered(id);
    if (same) {
        expect(request_);
    } else if (id == request_.id) {
        behindLate_ = true;
    }
    return !same;
}

void LateAnswers::accept(const TeskPacket& answer) {
    const int id = answer.get_id();
    if (id == request_.id) {
        rememberAnswered(id);
    } else if (request_.id && isSuspicious(answer)) {
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
