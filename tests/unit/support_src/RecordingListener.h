// A listener that records the outcomes of packets.
//
// Ownership: the test owns it; it must outlive the packets that it is registered on.
// Threads: every operation may be called from any thread.
// Errors: nothing throws.

#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "packet/Packet.h"
#include "packet/PacketEventListener.h"

namespace teskd::test {

struct Outcome {
    std::string kind;  // "completed", "failed" or "error"
    const Packet* packet;
    std::string message = {};  // of an error

    bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

class RecordingListener : public PacketEventListener {
  public:
    std::vector<Outcome> outcomes() const;

    void packetCompleted(Packet* packet) override;
    void packetFailed(Packet* packet) override;
    void packetError(Packet* packet, const Exception& e) override;

  private:
    void keep(const Outcome& outcome);

    mutable std::mutex mutex_;
    std::vector<Outcome> outcomes_;  // guarded by mutex_
};

}  // namespace teskd::test
