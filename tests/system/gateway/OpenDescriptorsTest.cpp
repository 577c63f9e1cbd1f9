// Descriptors are scarce: hosts never take those that the machines' lines need.

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "dorn/DescriptorBudget.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

DaemonProcess::Options withLimit(int descriptors) {
    DaemonProcess::Options options;
    options.disk.before = "ulimit -n " + std::to_string(descriptors);
    return options;
}

// Whether the daemon serves the host; otherwise it has closed the connection.
bool isServed(HostClient& host) {
    try {
        host.request(7, "", 0, 9);
        return host.readFrame().identifierB == 9;
    } catch (const Timeout&) {
        ADD_FAILURE() << "a host is neither served nor turned away";
        return false;
    } catch (const std::exception&) {
        return false;
    }
}

// Hosts connect and stay until the daemon turns one away, or there are that many.
std::vector<HostClient> asManyHostsAsThereCanBe(Gateway& gateway, std::size_t most) {
    std::vector<HostClient> hosts;
    while (hosts.size() < most) {
        HostClient host = gateway.host();
        if (!isServed(host)) break;
        hosts.push_back(std::move(host));
    }
    return hosts;
}

// Takes the daemon's question for its parameters, which it asks at the start, and holds the answer
// back: that one has it poll its machines.
class FirstPoll {
  public:
    explicit FirstPoll(Gateway& gateway)
        : notifications_(gateway.server()), question_(notifications_.take(2)) {}
    void demand() { notifications_.answer(question_, 2, "-30!1!1!0"); }

  private:
    Notifications notifications_;
    Frame question_;
};

// How many machines type 8 shows as known.
std::size_t knownMachines(HostClient& host) {
    constexpr std::size_t kRecord = 14;
    host.request(8, "");
    const std::string body = host.readFrame().body;
    std::size_t known = 0;
    for (std::size_t end = 1 + kRecord; end <= body.size(); end += kRecord) {
        if (body[end - 1] == 0) ++known;
    }
    return known;
}

TEST(OpenDescriptors, HostsThatHoldAllTheyCanGetKeepNoMachineUnknown) {
    Gateway gateway(4, Config().polling(30, 30), withLimit(80));
    gateway.start();
    FirstPoll poll(gateway);
    std::vector<HostClient> hosts = asManyHostsAsThereCanBe(gateway, 40);
    ASSERT_LE(1U, hosts.size());
    ASSERT_GT(40U, hosts.size());

    poll.demand();
    gateway.awaitKnown();
    EXPECT_TRUE(eventually([&] { return knownMachines(hosts.front()) == 4; }));
    EXPECT_EQ(0U, gateway.log().count("Too many open files")) << gateway.log().dump();
    for (HostClient& host : hosts) EXPECT_TRUE(isServed(host));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// Serial ports that nobody asks anything.
Config manyPorts(int count) {
    std::string numbers;
    Config config;
    config.polling(30, 30);
    for (int n = 1; n <= count; ++n) {
        config.serialPort(n, 1);
        config.set("PORT_ASYNC" + std::to_string(n), "IP_ADDRESS", "127.0.0.1");
        numbers += std::to_string(n) + ",";
    }
    return config.set("SLOT_MACHINE", "PORT_ASYNC", numbers);
}

// Nobody else comes after the last of them, whose turning away would log the count.
TEST(OpenDescriptors, TheNumberOfHostsTurnedAwayIsToldThoughNoneComesAfterThem) {
    Gateway gateway(0, Config().polling(30, 30), withLimit(80));
    gateway.start();
    const std::vector<HostClient> hosts = asManyHostsAsThereCanBe(gateway, 40);
    ASSERT_GT(40U, hosts.size());
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(gateway.host().connection().closedByPeer());
    const std::string count = "more lines were not logged";
    EXPECT_TRUE(eventually([&] {
        std::size_t told = gateway.log().count("Too many hosts are connected");
        for (const LogLine& line : gateway.log().lines()) {
            if (line.text.find(count) != std::string::npos) told += std::stoul(line.text);
        }
        return told >= 101;
    })) << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(OpenDescriptors, WithMoreLinesThanTheLimitCarriesSixteenHostsAreServedAndAWarningSaysSo) {
    Gateway gateway(0, manyPorts(60), withLimit(200));
    gateway.start();
    const auto line = gateway.log().waitFor(
        "200 open files at most are too few for 60 serial ports and 1 listening addresses: not all "
        "of them may work beside 16 hosts");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ(16U, asManyHostsAsThereCanBe(gateway, 40).size());
    EXPECT_EQ(0U, gateway.log().count("Too many open files")) << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(OpenDescriptors, AHostThatLeavesMakesRoomForAnother) {
    Gateway gateway(4, Config().polling(30, 30), withLimit(80));
    gateway.start();
    std::vector<HostClient> hosts = asManyHostsAsThereCanBe(gateway, 40);
    const std::size_t most = hosts.size();
    ASSERT_TRUE(gateway.log().waitFor("Cannot accept a connection: Too many hosts are connected"));
    EXPECT_TRUE(gateway.log().waitFor("80 open files at most leave room for"));
    hosts.clear();
    EXPECT_TRUE(eventually([&] { return gateway.daemon().threadCount() == idleThreads(); }));
    EXPECT_EQ(most, asManyHostsAsThereCanBe(gateway, 40).size());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// The listening thread holds a new connection's descriptors too until it has handed them over, so
// each count is waited for.
bool has(Gateway& gateway, std::size_t descriptors) {
    return eventually([&] { return gateway.daemon().openDescriptors() == descriptors; });
}

// What the budget is made of. Idle are the three standard ones, three events, the log's one, three
// of the listener and three of the notification server.
TEST(OpenDescriptors, AHostTakesFourAndAMachinesLineFourFromItsFirstRequestOn) {
    constexpr std::size_t kIdle = 3 + 3 + 1 + 3 + 3;
    EXPECT_LE(kIdle, DescriptorBudget::PROCESS + DescriptorBudget::LISTENER);
    Gateway gateway(3, Config().polling(30, 30));
    gateway.start();
    FirstPoll poll(gateway);
    EXPECT_TRUE(has(gateway, kIdle)) << gateway.daemon().openDescriptors();
    HostClient host = gateway.host();
    EXPECT_TRUE(isServed(host));
    EXPECT_TRUE(has(gateway, kIdle + 4)) << gateway.daemon().openDescriptors();
    HostClient another = gateway.host();
    EXPECT_TRUE(isServed(another));
    EXPECT_TRUE(has(gateway, kIdle + 2 * 4)) << gateway.daemon().openDescriptors();
    poll.demand();
    gateway.awaitKnown();
    EXPECT_TRUE(has(gateway, kIdle + 2 * 4 + 3 * 4)) << gateway.daemon().openDescriptors();
}

}  // namespace
}  // namespace teskd::test
