// Slot machines that are known, and whose links wait: what is asked of them stays in their queues
// until the fuzzer says what becomes of it.
//
// Each machine was connected to and has answered once, over a socket. That first request has a
// listener that never returns, so the link counts as running and its thread takes nothing more; the
// fuzzer does what the thread would do, in an order of its own and without waiting for anybody.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <latch>
#include <string>
#include <vector>

#include "packet/PacketEventListener.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "tesk/TeskController.h"

namespace teskd::fuzz {

// Threads: one user. One object's machines are set up at a time.
class ParkedMachines {
  public:
    // Machines 1 to n, named ZA000000001 and so on, and one on port 9 that nobody ever asked.
    explicit ParkedMachines(std::size_t machines);
    ~ParkedMachines();
    ParkedMachines(const ParkedMachines&) = delete;
    ParkedMachines& operator=(const ParkedMachines&) = delete;

    TeskController& controller() { return controller_; }
    std::size_t count() const { return links_.size(); }
    // n from 0.
    TeskMaster& machine(std::size_t n) { return *links_.at(n); }
    bool isAsked(std::size_t n) { return !machine(n).isEmpty(); }
    // The message that the machine got and has not answered yet.
    TeskPacket& question(std::size_t n);

    // The machine sends these bytes and closes the connection: what the link makes of them.
    void answer(std::size_t n, const std::string& message);
    // The machine lets the time run out.
    void timeOut(std::size_t n);
    // The link breaks down.
    void fail(std::size_t n, const std::string& what);
    // Lets the time of everything run out that is still asked, and gives the machines their names
    // back and no counters.
    void reset();

    static std::string nameOf(std::size_t n) { return "ZA00000000" + std::to_string(n + 1); }

  private:
    // Keeps the thread that calls it until the end.
    class Parking : public PacketEventListener {
      public:
        explicit Parking(std::size_t machines) : arrived_(static_cast<std::ptrdiff_t>(machines)) {}

        void packetCompleted(Packet*) override { park(); }
        void packetFailed(Packet*) override { std::abort(); }
        void packetError(Packet*, const Exception&) override { std::abort(); }

        void awaitAll() { arrived_.wait(); }
        void release() { open_.count_down(); }

      private:
        void park();

        std::latch arrived_;
        std::latch open_{1};
    };

    void introduce(std::size_t n);

    Parking parking_;
    std::vector<test::Listener> ports_;
    TeskController controller_;  // made when the ports are configured
    std::vector<test::Connection> lines_;
    std::vector<TeskMaster*> links_;
};

}  // namespace teskd::fuzz
