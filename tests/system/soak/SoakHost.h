// One host of a soak: connects again and again, asks good requests in all manners, and leaves in
// all manners.
//
// Ownership: refers to everything but its own random numbers. Threads: run() is a thread's body; it
// returns when the soak is over. In a calm no connection is left.
// Errors: none leave; a Violation goes to the stage.

#pragma once

#include <chrono>
#include <cstdint>
#include <semaphore>
#include <string>
#include <string_view>

#include "soak/HostLine.h"
#include "soak/Oracle.h"
#include "soak/Park.h"
#include "soak/Random.h"
#include "soak/RequestMaker.h"
#include "soak/Shift.h"
#include "soak/Stage.h"
#include "soak/Summary.h"

namespace teskd::soak {

class SoakHost {
  public:
    // Those who are about to connect.
    using Door = std::counting_semaphore<4>;
    struct Surroundings {
        Door& door;
        std::uint16_t port;  // the daemon's
        Park& park;
        Stage& stage;
        Summary& summary;
        std::uint64_t seed;
    };

    SoakHost(std::uint32_t number, const Surroundings& surroundings);

    void run();
    bool isIdle() const { return shift_.isIdle(); }

  private:
    // One connection.
    struct Visit {
        HostLine line;
        Oracle oracle;
        std::string story{};  // what the host did, for the message
        bool heldUp = false;  // the host did not read for a while, so the daemon may have left
        bool isIn = false;    // the daemon has answered
        Request::Clock::time_point begun = Request::Clock::now();
    };

    void visit();
    Visit enter();
    HostLine connect();
    // Whether the daemon may have ended the connection.
    bool mayBeGivenUp(const Visit& visit) const;
    void act(Visit& visit);
    void ask(Visit& visit, int requests);
    void send(Visit& visit, std::string_view bytes);
    void sendInPieces(Visit& visit, std::string_view bytes);
    void stopReading(Visit& visit);
    void sendBadChecksum(Visit& visit);
    // Reads until no more is owed than so much.
    void readUntil(Visit& visit, std::size_t owed);
    void read(Visit& visit, std::chrono::milliseconds time);

    void leave(Visit& visit);
    void leaveInOrder(Visit& visit);
    void leaveHalfClosed(Visit& visit);
    void leaveInsideFrame(Visit& visit);
    void leaveAfterJunk(Visit& visit);
    void expectEnd(Visit& visit);
    std::string junk();

    const std::uint32_t number_;
    const Surroundings around_;
    Random random_;
    RequestMaker maker_;
    Shift shift_;
};

}  // namespace teskd::soak
