// The way to the notification server: silent servers, addresses that change, no way at all.

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "dorn/NotifyFixture.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// The patience with a server that stays silent. Two packets are sent half of it apart.
const std::chrono::milliseconds kPatient = 1s * timeScale();

class SilentServer : public NotifyFixture {
  protected:
    SilentServer() : NotifyFixture(kPatient) {
        configure("127.0.0.1", server().port());
        begin();
    }
};

TEST_F(SilentServer, LeavesALine) {
    const Sent sent(notify(), 0, 1);
    EXPECT_EQ("failed", sent.outcome());
    EXPECT_TRUE(log_.waitFor({180, "Notifications that the server has left unanswered: 1"}));
}

TEST_F(SilentServer, HasTheTimeOfEachPacketCountedFromItsOwnSending) {
    const Sent first(notify(), 0, 1);
    EXPECT_EQ(1U, receivedB());
    std::this_thread::sleep_for(kPatient / 2);
    const Sent second(notify(), 0, 2);
    EXPECT_EQ(2U, receivedB());
    const Clock::time_point received = Clock::now();
    EXPECT_TRUE(first.isOpen());
    EXPECT_EQ("failed", first.outcome());
    EXPECT_EQ("failed", second.outcome());
    EXPECT_GE(Clock::now() - received, kPatient * 9 / 10);
}

TEST_F(SilentServer, GetsNoMoreTimeByForeignDatagrams) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    const auto ended = [&] {
        server().reply(answer(5, 5));
        return !sent.isOpen();
    };
    EXPECT_TRUE(eventually(ended));
    EXPECT_EQ("failed", sent.outcome());
}

}  // namespace
}  // namespace teskd::test
