// Which hosts may connect. Hosts have other addresses than the daemon, in a network of the test's
// own.

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "gateway/Gateway.h"
#include "support/Deadline.h"
#include "support/NetworkNamespace.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

constexpr char kDaemon[] = "10.1.0.1";

Config allowing(const std::string& list) {
    Config config = withoutMachines();
    config.set("IP_ADDRESS", "IP_LOCAL", "*");
    return config.set("IP_ADDRESS", "HOSTS_ALLOWED", list);
}

// The daemon among hosts of many addresses.
class HostsAllowed : public testing::Test {
  protected:
    HostsAllowed() {
        network_.addLink("eth0");
        for (const char* address :
             {"10.1.0.1/24", "10.1.0.2/24", "10.1.0.3/24", "192.168.7.9/24"}) {
            network_.addAddress("eth0", address);
        }
    }

    void start(Gateway& gateway) {
        network_.in([&gateway] { gateway.start(); });
    }
    // Whether a host with this address is served; otherwise the daemon closes its connection.
    bool isServed(Gateway& gateway, const std::string& from, const char* to = kDaemon) {
        const std::uint16_t port = gateway.daemon().port();
        HostClient host(network_.in([&] { return Connection::between(from, to, port); }));
        try {
            host.request(7, "", 0, 9);
            return host.readFrame().identifierB == 9;
        } catch (const Timeout&) {
            ADD_FAILURE() << from << " is neither served nor turned away";
            return false;
        } catch (const std::exception&) {
            return false;
        }
    }
    bool loopbackIsServed(Gateway& gateway) {
        return isServed(gateway, "127.0.0.1", "127.0.0.1") &&
               isServed(gateway, "127.8.9.10", "127.0.0.1");
    }

  private:
    NetworkNamespace network_;  // first: it is made before any thread is
};

TEST_F(HostsAllowed, WithoutAListEverybodyMayAndTheDumpHasNone) {
    Gateway gateway(0, allowing("").remove("IP_ADDRESS", "HOSTS_ALLOWED"));
    start(gateway);
    EXPECT_TRUE(isServed(gateway, "10.1.0.3"));
    EXPECT_TRUE(isServed(gateway, "192.168.7.9"));
    EXPECT_TRUE(loopbackIsServed(gateway));
    const std::string dump = readFile(gateway.daemon().root() / "tmp/dump_map.ini");
    EXPECT_NE(std::string::npos, dump.find("IP_LOCAL"));
    EXPECT_EQ(std::string::npos, dump.find("HOSTS_ALLOWED"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST_F(HostsAllowed, WithAListItsHostsAndThisMachineAreServedAndOthersAreClosedAndNamed) {
    Gateway gateway(0, allowing("192.168.7.0/24, 10.1.0.2"));
    start(gateway);
    EXPECT_TRUE(isServed(gateway, "10.1.0.2"));
    EXPECT_TRUE(isServed(gateway, "192.168.7.9"));
    EXPECT_TRUE(loopbackIsServed(gateway));
    EXPECT_FALSE(isServed(gateway, "10.1.0.3"));
    EXPECT_FALSE(isServed(gateway, kDaemon));
    const auto line = gateway.log().waitFor("10.1.0.3 may not connect and was turned away");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(181, line->priority);
    EXPECT_EQ(0U, gateway.log().count("10.1.0.2"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

struct BadList {
    const char* value;
    const char* line;
};

constexpr BadList kBadLists[] = {
    {"", "Only this machine itself may connect: HOSTS_ALLOWED is empty"},
    {" ", "Only this machine itself may connect: HOSTS_ALLOWED is empty"},
    {",; ", "Only this machine itself may connect: HOSTS_ALLOWED is empty"},
    {"10.1.0.2,everybody",
     "Only this machine itself may connect: HOSTS_ALLOWED has \"everybody\", which is no address "
     "or "
     "network"},
};

TEST_F(HostsAllowed, WithAValueThatIsNoListNobodyButThisMachineMayAndAWarningSaysSo) {
    for (const BadList& bad : kBadLists) {
        Gateway gateway(0, allowing(bad.value));
        start(gateway);
        const auto line = gateway.log().waitFor(bad.line);
        ASSERT_TRUE(line.has_value()) << gateway.log().dump();
        EXPECT_EQ(180, line->priority);
        EXPECT_FALSE(isServed(gateway, "10.1.0.2")) << bad.value;
        EXPECT_TRUE(loopbackIsServed(gateway)) << bad.value;
        EXPECT_CLEAN_STOP(gateway.daemon());
    }
}

TEST_F(HostsAllowed, WithAFileThatCannotBeReadNobodyButThisMachineMay) {
    Config config = allowing("10.1.0.2");
    Gateway gateway(0, config.remove("IP_ADDRESS", "HOSTS_ALLOWED"));
    const std::filesystem::path later = gateway.daemon().root() / "config/config.ini";
    std::filesystem::create_symlink("config.ini", later);
    start(gateway);
    EXPECT_TRUE(gateway.log().waitFor("ZqConfig: Cannot read " + later.string()));
    EXPECT_TRUE(
        gateway.log().waitFor("Only this machine itself may connect: HOSTS_ALLOWED has "
                              "\"unreadable\", which is no address or network"));
    EXPECT_FALSE(isServed(gateway, "10.1.0.2"));
    EXPECT_TRUE(loopbackIsServed(gateway));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST_F(HostsAllowed, AHostThatIsTurnedAwayAgainAndAgainLeavesFewLinesAndTheirNumber) {
    Gateway gateway(0, allowing("192.168.7.9"));
    start(gateway);
    const auto begun = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i) ASSERT_FALSE(isServed(gateway, "10.1.0.3"));
    EXPECT_TRUE(gateway.log().waitFor("more lines were not logged"));
    const std::size_t lines = gateway.log().count("may not connect");
    const auto seconds =
        std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begun).count();
    EXPECT_LE(lines, 4U * static_cast<std::size_t>(seconds + 1));
    EXPECT_TRUE(isServed(gateway, "192.168.7.9"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
