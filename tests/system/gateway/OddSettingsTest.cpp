// Settings that nobody would write on purpose: the daemon starts, serves what it can and ends in
// time.

#include <chrono>
#include <cstddef>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

#include "gateway/Gateway.h"
#include "support/OneOfAFew.h"
#include "support/ProcInfo.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMegabyte = 1'000'000;
constexpr char kHere[] = "127.0.0.1";

// "1,2,3 ... n".
std::string portsTo(int n) {
    std::string list = "1";
    for (int port = 2; port <= n; ++port) list += "," + std::to_string(port);
    return list;
}

// A megabyte of these: "a.0.0.0,a.0.0.1, ...".
std::string addressesIn(int network) {
    std::string list;
    for (unsigned i = 0; list.size() < kMegabyte; ++i) {
        list += std::to_string(network) + "." + std::to_string(i >> 16) + "." +
                std::to_string(i >> 8 & 0xFF) + "." + std::to_string(i & 0xFF) + ",";
    }
    return list;
}

std::string repeated(const std::string& text, std::size_t size = kMegabyte) {
    std::string all;
    while (all.size() < size) all += text;
    return all;
}

Config with(const char* section, const char* key, const std::string& value) {
    return Config().set(section, key, value);
}

void expectVersion(Gateway& gateway) {
    HostClient host = gateway.host();
    host.request(7, "");
    EXPECT_EQ(0x81, host.readFrame().kind);
}

constexpr auto kPromptly = 8s;  // on a machine that is busy with other things

// SIGTERM ends it with status 0 in time.
void expectPromptStop(Gateway& gateway) {
    const Clock::time_point start = Clock::now();
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_LE(Clock::now() - start, kPromptly * timeScale());
}

// Machine 1 is one of many; the others have no endpoint.
class OddSettingsManyPorts : public testing::Test {
  protected:
    static void expectServiceOf(int ports, const std::string& limit) {
        Gateway gateway(1, {}, {.disk = {.before = limit}});
        gateway.daemon().config().set("SLOT_MACHINE", "PORT_ASYNC", portsTo(ports));
        gateway.startKnown();
        HostClient host = gateway.host();
        host.request(1, named("\1", codeIdOf(1)));
        EXPECT_EQ(0x81, host.readFrame().kind);
        expectVersion(gateway);
        expectPromptStop(gateway);
    }
};

TEST_F(OddSettingsManyPorts, MoreThanTheSoftLimitOfDescriptorsAreServed) {
    expectServiceOf(1100, "ulimit -Sn 1024");
}

TEST_F(OddSettingsManyPorts, MoreThanTheHardLimitOfDescriptorsDoNotEndIt) {
    expectServiceOf(1100, "ulimit -n 1024");
}

TEST_F(OddSettingsManyPorts, AFewDescriptorsServeManyPortsThatHaveNoMachine) {
    expectServiceOf(300, "ulimit -n 64");
}

TEST_F(OddSettingsManyPorts, AMegabyteOfThemDoesNotEndIt) {
    expectServiceOf(150'000, ":");
}

// A megabyte of them is made in the test itself: every test of this program is a process, which
// would make all lists first.
struct Addresses {
    const char* name;
    std::string (*list)();
};

void PrintTo(const Addresses& addresses, std::ostream* out) {
    *out << addresses.name;
}

// A daemon that is to listen on a megabyte of addresses; one of them is there.
class OddSettingsManyAddresses : public testing::TestWithParam<Addresses> {
  protected:
    // A busy machine takes long to try so many addresses.
    static void start(Gateway& gateway) {
        gateway.start();
        const auto listens = [&] { return somebodyListens(gateway.daemon().port()); };
        ASSERT_TRUE(eventually(listens, 90s)) << gateway.log().dump();
    }
    // So many as each second allows.
    static std::size_t mostLinesSince(Clock::time_point begun) {
        constexpr std::size_t kMost = 16;
        const auto seconds = std::chrono::floor<std::chrono::seconds>(Clock::now() - begun);
        return kMost * (2U + static_cast<std::size_t>(seconds.count()));
    }
};

TEST_P(OddSettingsManyAddresses, HostsAreServedAndTheLogIsNotFilledAndTheStopIsInTime) {
    const Clock::time_point begun = Clock::now();
    Gateway gateway(1, with("IP_ADDRESS", "IP_LOCAL", GetParam().list()),
                    {.waitUntilListening = false});
    start(gateway);
    gateway.awaitKnown();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(oneOfAFew([&gateway] {
            const Clock::time_point start = Clock::now();
            expectVersion(gateway);
            return Clock::now() - start <= 1s * timeScale();
        }));
    }
    expectPromptStop(gateway);
    const std::size_t lines = gateway.log().count("Cannot listen on");
    EXPECT_LE(lines, mostLinesSince(begun));
}

