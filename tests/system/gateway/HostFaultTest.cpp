// Hosts that send in pieces, break off, do not read or do not speak at all.

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <thread>
#include <vector>

#include "gateway/Gateway.h"
#include "gateway/UnfinishedHosts.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr char kLost[] =
    "Connection lost with remote peer: IOException: SocketException: "
    "SocketConnectionClosedException: Remote Peer closed the connection.";

Frame versionRequest(std::uint32_t identifier) {
    return Frame{.type = 7, .identifierB = identifier};
}

void expectVersion(HostClient& host, std::uint32_t identifier) {
    const Frame answer = host.readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(7, answer.type);
    EXPECT_EQ(identifier, answer.identifierB);
}

class HostFault : public testing::Test {
  protected:
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }
    // A working host, to show that the daemon is well.
    void expectService() {
        HostClient host = gateway_.host();
        host.send(versionRequest(99));
        expectVersion(host, 99);
    }

    Gateway gateway_{0};
};

TEST_F(HostFault, AFrameThatArrivesByteByByteIsOneFrame) {
    gateway_.start();
    HostClient host = gateway_.host();
    host.connection().sendByteByByte(versionRequest(1).encode());
    expectVersion(host, 1);
    EXPECT_EQ(0U, gateway_.log().count("Exception"));
}

TEST_F(HostFault, TwoFramesInOnePacketAreBothAnswered) {
    gateway_.start();
    HostClient host = gateway_.host();
    host.sendRaw(versionRequest(1).encode() + versionRequest(2).encode());
    expectVersion(host, 1);
    expectVersion(host, 2);
}

TEST_F(HostFault, AFrameCutAnywhereIsOneFrame) {
    gateway_.start();
    HostClient host = gateway_.host();
    Frame frame = versionRequest(1);
    frame.body = "ignored";
    const std::string whole = frame.encode();
    for (std::size_t cut = 1; cut < whole.size(); ++cut) {
        host.sendRaw(whole.substr(0, cut));
        host.sendRaw(whole.substr(cut));
        expectVersion(host, 1);
    }
}

TEST_F(HostFault, ABadChecksumIsLoggedAndTheNextFrameAnswered) {
    gateway_.start();
    HostClient host = gateway_.host();
    std::string damaged = bytes("FF 81 02 07  00 00 00 01") + std::string(34, '\0');
    host.sendRaw(damaged + bytes("10") + versionRequest(2).encode());
    expectVersion(host, 2);
    const auto line = gateway_.log().waitFor(
        "ProtocolErrorException: Invalid Checksum (Was: 0x10, should be: 0x8a)");
    ASSERT_TRUE(line.has_value()) << gateway_.log().dump();
    EXPECT_EQ(181, line->priority);
    EXPECT_EQ("ProtocolErrorException: Invalid Checksum (Was: 0x10, should be: 0x8a)", line->text);
}

TEST_F(HostFault, AnImpossibleLengthIsLoggedAndCostsNoMemory) {
    gateway_.start();
    HostClient host = gateway_.host();
    host.send(versionRequest(1));
    expectVersion(host, 1);
    const std::size_t before = gateway_.daemon().residentKilobytes();
    for (const char* length : {"00 00 00 00", "FF FF FF FF", "01 00 00 01"}) {
        host.sendRaw(bytes("FF 81 02 07") + bytes(length) + std::string(34, '\0'));
    }
    const auto isError = [](const LogLine& line) {
        return line.priority == 181 && line.text.rfind("ProtocolErrorException: ", 0) == 0;
    };
    ASSERT_TRUE(gateway_.log().waitForLine(isError)) << gateway_.log().dump();
    host.send(versionRequest(2));
    expectVersion(host, 2);
    EXPECT_TRUE(gateway_.log().waitForCount("ProtocolErrorException: ", 3));
    EXPECT_EQ(3U, gateway_.log().count("ProtocolErrorException: "));

    // A length that is allowed takes memory only for what arrives.
    HostClient liar = gateway_.host();
    liar.sendRaw(bytes("FF 81 02 07  01 00 00 00") + std::string(34, '\0') + "a few bytes");
    expectService();
    if (memoryShows()) {
        EXPECT_LT(gateway_.daemon().residentKilobytes(), before + 8 * 1024);
    }
}

TEST_F(HostFault, ALargeFrameIsTakenWhole) {
    gateway_.start();
    HostClient host = gateway_.host();
    Frame frame = versionRequest(3);
    frame.body = std::string(5 * 1024 * 1024, 'x');
    host.send(frame);
    expectVersion(host, 3);
}

