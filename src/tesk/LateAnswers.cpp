#include "tesk/LateAnswers.h"

#include "core/Exception.h"
#include "core/Log.h"
#include "core/NoticeLimiter.h"
#include "net/ReplayedInputStream.h"
#include "tesk/TeskPacket.h"

namespace teskd {

void LateAnswers::expect(std::optional<int> id) {
    anyTimedOut_ = true;
    ++missing_[id];
}

bool LateAnswers::take(int id) {
    const auto found = missing_.find(id);
    if (found == missing_.end()) return false;
    if (--found->second == 0) missing_.erase(found);
    return true;
}

// The rest of an answer that was half read at the time-out, or one to a request without a number.
bool LateAnswers::isSuspicious(const TeskPacket& answer) const {
    if (missing_.empty()) return false;
    return missing_.contains(std::nullopt) || !answer.has_regular_header();
}

// Each candidate is read into a packet of its own: one that is dropped leaves no trace.
void LateAnswers::read(InputStream& input, TeskPacket& packet, const std::string& machine,
                       NoticeLimiter* notices) {
    if (missing_.empty()) return packet.read(input);
    const std::optional<int> asked = packet.get_asked_id();
    ReplayedInputStream replayed(input);
    for (;;) {
        TeskPacket answer;
        answer.read(replayed);
        const int id = answer.get_id();
        if (id == asked) return packet.take_answer(answer);
        if (!take(id)) {
            if (asked && isSuspicious(answer)) {
                throw TeskConnectionErrorException("An answer to another request");
            }
            return packet.take_answer(answer);
        }
        if (notices == nullptr || notices->allows()) {
            Log::write(Log::NOTICE, "The answer %d that '%s' sent after the time-out was dropped",
                       id, machine.c_str());
        }
        replayed.replay(answer.get_surplus());
    }
}

}  // namespace teskd
