// The controller's network, as networks are: hosts, machines and notifications find back by
// themselves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>

#include "controller/Cable.h"
#include "controller/Controller.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr char kMachine[] = "ZA000000001";
constexpr auto kLong = 60s;
// Within which a connection whose peer is gone is given up, from the first data that it does not
// take.
constexpr auto kVanished = 120s;
constexpr auto kPass = 60s;  // between two polls

class ControllerNetwork : public testing::Test {
  protected:
    ControllerNetwork() { machine_.start(); }

    // Asks the time every second, so that notifications show what the network does.
    Config config() {
        return Controller::config({machine_.port()}, server_.port())
            .set("RICH_ORA", "TOUT_ORA", "1");
    }
    void bootKnown(Controller& controller) {
        controller.boot();
        ASSERT_TRUE(machine_.journal().waitForAcknowledgements(1, kLong)) << controller.log();
    }
    static bool asks(HostClient& host, Deadline deadline) {
        host.request(1, named("\1", kMachine));
        return host.readFrame(deadline).kind == 0x81;
    }
    // Seconds until the next notification, which is answered.
    double untilNotified(Deadline deadline) {
        const auto start = std::chrono::steady_clock::now();
        notifications_.answer(notifications_.take(1, deadline), 4, "-");
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    // Seconds until the machine is asked once more.
    double untilPolled(Deadline deadline) {
        const auto start = std::chrono::steady_clock::now();
        const std::size_t passes = machine_.journal().acknowledgementCount();
        EXPECT_TRUE(eventually([&] { return machine_.journal().acknowledgementCount() > passes; },
                               deadline));
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    tesksim::Machine machine_{{.codeId = kMachine}};
    UdpPeer server_;
    Notifications notifications_{server_};
};

// The connections outlast it: what was sent meanwhile arrives.
TEST_F(ControllerNetwork, ACableOutForAWhileCostsNoHostItsAnswer) {
    Controller controller(config());
    bootKnown(controller);
    HostClient host = controller.host();
    ASSERT_TRUE(asks(host, kLong));
    controller.setCable(false);
    host.request(1, named("\1", kMachine));
    EXPECT_FALSE(host.readFrameWithin(10s).has_value());
    controller.setCable(true);
    EXPECT_EQ(0x81, host.readFrame(kLong).kind);
    EXPECT_LT(untilNotified(kLong), 30);
    HostClient another = controller.host();
    EXPECT_TRUE(asks(another, kLong));
}

// A line to a machine takes a poll before the kernel finds out, and one that makes it anew.
TEST_F(ControllerNetwork, ANewAddressIsTakenUp) {
    Controller controller(config());
    bootKnown(controller);
    const ReservedPort port;
    controller.run(
        "ifconfig eth0 10.0.2.20 netmask 255.255.255.0 && route add default gw 10.0.2.2");
    controller.forward(port.number(), "10.0.2.20");
    EXPECT_LT(untilNotified(kLong), 30);
    HostClient host(port.number(), kLong);
    host.request(7, "");
    EXPECT_EQ(0x81, host.readFrame(kLong).kind);
    machine_.disconnect();  // its serial-port server hears nothing from the old address
    const double polled = untilPolled(kPass + kVanished + kPass + 30s);
    std::cout << "polled from the new address after " << polled << " s\n";
    EXPECT_TRUE(eventually([&] { return asks(host, kLong); }, kLong));
}

// What a station with the controller's address says of itself: a gratuitous ARP.
std::string claimOf(const std::string& address) {
    const std::string station = bytes("52 54 00 99 99 99");
    return bytes("FF FF FF FF FF FF") + station + bytes("08 06 00 01 08 00 06 04 00 01") + station +
           address + bytes("00 00 00 00 00 00") + address + std::string(18, '\0');
}

TEST_F(ControllerNetwork, AStationWithTheSameAddressDisturbsOnlyWhileItIsThere) {
    const TempDir directory;
    Cable cable(directory.path());
    Controller controller(config(), {.cable = directory.path()});
    bootKnown(controller);
    HostClient host = controller.host();
    ASSERT_TRUE(asks(host, kLong));
    const std::string claim = claimOf(bytes("0A 00 02 0F"));
    for (int i = 0; i < 10; ++i) {
        cable.inject(Cable::End::Outside, claim);
        cable.inject(Cable::End::Card, claim);
        std::this_thread::sleep_for(200ms);
    }
    EXPECT_LT(untilNotified(kLong), 60);
    EXPECT_TRUE(asks(host, kVanished));
    HostClient another = controller.host();
    EXPECT_TRUE(asks(another, kLong));
}

TEST_F(ControllerNetwork, ABadNetworkIsSlowAndLosesNothingOfAHosts) {
    const TempDir directory;
    Cable cable(directory.path());
    Controller controller(config(), {.cable = directory.path()});
    bootKnown(controller);
    cable.set({.lostOf100 = 30, .delay = 200ms});
    HostClient host = controller.host();
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(asks(host, kVanished)) << i;
    EXPECT_LT(untilNotified(kLong), 60);
    cable.set({});
    EXPECT_TRUE(asks(host, kLong));
    HostClient another = controller.host();
    EXPECT_TRUE(asks(another, kLong));
    EXPECT_LT(10U, cable.lost());
    std::cout << cable.lost() << " frames lost, " << cable.carried() << " carried\n";
}

}  // namespace
}  // namespace teskd::test
