#include "support_src/RecordingListener.h"

#include "core/Exception.h"

namespace teskd::test {

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.kind << " " << outcome.packet << " '" << outcome.message << "'";
}

std::vector<Outcome> RecordingListener::outcomes() const {
    const std::scoped_lock lock(mutex_);
    return outcomes_;
}

void RecordingListener::packetCompleted(Packet* packet) {
    keep({"completed", packet});
}

void RecordingListener::packetFailed(Packet* packet) {
    keep({"failed", packet});
}

void RecordingListener::packetError(Packet* packet, const Exception& e) {
    keep({"error", packet, e.getMessage()});
}

void RecordingListener::keep(const Outcome& outcome) {
    const std::scoped_lock lock(mutex_);
    outcomes_.push_back(outcome);
}

}  // namespace teskd::test