TEST_F(HostFault, UnfinishedBodiesOfTheLargestKindAreBoundedTogether) {
    gateway_.start();
    expectService();
    const std::size_t before = gateway_.daemon().residentKilobytes();
    Frame frame = versionRequest(1);
    frame.body = std::string(16'777'215, 'x');
    const std::string unfinished = frame.encode().substr(0, frame.body.size());
    const std::vector<HostClient> hosts = connectUnfinished(gateway_, 12, unfinished);
    expectService();
    const std::size_t after = gateway_.daemon().residentKilobytes();
    std::cout << "12 unfinished bodies of 16 MiB: " << (after - before) / 1024 << " MiB\n";
#ifndef TESKD_SANITIZED  // a sanitizer's own memory is a multiple of it
    if (memoryShows()) {
        EXPECT_LE(after, before + 20 * 1024);
    }
#endif
}

TEST_F(HostFault, OneThatClosesInsideAHeaderOrABodyIsLogged) {
    gateway_.start();
    Frame frame = versionRequest(1);
    frame.body = "body";
    const std::string whole = frame.encode();
    std::size_t lost = 0;
    for (const std::size_t sent : {0U, 1U, 20U, 42U, 44U, 46U}) {
        HostClient host = gateway_.host();
        if (sent > 0) host.sendRaw(whole.substr(0, sent));
        host.close();
        EXPECT_TRUE(gateway_.log().waitForCount(kLost, ++lost)) << sent;
        EXPECT_TRUE(gateway_.log().waitForCount("Thread 'Dorn' Terminated", lost)) << sent;
    }
    const auto line = gateway_.log().waitFor(kLost);
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ(kLost, line->text);
    EXPECT_EQ(181, gateway_.log().waitFor("Thread 'Dorn' Terminated")->priority);
    expectService();
}

TEST_F(HostFault, NothingOfAnOldConnectionSurfacesInANewOne) {
    gateway_.start();
    const std::string whole = versionRequest(1).encode();
    for (int i = 0; i < 20; ++i) {
        HostClient broken = gateway_.host();
        broken.sendRaw(whole.substr(0, 30));
        broken.connection().reset();
        HostClient host = gateway_.host();
        host.send(versionRequest(2));
        expectVersion(host, 2);
    }
}

TEST_F(HostFault, JunkThatStaysTakesNoProcessorTime) {
    gateway_.start();
    HostClient host = gateway_.host();
    const double before = processorSeconds(gateway_.daemon().pid());
    host.sendRaw("GET / HTTP/1.1\r\nHost: a web browser that came to the wrong place\r\n\r\n");
    ASSERT_TRUE(gateway_.log().waitForCount("Dorn Got Junk", 4));
    EXPECT_LT(processorSeconds(gateway_.daemon().pid()) - before, 1.0);
}

TEST_F(HostFault, HalfOpenHostsDoNotKeepOthersOut) {
    gateway_.start();
    std::vector<HostClient> silent;
    for (int i = 0; i < 20; ++i) silent.push_back(gateway_.host());
    expectService();
    for (HostClient& host : silent) {
        host.send(versionRequest(5));
        expectVersion(host, 5);
    }
}

