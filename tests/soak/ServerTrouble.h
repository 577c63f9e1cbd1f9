// The notification server of a soak: there or not there, in time or late, right or wrong.
//
// It is also what keeps the machines known: it answers notifications with parameters that begin a
// polling pass at once. The daemon's question for the time comes every second.
//
// Ownership: the object owns its socket; refers to the rest. Threads: run() is a thread's body; it
// returns when the soak is over. In a calm all is in good order.
// Errors: none leave; a Violation goes to the stage.

#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <utility>

#include "soak/Random.h"
#include "soak/Stage.h"
#include "soak/Summary.h"
#include "support/Frame.h"
#include "support/UdpPeer.h"

namespace teskd::soak {

class ServerTrouble {
  public:
    ServerTrouble(Stage& stage, Summary& summary, std::uint64_t seed);

    std::uint16_t port() const { return peer_.port(); }
    void run();

  private:
    using Clock = std::chrono::steady_clock;
    enum class Manner {
        Good,
        Absent,
        Silent,
        Late,
        OtherIdentifiers,
        Garbage,
        Short,
        Twice,
        Wrong
    };
    struct Due {
        Clock::time_point at;
        std::string datagram;
    };

    void turn();
    void begin(Manner manner);
    void serve();
    void take(const std::string& datagram);
    void answer(const test::Frame& notification);
    // The right answer to a notification.
    std::string rightAnswer(const test::Frame& notification);
    void later(std::chrono::milliseconds time, std::string datagram);
    void sendDue();
    static int codeOf(const test::Frame& notification);

    Stage& stage_;
    Summary& summary_;
    Random random_;
    test::UdpPeer peer_;
    Manner manner_ = Manner::Good;
    Clock::time_point mannerEnds_{};
    Clock::time_point lastPass_{};
    std::deque<Due> due_;
    std::set<std::pair<std::uint32_t, std::uint32_t>> seen_;
};

}  // namespace teskd::soak
