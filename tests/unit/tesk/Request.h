// A packet on its way to a slot machine, and what became of it.
//
// Ownership: holds a reference on the packet and is its listener while it lives.
// Threads: the packet is its master's while it is queued; the rest from any thread.

#pragma once

#include <cstdint>
#include <string>

#include "packet/PacketHandle.h"
#include "support/Deadline.h"
#include "support_src/RecordingListener.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {

class Request {
  public:
    static constexpr std::uint32_t kLongTime = 300'000;  // milliseconds

    explicit Request(int id, std::uint32_t timeout = kLongTime) : packet_(new TeskPacket) {
        packet_->set_id(id);
        packet_->setAnswerTimeout(timeout);
        packet_->addListener(&listener_);
    }
    ~Request() { packet_->removeListener(&listener_); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    TeskPacket* packet() const { return packet_.pointer(); }
    bool ended() const { return outcomes() > 0; }
    std::size_t outcomes() const { return listener_.outcomes().size(); }
    // "completed", "failed", or "error: " and the text; "nothing" when the deadline passes first.
    std::string outcome(Deadline deadline = {}) const {
        if (!eventually([this] { return ended(); }, deadline)) return "nothing";
        const Outcome outcome = listener_.outcomes().front();
        return outcome.message.empty() ? outcome.kind : outcome.kind + ": " + outcome.message;
    }

  private:
    RecordingListener listener_;
    const PacketHandle<TeskPacket> packet_;
};

}  // namespace teskd::test
