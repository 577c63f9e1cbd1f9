#include "tesk/LateAnswers.h"

#include <algorithm>

#include "core/Exception.h"
#include "core/LogSource.h"
#include "tesk/ReplayedInputStream.h"
#include "tesk/TeskPacket.h"

namespace teskd {

void LateAnswers::begin(const TeskPacket& request, Kind kind) {
    hasAsked_ = true;
    kind_ = kind;
    droppedSameId_ = false;
    request_ = {request.get_asked_id(), std::nullopt};
    if (request.get_size() <= LONGEST_REQUEST) request_.bytes = request.get_request();
}

void LateAnswers::timedOut() {
    owed_.push_back({request_, Deadline::after(memory_), droppedSameId_});
    if (owed_.size() > MOST_REMEMBERED) owed_.pop_front();
}

void LateAnswers::expire() {
    owed_.remove_if([](const OwedAnswer& owed) { return owed.expiry.hasPassed(); });
}

std::list<LateAnswers::OwedAnswer>::iterator LateAnswers::firstOwed(std::optional<int> id) {
    return std::find_if(owed_.begin(), owed_.end(), [id](const OwedAnswer& owed) {
        return owed.request.id == id && !owed.droppedSameId;
    });
}

std::list<LateAnswers::OwedAnswer>::iterator LateAnswers::findOwed(int id) {
    const auto found = firstOwed(id);
    return found == owed_.end() ? firstOwed(std::nullopt) : found;
}

void LateAnswers::drop(std::string_view bytes, const std::string& machine) {
    if (bytes.empty()) return;
    expire();
    log_.get().notice("%zu bytes that '%s' sent %s were dropped", bytes.size(), machine.c_str(),
                      owed_.empty() ? "unasked" : "after the time-out");
    auto header = TeskPacket::header_of(bytes);
    while (header && header->length <= bytes.size()) {
        arrived(header->id);
        bytes.remove_prefix(header->length);
        header = TeskPacket::header_of(bytes);
    }
}

void LateAnswers::arrived(int id) {
    const auto found = findOwed(id);
    if (found == owed_.end()) return;
    passTo(found);
    owed_.erase(found);
}

void LateAnswers::passTo(std::list<OwedAnswer>::iterator answered) {
    const std::optional<int> id = answered->request.id;
    if (!id) return;
    owed_.erase(owed_.begin(), answered);
    if (id == request_.id) return;
    // What was dropped before this answer belonged to still earlier requests.
    droppedSameId_ = false;
    for (OwedAnswer& owed : owed_) {
        if (owed.request.id != id) owed.droppedSameId = false;
    }
}

bool LateAnswers::isFragment(const TeskPacket& answer) const {
    if (answer.has_regular_header()) return false;
    return request_.id ? answer.get_id() != request_.id : !owed_.empty();
}

bool LateAnswers::isDropped(const TeskPacket& answer, const std::string& machine) {
    const int id = answer.get_id();
    const auto found = id == request_.id ? firstOwed(id) : findOwed(id);
    const bool late = found != owed_.end();
    if (late ? isTaken(found) : isOwn(id)) return false;
    log_.get().notice("The answer %d that '%s' sent %s was dropped", id, machine.c_str(),
                      late ? "after the time-out" : "unasked");
    return true;
}

bool LateAnswers::isOwn(int id) {
    if (!request_.id) return true;
    if (id != request_.id) return false;
    owed_.clear();
    return true;
}

bool LateAnswers::mayTake(const Request& owed) const {
    return owed.hasBytesOf(request_) || (kind_ == Kind::PROBE && owed.id == request_.id);
}

bool LateAnswers::isTaken(std::list<OwedAnswer>::iterator found) {
    passTo(found);
    // The open request takes this answer. Its own is owed instead, with the same expiry time.
    if (mayTake(found->request)) {
        found->request = request_;
        owed_.splice(owed_.end(), owed_, found);
        return true;
    }
    if (found->request.id == request_.id) droppedSameId_ = true;
    owed_.erase(found);
    return false;
}

// Reads each candidate into a temporary packet, so that a dropped one does not change the caller's.
void LateAnswers::read(InputStream& input, TeskPacket& packet, const std::string& machine) {
    ReplayedInputStream replayed(input);
    for (;;) {
        TeskPacket answer;
        answer.read(replayed);
        expire();
        if (isFragment(answer)) throw TeskConnectionErrorException("An answer to another request");
        if (isDropped(answer, machine)) {
            replayed.replay(answer.get_surplus());
            continue;
        }
        drop(answer.get_unasked() + replayed.rest(), machine);
        return packet.take_answer(answer);
    }
}

}  // namespace teskd
