// Machines that are silent, slow, garbled or gone, as hosts see it.

#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "support/ProcInfo.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kAnswerTime = 10s;

// Makes the daemon poll all its machines now. Works once, soon after its start.
void pollAgain(Gateway& gateway) {
    Notifications notifications(gateway.server());
    const Frame question = notifications.take(2);
    notifications.answer(question, 2, "-1!1!1!0");
}

int kindOfType1(HostClient& host, std::size_t machine, Deadline deadline = {}) {
    host.request(1, named("\1", codeIdOf(machine)));
    return host.readFrame(deadline).kind;
}

TEST(MachineFault, NoCompleteAnswerWithinTenSecondsIsATimeout) {
    Gateway gateway(3);
    gateway.startKnown();
    gateway.machine(1).setFaults({.silent = true});
    gateway.machine(2).setFaults({.lengthError = 5});
    gateway.machine(3).setFaults({.dribble = 900ms});
    HostClient host = gateway.host();
    const auto start = Clock::now();
    host.request(1, std::string(1, '\0'), 0, 1);
    for (int answers = 0; answers < 3; ++answers) {
        const Frame answer = host.readFrame(20s);
        EXPECT_EQ(0xFE, answer.kind);
        EXPECT_EQ("", answer.body);
        EXPECT_TRUE(answer.checksumOk);
    }
    EXPECT_GE(Clock::now() - start, kAnswerTime - 100ms);
    EXPECT_LT(Clock::now() - start, kAnswerTime + 2s * timeScale());

    // None of them is known now, and none was thanked for what it sent.
    for (std::size_t n = 1; n <= 3; ++n) {
        EXPECT_EQ(0xFD, kindOfType1(host, n)) << n;
        EXPECT_EQ(1U, gateway.machine(n).journal().acknowledgements().size()) << n;
    }

    // They are asked at once whether they are back. An answer that comes only now will do for that.
    tesksim::Machine& machine = gateway.machine(1);
    machine.clearFaults();
    machine.inject("113~0032~15.03.21~ZA000000001~00~66~66~66~66~66~66");
    ASSERT_TRUE(machine.journal().waitForAcknowledgements(2));
    EXPECT_EQ(1U, machine.journal().connections());
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// A text that the machine does not understand: no poll is due, and other hosts go on.
TEST(MachineFault, ATextThatIsNotAnsweredTakesTheMachineFromNobody) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.silent = true}, 1);
    HostClient host = gateway.host();
    host.request(6, named("", "ZA000000001", std::string(4, '\0') + "114~0008"));
    EXPECT_EQ(0xFE, host.readFrame(20s).kind);
    ASSERT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(2));
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, AnEmptyTextIsRefusedAtOnce) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();
    host.request(6, named("", "ZA000000001", std::string(4, '\0')));
    EXPECT_EQ(0xAB, host.readFrame(5s).kind);
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, OneThatClosesInMidAnswerFailsTheRequestAndIsReachedAgainAtOnce) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.closeAfter = 20}, 1);
    HostClient host = gateway.host();
    EXPECT_EQ(0xAB, kindOfType1(host, 1));
    ASSERT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(2)) << gateway.log().dump();
    EXPECT_EQ(2U, gateway.machine(1).journal().connections());
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, EveryRequestInTheQueueOfALostMachineFails) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.silent = true});
    HostClient host = gateway.host();
    for (std::uint32_t i = 0; i < 5; ++i) host.request(1, std::string(1, '\0'), 0, i);
    ASSERT_TRUE(gateway.machine(1).journal().waitForRequests(2));
    host.request(7, "");  // answered once those before it are queued
    ASSERT_EQ(7, host.readFrame().type);
    gateway.machine(1).disconnect(true);
    for (std::uint32_t i = 0; i < 5; ++i) {
        const Frame answer = host.readFrame();
        EXPECT_EQ(i, answer.identifierB);
        EXPECT_EQ(0xAB, answer.kind);
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, ALengthThatIsTooShortStillGivesTheAnswer) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.lengthError = -4});
    HostClient host = gateway.host();
    host.request(1, named("\1", "ZA000000001"));
    const Frame answer = host.readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_BYTES(bytes("00 00 00 C8  00 00"), answer.body.substr(37));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, AnAnswerThatComesByteByByteIsComplete) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.dribble = 2ms});
    HostClient host = gateway.host();
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, ACodeIdOfOneCharacterFailsTheRequest) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setCodeId("Z");
    HostClient host = gateway.host();
    EXPECT_EQ(0xAB, kindOfType1(host, 1));
    ASSERT_TRUE(gateway.machine(1).journal().waitForDisconnection());
    // It is asked once more, and not for ever.
    gateway.awaitLinkEnd("ZA000000001");
    EXPECT_EQ(3U, gateway.machine(1).journal().requests().size());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, GarbageInAnAnswerFailsTheRequestAndNothingElse) {
    Gateway gateway(2);
    gateway.startKnown();
    gateway.machine(1).answers().setLiteral(113, std::string(5000, 'x'));
    HostClient host = gateway.host();
    EXPECT_EQ(0xAB, kindOfType1(host, 1));
    EXPECT_EQ(0x81, kindOfType1(host, 2));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

class MachineFaultDisagreement : public testing::TestWithParam<tesksim::Negotiation> {};

TEST_P(MachineFaultDisagreement, AServerWithoutLineControlIsLeftAloneUntilTheNextPoll) {
    Gateway gateway(1);
    tesksim::Machine& machine = gateway.machine(1);
    machine.setFaults({.negotiation = GetParam()});
    gateway.start();
    ASSERT_TRUE(machine.journal().waitForConnections(1));
    ASSERT_TRUE(machine.journal().waitForDisconnection());
    EXPECT_TRUE(machine.journal().messages().empty());
    EXPECT_TRUE(machine.journal().settings().empty());
    HostClient host = gateway.host();
    EXPECT_EQ(0xFD, kindOfType1(host, 1));

    machine.clearFaults();
    gateway.awaitLinkEnd("SlotMachine_1");
    pollAgain(gateway);
    ASSERT_TRUE(machine.journal().waitForAcknowledgements(1)) << gateway.log().dump();
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

INSTANTIATE_TEST_SUITE_P(MachineFault, MachineFaultDisagreement,
                         testing::Values(tesksim::Negotiation::Refuse, tesksim::Negotiation::Mute),
                         [](const auto& test) { return test.index == 0 ? "Refusing" : "Mute"; });

TEST(MachineFault, OneThatRefusesConnectionsIsReachedWhenItIsBack) {
    Gateway gateway(2);
    gateway.machine(1).setFaults({.refuse = true});
    gateway.start();
    ASSERT_TRUE(gateway.machine(2).journal().waitForAcknowledgements(1));
    gateway.machine(1).clearFaults();
    ASSERT_TRUE(eventually([&] { return somebodyListens(gateway.machine(1).port()); }));
    gateway.awaitLinkEnd("SlotMachine_1");
    pollAgain(gateway);
    ASSERT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(1)) << gateway.log().dump();
    HostClient host = gateway.host();
    EXPECT_EQ(0x81, kindOfType1(host, 1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineFault, ADeadMachineDoesNotMakeTheOthersWait) {
    Gateway gateway(2);
    gateway.startKnown();
    gateway.machine(1).setFaults({.silent = true});
    HostClient first = gateway.host();
    HostClient second = gateway.host();
    first.request(1, named("\1", codeIdOf(1)));
    ASSERT_TRUE(gateway.machine(1).journal().waitForRequests(2));
    for (int i = 0; i < 20; ++i) EXPECT_EQ(0x81, kindOfType1(second, 2, 3s));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// The second is written only after the first was answered and acknowledged.
TEST(MachineFault, RequestsToOneMachineGoOutOneAfterTheOther) {
    Gateway gateway(1);
    gateway.startKnown();
    tesksim::Machine& machine = gateway.machine(1);
    machine.journal().clear();
    machine.setFaults({.delay = 50ms});
    HostClient host = gateway.host();
    for (const char code : {'\x72', '\x74', '\x78'}) {
        host.request(5, named("\1", "ZA000000001", std::string(1, code)));
    }
    ASSERT_TRUE(machine.journal().waitForAcknowledgements(3));
    EXPECT_EQ(
        "114~0008"
        "150~000C~114"
        "116~0008"
        "150~000C~116"
        "120~0008"
        "150~000C~120",
        machine.journal().dataReceived());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
