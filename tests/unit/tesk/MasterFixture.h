// One machine that has answered before, reached through the controller.
//
// Ownership: the object owns the machine and the controller. Threads: one user.

#pragma once

#include <gtest/gtest.h>
#include <string>

#include "support_src/LogRecorder.h"
#include "support_src/MachinePark.h"
#include "tesk/Request.h"

namespace teskd::test {

class MasterFixture : public testing::Test {
  protected:
    static constexpr const char* kName = "ZA000000001";
    // Milliseconds until a request without an answer times out. A request whose time is over before
    // it is written breaks the link, so the thread that writes it may be late by that much.
    static inline const std::uint32_t kShortTime = 500 * static_cast<std::uint32_t>(timeScale());

    void SetUp() override { park_.makeKnown(1); }

    TeskController& controller() { return park_.controller(); }
    tesksim::Machine& machine() { return park_.machine(1); }
    tesksim::Journal& journal() { return machine().journal(); }
    void send(const Request& request) { controller().send(kName, request.packet()); }
    bool connected() { return controller().is_connected(kName); }

    std::string ask(int id, std::uint32_t timeout = Request::kLongTime) {
        const Request request(id, timeout);
        send(request);
        return request.outcome();
    }
    // A request that comes while a run still ends may be told of that run's failure.
    void awaitEndOfRun() {
        const TeskMaster& master = *controller().get_machines().front();
        EXPECT_TRUE(eventually([&] { return !master.isRunning(); }));
    }
    // Asks while the machine says nothing.
    void timeOut(int id) {
        const Request request(id, kShortTime);
        sendUnanswered(request);
        EXPECT_EQ("failed", request.outcome());
    }
    // Hands the request over and returns when the machine has it and stays silent: from then on
    // other faults, and an answer, are for the next request.
    void sendUnanswered(const Request& request) {
        machine().setFaults({.silent = true}, 1);
        const std::size_t before = journal().requestCount();
        send(request);
        EXPECT_TRUE(journal().waitForRequests(before + 1));
        EXPECT_TRUE(eventually([this] { return !machine().faults().silent; }));
    }
    // Returns when the bytes have left the machine, and so have arrived. An answer that has arrived
    // may not stand in the journal yet.
    void inject(const std::string& bytes) {
        const std::size_t before = journal().rawSent().size();
        machine().inject(bytes);
        EXPECT_TRUE(eventually([&] {
            const std::string sent = journal().rawSent();
            return sent.size() >= before + bytes.size() && sent.ends_with(bytes);
        }));
    }
    // What the machine received, once there are so many acknowledgements.
    std::string received(std::size_t acknowledgements) {
        EXPECT_TRUE(journal().waitForAcknowledgements(acknowledgements));
        return journal().dataReceived();
    }

    const LogRecorder log;

  private:
    MachinePark park_{1};
};

}  // namespace teskd::test
