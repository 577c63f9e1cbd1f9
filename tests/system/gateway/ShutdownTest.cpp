// SIGTERM in every state: status 0, in time, with nothing left behind.

#include <csignal>
#include <cstdint>
#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kGrace = 1000ms;  // the daemon gives its threads at least this
// And is gone after this, however busy the machine is: whoever it could wait for lets it wait
// longer. How fast it ends is measured where it has the machine to itself.
constexpr auto kLongest = 8s;

// Ends the daemon and checks the time it takes, its status and what it says.
void expectPromptStop(DaemonProcess& daemon) {
    const pid_t pid = daemon.pid();
    const auto start = Clock::now();
    EXPECT_CLEAN_STOP(daemon);
    const auto taken = Clock::now() - start;
    EXPECT_GE(taken, kGrace - 10ms);
    EXPECT_LT(taken, kLongest * timeScale());
    EXPECT_EQ("", executable(pid));
    EXPECT_FALSE(somebodyListens(daemon.port()));
    EXPECT_EQ(0U, daemon.log().count("Unandled")) << daemon.log().dump();
}

TEST(Shutdown, WhenIdle) {
    Gateway gateway(2);
    gateway.startKnown();
    expectPromptStop(gateway.daemon());
    EXPECT_TRUE(gateway.machine(1).journal().waitForDisconnection());
    for (const char* thread : {"Aams", "DornDeamon", "DornNotify", "ZA000000001", "ZA000000002"}) {
        const std::string text = "Thread '" + std::string(thread) + "' Terminated";
        const auto line = gateway.log().waitFor(text);
        ASSERT_TRUE(line.has_value()) << text << "\n" << gateway.log().dump();
        EXPECT_EQ(181, line->priority);
    }
}

TEST(Shutdown, WithoutMachinesOrHosts) {
    Gateway gateway;
    gateway.start();
    expectPromptStop(gateway.daemon());
}

TEST(Shutdown, ImmediatelyAfterTheStart) {
    Gateway gateway(4);
    gateway.start();
    expectPromptStop(gateway.daemon());
}

// Whenever the signal comes, it ends the process, and never by anything but its own default or
// the orderly way.
TEST(Shutdown, AtAnyMomentOfTheStart) {
    for (int i = 0; i < 8; ++i) {
        Gateway gateway(2, {}, {.waitUntilListening = false});
        gateway.start();
        const auto delay = std::chrono::microseconds(i * 1500);
        const auto until = Clock::now() + delay;
        while (Clock::now() < until) std::this_thread::yield();
        gateway.daemon().terminate();
        const auto status = gateway.daemon().waitForExit();
        ASSERT_TRUE(status.has_value());
        EXPECT_TRUE(status->ok() || status->signal == SIGTERM) << status->describe();
        EXPECT_EQ("", gateway.daemon().sanitizerReport());
    }
}

TEST(Shutdown, DuringTheFirstPoll) {
    Gateway gateway(4);
    for (std::size_t n = 1; n <= 4; ++n) gateway.machine(n).setFaults({.silent = true});
    gateway.start();
    for (std::size_t n = 1; n <= 4; ++n) {
        ASSERT_TRUE(gateway.machine(n).journal().waitForRequest(113));
    }
    expectPromptStop(gateway.daemon());
}

// While a host waits for a machine that has this fault.
void expectPromptStopDuring(const tesksim::Faults& faults) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults(faults);
    HostClient host = gateway.host();
    host.request(2, named("CNT00001CNT99999", "ZA000000001"));
    ASSERT_TRUE(gateway.machine(1).journal().waitForRequest(115));
    expectPromptStop(gateway.daemon());
}

TEST(Shutdown, WhileAMachineTakesMinutesToAnswer) {
    expectPromptStopDuring({.silent = true});
}

TEST(Shutdown, WhileAMachineDribbles) {
    expectPromptStopDuring({.dribble = 100ms});
}

TEST(Shutdown, WhileConnectingToAnEndpointThatDoesNotAccept) {
    Listener full(0, 0);
    std::vector<Connection> fillers;
    try {
        for (int i = 0; i < 8; ++i) fillers.push_back(Connection::to(full.port(), 200ms));
    } catch (const std::exception&) {
        // The queue is full now.
    }
    Config config;
    config.serialPorts({full.port()});
    Gateway gateway(0, config);
    gateway.start();
    ASSERT_TRUE(gateway.log().waitFor("slot machine: 'SlotMachine_1'"));
    const auto isConnecting = [&] {
        const auto names = threadNames(gateway.daemon().pid());
        return names.size() > 4;
    };
    EXPECT_TRUE(eventually(isConnecting));
    expectPromptStop(gateway.daemon());
}

TEST(Shutdown, WithAHostInTheMiddleOfAFrame) {
    Gateway gateway;
    gateway.start();
    HostClient inHeader = gateway.host();
    inHeader.sendRaw(std::string(20, '\xFF'));
    HostClient inBody = gateway.host();
    Frame frame{.type = 7, .body = std::string(1000, 'x')};
    inBody.sendRaw(frame.encode().substr(0, 500));
    HostClient silent = gateway.host();
    HostClient junk = gateway.host();
    junk.sendRaw(std::string(60, 'j'));
    ASSERT_TRUE(gateway.log().waitFor("Dorn Got Junk"));
    expectPromptStop(gateway.daemon());
    EXPECT_TRUE(inBody.connection().closedByPeer());
    EXPECT_TRUE(silent.connection().closedByPeer());
}

TEST(Shutdown, WithAHostThatDoesNotReadAndIsOwedMuch) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).answers().setBody(120, std::string(60000, 'x'));
    HostClient lazy = gateway.host();
    const std::string body = named("", "ZA000000001", std::string(4, '\0') + "120~0008");
    for (int i = 0; i < 200; ++i) lazy.request(6, body);
    // When the host's window is full, the machine has no more requests for a while.
    std::size_t seen = 0;
    const auto stalled = [&] {
        const std::size_t now = gateway.machine(1).journal().requests().size();
        std::this_thread::sleep_for(100ms);
        const std::size_t later = gateway.machine(1).journal().requests().size();
        seen = later;
        return later == now && now > 2;
    };
    ASSERT_TRUE(eventually(stalled)) << seen;
    expectPromptStop(gateway.daemon());
}

TEST(Shutdown, AnswersThatComeInTimeAreStillWritten) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.delay = 200ms});
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'), 0, 3);
    ASSERT_TRUE(gateway.machine(1).journal().waitForRequests(2));
    gateway.daemon().terminate();
    EXPECT_EQ(3U, host.readFrame().identifierB);
    const auto status = gateway.daemon().waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(status->ok()) << status->describe();
    EXPECT_EQ("", gateway.daemon().sanitizerReport());
}

TEST(Shutdown, ASecondSignalChangesNothing) {
    Gateway gateway(1);
    gateway.startKnown();
    const auto start = Clock::now();
    for (int i = 0; i < 20; ++i) gateway.daemon().terminate();
    expectPromptStop(gateway.daemon());
    EXPECT_GE(Clock::now() - start, kGrace - 10ms);
}

// Blocked everywhere else, the signal can only go to the main thread, which waits for it and
// therefore shows it as open.
TEST(Shutdown, EveryOtherThreadBlocksTheSignal) {
    Gateway gateway(1);
    gateway.startKnown();
    const auto masks = workersBlockedSignals(gateway.daemon().pid());
    EXPECT_GE(masks.size(), 4U);  // three workers, one machine
    for (const std::uint64_t mask : masks) EXPECT_NE(0U, mask & (1U << (SIGTERM - 1))) << mask;
    expectPromptStop(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