// 200 serial ports, with a known machine that no longer answers on the first of them.
class HostFaultBesideManyPorts : public testing::Test {
  protected:
    HostFaultBesideManyPorts() {
        machine_.start();
        gateway_.start();
        EXPECT_TRUE(machine_.journal().waitForAcknowledgements(1));
        machine_.setFaults({.silent = true});
    }
    ~HostFaultBesideManyPorts() noexcept override = default;
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    static Config ports(std::uint16_t first) {
        std::vector<std::uint16_t> all(200, 1);  // nobody is there
        all.front() = first;
        Config config;
        return config.serialPorts(all).polling(0, 60);
    }
    static tesksim::Machine::Options known() {
        tesksim::Machine::Options options;
        options.codeId = codeIdOf(1);
        return options;
    }
    // Takes all that hosts share, with a body of which nothing more comes.
    void takePool() {
        others_.push_back(gateway_.host());
        others_.back().sendRaw(bytes("FF 81 02 07  01 00 00 00") + std::string(34, '\0') + "some");
        Frame large = versionRequest(2);
        large.body = std::string(400'000, 'x');
        ASSERT_TRUE(eventually([&] {
            others_.push_back(gateway_.host());
            others_.back().send(large);
            return !others_.back().readFrameWithin(300ms);
        }));
    }

    tesksim::Machine machine_{known()};
    Gateway gateway_{0, ports(machine_.port())};
    std::vector<HostClient> others_;
};

// The version request behind them is read only when they have been.
TEST_F(HostFaultBesideManyPorts, WithThirtyOpenRequestsDoesNotWaitForTheBodyOfAnother) {
    takePool();
    HostClient host = gateway_.host();
    for (int n = 0; n < 30; ++n) host.request(1, named("\1", "ZA000000001"));
    host.request(1, std::string(1, '\0'));
    host.send(versionRequest(4711));
    Frame answer;
    while (answer.identifierB != 4711) answer = host.readFrame();
    EXPECT_EQ(7, answer.type);
}

class HostFaultWithMachine : public testing::Test {
  protected:
    void SetUp() override { gateway_.startKnown(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }
    tesksim::Machine& machine() { return gateway_.machine(1); }

    Gateway gateway_{1};
};

TEST_F(HostFaultWithMachine, AnswersOwedAreWrittenAfterTheHostHasFinishedSending) {
    machine().setFaults({.delay = 300ms});
    HostClient host = gateway_.host();
    for (std::uint32_t i = 0; i < 3; ++i) host.request(1, std::string(1, '\0'), 0, i);
    host.connection().shutdownWrite();
    for (std::uint32_t i = 0; i < 3; ++i) {
        const Frame answer = host.readFrame();
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(i, answer.identifierB);
    }
    EXPECT_TRUE(host.connection().closedByPeer());
}

TEST_F(HostFaultWithMachine, OneThatDisconnectsWithAnswersOwedHarmsNobody) {
    machine().setFaults({.delay = 200ms});
    for (const bool withReset : {false, true}) {
        HostClient leaver = gateway_.host();
        for (int i = 0; i < 4; ++i) leaver.request(1, std::string(1, '\0'));
        ASSERT_TRUE(machine().journal().waitForRequests(withReset ? 7 : 2));
        if (withReset) {
            leaver.connection().reset();
        } else {
            leaver.close();
        }
        HostClient host = gateway_.host();
        host.request(1, std::string(1, '\0'));
        EXPECT_EQ(0x81, host.readFrame().kind);
    }
    EXPECT_TRUE(gateway_.log().waitForCount("Thread 'Dorn' Terminated", 3));
}

TEST_F(HostFaultWithMachine, HostsThatAreResetLeaveOnlyTheRequestInTheExchange) {
    DaemonProcess& daemon = gateway_.daemon();
    const std::size_t threads = idleThreads() + 2;  // the machine's, and a timer now and then
    const std::size_t descriptors = daemon.openDescriptors();
    machine().setFaults({.silent = true});
    {
        std::vector<HostClient> leavers;
        for (int i = 0; i < 40; ++i) {
            leavers.push_back(gateway_.host());
            for (int n = 0; n < 100; ++n) {  // with 300 s for each
                leavers.back().request(2, std::string(16, '\0') + "ZA000000001");
            }
        }
        EXPECT_TRUE(eventually([&] { return daemon.threadCount() >= idleThreads() + 40; }));
        ASSERT_TRUE(machine().journal().waitForRequests(2));  // one was its poll
        for (HostClient& host : leavers) host.connection().reset();
    }
    EXPECT_TRUE(eventually([&] { return daemon.threadCount() <= threads + 1; }));
    machine().clearFaults();
    machine().inject("115~0021~15.03.21~ZA000000001~00~");
    EXPECT_TRUE(eventually([&] { return daemon.threadCount() <= threads; }));
    EXPECT_TRUE(eventually([&] { return daemon.openDescriptors() <= descriptors; }));
    HostClient host = gateway_.host();
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
}

// The timer of the open connection from a local port (0: any) to a remote one, as /proc/net/tcp
// shows it. A closed one that lingers there may have had the same ports.
int timerOf(std::uint16_t local, std::uint16_t remote) {
    constexpr unsigned kEstablished = 1;
    std::ifstream file("/proc/net/tcp");
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        unsigned from = 0;
        unsigned to = 0;
        unsigned state = 0;
        int timer = 0;
        if (std::sscanf(line.c_str(), " %*u: %*8X:%4X %*8X:%4X %2X %*X:%*X %2d", &from, &to, &state,
                        &timer) == 4 &&
            state == kEstablished && (local == 0 || from == local) && to == remote) {
            return timer;
        }
    }
    return -1;
}

// A peer that vanishes without a word must not hold a place for ever.
TEST_F(HostFaultWithMachine, BothKindsOfConnectionAreKeptAlive) {
    constexpr int kKeepAlive = 2;
    HostClient host = gateway_.host();
    host.request(1, std::string(1, '\0'));
    EXPECT_EQ(0x81, host.readFrame().kind);
    const std::uint16_t hostPort = host.connection().localPort();
    EXPECT_TRUE(
        eventually([&] { return timerOf(gateway_.daemon().port(), hostPort) == kKeepAlive; }));
    EXPECT_TRUE(eventually([&] { return timerOf(0, machine().port()) == kKeepAlive; }));
}

TEST_F(HostFaultWithMachine, OneThatStopsReadingDoesNotHoldTheMachineForOthers) {
    machine().answers().setBody(120, std::string(60000, 'x'));
    HostClient lazy = gateway_.host();
    const std::string body = named("", "ZA000000001", std::string(4, '\0') + "120~0008");
    std::uint32_t sent = 0;
    for (; sent < 250; ++sent) lazy.request(6, body, 0, sent);

    ASSERT_TRUE(machine().journal().waitForAcknowledgements(100, 60s));
    HostClient host = gateway_.host();
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame(30s).kind);
    EXPECT_EQ(0x81, lazy.readFrame().kind);  // it is not given up for that
}

}  // namespace
}  // namespace teskd::test
