// Machines whose endpoints come and go: nothing piles up.

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// An endpoint that accepts connections and ends each at once.
class Doorkeeper {
  public:
    Doorkeeper() : thread_([this] { run(); }) {}
    ~Doorkeeper() {
        stopping_ = true;
        thread_.join();
    }
    std::uint16_t port() const { return listener_.port(); }
    std::size_t turnedAway() const { return turnedAway_; }

  private:
    void run() {
        while (!stopping_) {
            if (!listener_.pendingWithin(50ms)) continue;
            Connection connection = listener_.accept();
            if (turnedAway_++ % 2 == 0) connection.reset();
        }
    }

    Listener listener_{0, 1024};
    std::atomic<bool> stopping_ = false;
    std::atomic<std::size_t> turnedAway_ = 0;
    std::thread thread_;
};

// Serial ports 1 to n on one endpoint.
Config manyPorts(int n, std::uint16_t port) {
    Config config;
    std::string numbers;
    for (int i = 1; i <= n; ++i) {
        const std::string section = "PORT_ASYNC" + std::to_string(i);
        config.serialPort(i, port);
        config.set(section, "IP_ADDRESS", "127.0.0.1").set(section, "BAUDRATE", "9600");
        numbers += std::to_string(i) + " ";
    }
    return config.set("SLOT_MACHINE", "PORT_ASYNC", numbers);
}

// The minute between two passes cannot be shortened, so the connections of a pass are many.
TEST(Reconnection, AThousandLostConnectionsLeaveNothingBehind) {
    constexpr int kPorts = 500;
    Doorkeeper doorkeeper;
    Gateway gateway(0, manyPorts(kPorts, doorkeeper.port()));
    gateway.start();
    DaemonProcess& daemon = gateway.daemon();
    const auto turnedAway = [&](std::size_t count) {
        return eventually([&] { return doorkeeper.turnedAway() >= count; }, 30s);
    };
    ASSERT_TRUE(turnedAway(kPorts)) << doorkeeper.turnedAway();
    const auto settled = [&] { return daemon.threadCount() <= idleThreads(); };
    ASSERT_TRUE(eventually(settled, 20s)) << daemon.threadCount();
    const std::size_t descriptors = daemon.openDescriptors();
    const std::size_t memory = daemon.residentKilobytes();

    Notifications notifications(gateway.server());
    notifications.answer(notifications.take(2), 2, "-1!1!1!0");
    ASSERT_TRUE(turnedAway(2 * kPorts)) << doorkeeper.turnedAway();
    ASSERT_TRUE(eventually(settled, 20s)) << daemon.threadCount();
    EXPECT_TRUE(eventually([&] { return daemon.openDescriptors() <= descriptors; }))
        << daemon.openDescriptors() << " instead of " << descriptors;
    if (memoryShows()) {
        EXPECT_LT(daemon.residentKilobytes(), memory + 16 * 1024);
    }

    HostClient host = gateway.host();
    host.request(8, "");
    EXPECT_EQ(1U + 14U * kPorts, host.readFrame().body.size());
    EXPECT_CLEAN_STOP(daemon);
}

TEST(Reconnection, AMachineThatBreaksOffIsServedOnANewConnection) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).disconnect(true);
    ASSERT_TRUE(gateway.machine(1).journal().waitForDisconnection());
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    EXPECT_EQ(0xAB, host.readFrame().kind);

    ASSERT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(2));
    EXPECT_EQ(2U, gateway.machine(1).journal().connections());
    host.request(1, std::string(1, '\0'));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