TEST_P(OddSettingsManyAddresses, ItEndsInTimeWhenItHasJustBegun) {
    Gateway gateway(0, with("IP_ADDRESS", "IP_LOCAL", GetParam().list()),
                    {.waitUntilListening = false});
    start(gateway);
    expectPromptStop(gateway);
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, OddSettingsManyAddresses,
    testing::Values(
        Addresses{"NoAddresses", [] { return std::string(kHere) + "," + repeated("1,"); }},
        Addresses{"ForeignOnes", [] { return std::string(kHere) + "," + addressesIn(10); }},
        Addresses{"TheRightOneLast", [] { return addressesIn(10) + kHere; }},
        Addresses{"OwnOnes", [] { return std::string(kHere) + "," + addressesIn(127); }}),
    [](const auto& test) { return std::string(test.param.name); });

// One odd value of one key.
struct Odd {
    const char* section;
    const char* key;
    std::string text;
    std::size_t size = 0;  // that many bytes of the text again and again; 0: the text once
    std::string head{};    // in front of it

    std::string value() const { return head + (size > 0 ? repeated(text, size) : text); }
};

void PrintTo(const Odd& odd, std::ostream* out) {
    *out << "[" << odd.section << "] " << odd.key << "=" << odd.head << odd.text;
}

class OddSettingsValue : public testing::TestWithParam<Odd> {};

TEST_P(OddSettingsValue, DoesNotKeepItFromServingAndEnding) {
    Gateway gateway(0, with(GetParam().section, GetParam().key, GetParam().value()));
    gateway.start();
    expectVersion(gateway);
    expectPromptStop(gateway);
}

constexpr char kBeyondIntegers[] = "99999999999999999999";
constexpr char kLowest[] = "-2147483648";
constexpr char kFormat[] = "%s%n%s%n%d";

INSTANTIATE_TEST_SUITE_P(
    OfEachKey, OddSettingsValue,
    testing::Values(
        Odd{"SLOT_MACHINE", "PORT_ASYNC", "1,", kMegabyte},
        Odd{"SLOT_MACHINE", "PORT_ASYNC", "-1,0,x,-2147483648,2147483647,99999999999999999999"},
        Odd{"SLOT_MACHINE", "PORT_ASYNC", kFormat}, Odd{"IP_ADDRESS", "IP_SERVER", kFormat},
        Odd{"IP_ADDRESS", "IP_SERVER", "1", kMegabyte}, Odd{"IP_ADDRESS", "UDP_SERVER", "-1"},
        Odd{"IP_ADDRESS", "UDP_SERVER", kBeyondIntegers},
        Odd{"IP_ADDRESS", "IP_LOCAL", "a", kMegabyte, "127.0.0.1,"},
        Odd{"IP_ADDRESS", "IP_LOCAL", std::string("127.0.0.1,") + kFormat + ",::/0,:,*:*"},
        Odd{"PORT_ASYNC1", "IP_ADDRESS", "::1/64"}, Odd{"PORT_ASYNC1", "TCP_PORT", kBeyondIntegers},
        Odd{"PORT_ASYNC1", "BAUDRATE", kLowest}, Odd{"PORT_ASYNC1", "PARITY", kFormat},
        Odd{"RICH_ORA", "TOUT_ORA", "0"}, Odd{"RICH_ORA", "TOUT_ORA", kLowest},
        Odd{"RICH_ORA", "TOUT_ORA", kBeyondIntegers}, Odd{"AAMS", "TMP_APP_ACCENSIONE", kLowest},
        Odd{"AAMS", "TMP_APP_ACCENSIONE", kBeyondIntegers},
        Odd{"AAMS", "TMP_APP_COLLEGATI", kLowest},
        Odd{"AAMS", "TMP_APP_COLLEGATI", kBeyondIntegers},
        Odd{"AAMS", "INVIO_APP_COLLEGATI", kFormat},
        Odd{"INTERNAL", "MAC_ADDR_eth0", ":zz", kMegabyte},
        Odd{"INTERNAL", "MAC_ADDR_eth0", "1", 100'000}, Odd{"INTERNAL", "ZQ_MODEL", "x", kMegabyte},
        Odd{"INTERNAL", "ZQ_SW_VERSION", "x", kMegabyte},
        Odd{"INTERNAL", "ZQ_CONFIG_FILE", "../", 100'000},
        Odd{"INTERNAL", "ZQ_CONFIG_FILE", "../tmp/.."},
        Odd{"INTERNAL", "SW_UPDATE_B", "x", kMegabyte},
        Odd{"INTERNAL", "TESK_CONNECTION_TYPE", "-", kMegabyte}));

TEST(OddSettingsLargeFile, IsSkippedWithAWarning) {
    Gateway gateway(0, {}, {.configFile = "config/config.ini"});
    const auto file = gateway.daemon().root() / "etc/tesk_v2.ini";
    writeFile(file, "ZQ_CONFIG_FILE=none\n" + std::string(1 << 20, '\n'));
    gateway.start();
    const auto line = gateway.log().waitFor("ZqConfig: Cannot read ");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ("ZqConfig: Cannot read " + file.string() + ": File too large", line->text);
    expectVersion(gateway);
    expectPromptStop(gateway);
}

}  // namespace
}  // namespace teskd::test
