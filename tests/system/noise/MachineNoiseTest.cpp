// Machines, and the serial-port servers in front of them, that send nonsense as fast as they can.

#include <future>
#include <gtest/gtest.h>

#include "noise/Flood.h"
#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

std::string times(std::size_t count, const std::string& bytes) {
    std::string many;
    for (; count > 0; --count) many += bytes;
    return many;
}

constexpr int kLineControl = 0x2C;

// Agrees to control the line.
const std::string kAgreement = bytes("FF FD 2C");

// One serial port, whose server is played by hand.
class MachineNoiseOnLine : public testing::Test {
  protected:
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_->daemon()); }

    // The gateway waits a second for the agreement, so it is given while the gateway still starts.
    Connection startAndAccept() {
        gateway_ =
            std::make_unique<Gateway>(0, Config().polling(0, 30).serialPorts({listener_.port()}));
        auto agreed = std::async(std::launch::async, [this] {
            Connection server = listener_.accept();
            server.sendAll(kAgreement);
            return server;
        });
        gateway_->start();
        return agreed.get();
    }
    // Sends this instead of the answer to the first poll.
    void expectBounded(const std::string& nonsense) {
        Connection server = startAndAccept();
        const std::string portion = times(100, nonsense);
        const Flood flood(
            *gateway_, [&] { server.sendAll(portion); }, 10);
        EXPECT_TRUE(eventually([&] {
            server.sendAll(portion);
            return flood.saysLeftOut();
        }));
        flood.expectBounded();
    }

    Listener listener_;
    std::unique_ptr<Gateway> gateway_;
};

TEST_F(MachineNoiseOnLine, EndsWithoutABeginningAreLoggedAFewTimesASecond) {
    expectBounded(bytes("FF F0"));
}

TEST_F(MachineNoiseOnLine, BytesThatAreNoCommandsAreLoggedAFewTimesASecond) {
    expectBounded(bytes("FF 41"));
}

TEST_F(MachineNoiseOnLine, UnknownSubnegotiationsAreLoggedAFewTimesASecond) {
    expectBounded(bytes("FF FA 18 01 41 42 FF F0"));
}

TEST_F(MachineNoiseOnLine, UnknownLineControlIsLoggedAFewTimesASecond) {
    expectBounded(bytes("FF FA 2C 6B 30 FF F0"));
}

TEST_F(MachineNoiseOnLine, UnknownOptionsLeaveFewLines) {
    Connection server = startAndAccept();
    std::string offers;
    for (int option = 0; option < 256; ++option) {
        if (option == kLineControl) continue;  // without it the link ends
        for (const int command : {0xFB, 0xFC, 0xFD, 0xFE}) {
            offers += {'\xFF', static_cast<char>(command), static_cast<char>(option)};
        }
    }
    const auto portion = [&] {
        server.sendAll(offers);
        server.readAvailable();
    };
    const Flood flood(*gateway_, portion, 10);
    flood.expectFew();
}

TEST_F(MachineNoiseOnLine, AnEndlessAnswerLeavesFewLines) {
    Connection server = startAndAccept();
    const Flood flood(*gateway_, [&] {
        try {
            server.sendAll(std::string(1000, '7'));
        } catch (const std::system_error&) {
            if (listener_.pendingWithin(0ms)) server = listener_.accept();
        }
    });
    flood.expectFew();
}

// The link ends with the first connection that brings no answer, whatever hosts ask.
TEST_F(MachineNoiseOnLine, ConnectionsThatAreClosedAtOnceLeaveFewLines) {
    Connection server = startAndAccept();
    server.close();
    HostClient host = gateway_->host();
    const auto portion = [&] {
        host.request(1, std::string(1, '\0'));
        host.readFrame();
        if (listener_.pendingWithin(0ms)) listener_.accept();
    };
    const Flood flood(*gateway_, portion, 50);
    flood.expectFew(1, false);
}

TEST(MachineNoise, CodeIdsThatChangeWithEveryAnswerLeaveFewLines) {
    Gateway gateway(1, Config().polling(0, 30));
    gateway.startKnown();
    HostClient host = gateway.host();
    std::size_t n = 1;
    const auto portion = [&] {
        gateway.machine(1).setCodeId(codeIdOf(++n));
        host.request(1, std::string(1, '\0'));
        EXPECT_EQ(0x81, host.readFrame().kind);
    };
    const Flood flood(gateway, portion, 10);
    flood.expectFew(1, false);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineNoise, GarbageBehindEveryAnswerLeavesFewLines) {
    Gateway gateway(1, Config().polling(0, 30));
    gateway.startKnown();
    gateway.machine(1).setFaults({.garbageAfter = std::string(50, '\xEE')});
    HostClient host = gateway.host();
    const auto portion = [&] {
        host.request(1, std::string(1, '\0'));
        host.readFrame();
    };
    const Flood flood(gateway, portion, 10);
    flood.expectFew(1, false);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// An ordinary start of a link has more lines than most sources, and none is left out.
TEST_F(MachineNoiseOnLine, EveryConfirmedLineSettingIsLogged) {
    Connection server = startAndAccept();
    std::string confirmations;
    for (const int setting : {101, 102, 103, 104, 105, 106, 107}) {
        confirmations += bytes("FF FA 2C") + static_cast<char>(setting) + bytes("01 FF F0");
    }
    server.sendAll(confirmations);
    EXPECT_TRUE(gateway_->log().waitForCount("Un-handle Telnet : COM_PORT_OPTION", 7));
}

}  // namespace
}  // namespace teskd::test
