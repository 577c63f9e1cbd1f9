// The notification server of a soak: there or not there, in time or late, right or wrong.
//
// It is also what keeps the machines known: it answers notifications with parameters that begin a
// polling pass at once. The daemon's question for the time comes every second.
//
// Ownership: the object owns its socket; refers to the rest. Threads: run() is a thread's body; it
// returns when the soak is over. In a calm all is in good order.
// Errors: none leave; a Violation goes to the stage.

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <utility>

#include "soak/Network.h"
#include "soak/Random.h"
#include "soak/Stage.h"
#include "soak/Summary.h"
#include "support/Frame.h"
#include "support/UdpPeer.h"

namespace teskd::soak {

class ServerTrouble {
  public:
    ServerTrouble(const Network& network, Stage& stage, Summary& summary, std::uint64_t seed);

    std::uint16_t port() const { return peer_.port(); }
    void run();
    // Notifications that have come so far.
    std::size_t received() const { return received_; }

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
        Wrong,
        Strays
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
    void send(const std::string& datagram);
    // What nobody has asked for, from the server's port or from another one.
    void sendStray();
    static bool isForCalm(Manner manner);
    static int codeOf(const test::Frame& notification);

    Stage& stage_;
    Summary& summary_;
    Random random_;
    test::UdpPeer peer_;
    test::UdpPeer stranger_;  // on the same host
    std::atomic<std::size_t> received_ = 0;
    Clock::time_point nextStray_{};
    Manner manner_ = Manner::Good;
    Clock::time_point mannerEnds_{};
    Clock::time_point lastPass_{};
    std::deque<Due> due_;
    std::set<std::pair<std::uint32_t, std::uint32_t>> seen_;
};

}  // namespace teskd::soak
