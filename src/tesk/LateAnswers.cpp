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
    missing_.remove_if([end](const Missing& missing) { return missing.since <= end; });
}

std::list<LateAnswers::Missing>::iterator LateAnswers::firstMissing(std::optional<int> id) {
    return std::find_if(missing_.begin(), missing_.end(),
                        [id](const Missing& missing) { return missing.request.id == id; });
}

std::list<LateAnswers::Missing>::iterator LateAnswers::awaited(int id) {
    const auto found = firstMissing(id);
    return found == missing_.end() ? firstMissing(std::nullopt) : found;
}

bool LateAnswers::mayLog() {
    return notices_ == nullptr || notices_->allows();
}

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
}

void LateAnswers::settle(int id) {
    const auto found = awaited(id);
    if (found != missing_.end()) missing_.erase(found);
}

bool LateAnswers::isRest(const TeskPacket& answer) const {
    if (answer.has_regular_header()) return false;
    return request_.id ? answer.get_id() != request_.id : !missing_.empty();
}

bool LateAnswers::isDropped(const TeskPacket& answer, const std::string& machine) {
    const int id = answer.get_id();
    const bool late = isLate(id);
    if (!late && (!request_.id || id == request_.id)) return false;
    if (mayLog()) {
        Log::write(Log::NOTICE, "The answer %d that '%s' sent %s was dropped", id, machine.c_str(),
                   late ? "after the time-out" : "unasked");
    }
    return true;
}

bool LateAnswers::isLate(int id) {
    const auto found = id == request_.id ? firstMissing(id) : awaited(id);
    if (found == missing_.end()) return false;
    // Its own answer takes the place of the one taken, for the time that is left.
    if (found->request.isLike(request_)) {
        missing_.splice(missing_.end(), missing_, found);
        return false;
    }
    if (found->request.id == request_.id) behindLate_ = true;
    missing_.erase(found);
    return true;
}

// Each candidate is read into a packet of its own: one that is dropped leaves no trace.
void LateAnswers::read(InputStream& input, TeskPacket& packet, const std::string& machine) {
    ReplayedInputStream replayed(input);
    for (;;) {
        TeskPacket answer;
        answer.read(replayed);
        expire();
        if (isRest(answer)) throw TeskConnectionErrorException("An answer to another request");
        if (isDropped(answer, machine)) {
            replayed.replay(answer.get_surplus());
            continue;
        }
        drop(answer.get_unasked() + replayed.rest(), machine);
        return packet.take_answer(answer);
    }
}

}  // namespace teskd
