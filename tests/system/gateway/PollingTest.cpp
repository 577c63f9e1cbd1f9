// Polling passes: what is asked, what is logged, what is told to the notification server.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char kReading1[] = "113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";
constexpr char kReading2[] = "113~0034~15.03.21~ZA000000002~00~100~200~1~100~200~0";

// Answers the engine's question for its parameters, which starts a pass when the last one is 0.
void setParameters(Notifications& notifications, const std::string& parameters) {
    notifications.answer(notifications.take(2), 2, "-" + parameters);
}

// Returns when the polls that the known machines have acknowledged count as ended, too: a machine's
// next request is handled behind that. A machine whose poll is open is not polled again.
void awaitOutcomes(Gateway& gateway, std::size_t known) {
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    for (std::size_t n = 1; n <= known; ++n) host.readFrame();
}

std::string polledLine(const std::string& name) {
    return "Generating automatique request for slot machine: '" + name + "'";
}

TEST(Polling, TheFirstPassAsksEveryPortForItsCounters) {
    Gateway gateway(4);
    gateway.startKnown();
    for (std::size_t n = 1; n <= 4; ++n) {
        EXPECT_EQ("113~0008150~000C~113", gateway.machine(n).journal().dataReceived()) << n;
        const auto line = gateway.log().waitFor(polledLine("SlotMachine_" + std::to_string(n)));
        ASSERT_TRUE(line.has_value()) << gateway.log().dump();
        EXPECT_EQ(182, line->priority);
    }
    EXPECT_EQ(4U, gateway.log().count("Generating automatique request"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, ThePassAfterTheFirstReportsTheReadingsOfAll) {
    Gateway gateway(2);
    gateway.startKnown();
    awaitOutcomes(gateway, 2);
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!1!1!0");
    const Frame report = notifications.take(4);
    EXPECT_THAT(aamsText(report.body),
                MatchesRegex("004-00AB-ffffffffff00-00-4-[0-9]{12}-" + std::string(kReading1) +
                             "-[0-9]{12}-" + kReading2 + "-[0-9]{12}"));
    EXPECT_EQ(0U, report.identifierA);
    EXPECT_EQ(3U, report.identifierB);  // after clock and parameters; none for the first pass
    EXPECT_TRUE(gateway.log().waitFor(polledLine("ZA000000001")));
    EXPECT_TRUE(gateway.log().waitFor(polledLine("ZA000000002")));
    HostClient host = gateway.host();
    EXPECT_THAT(ask(host, 502), HasSubstr("502-00AB-ffffffffff00-00-4-"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// The question of the first pass counts for it, too.
TEST(Polling, APassThatStartsWhileTheOneBeforeStillWaitsIsReportedOnce) {
    Gateway gateway(2);
    gateway.machine(1).setFaults({.delay = 1500ms}, 1);
    gateway.start();
    ASSERT_TRUE(gateway.machine(1).journal().waitForRequest(113));
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!1!1!0");
    const Frame report = notifications.take(4);
    notifications.answer(report, 4, "-");
    EXPECT_EQ(3U, report.identifierB);
    EXPECT_THAT(aamsText(report.body), HasSubstr(kReading1));
    EXPECT_THAT(aamsText(report.body), HasSubstr(kReading2));
    EXPECT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(1));
    EXPECT_FALSE(notifications.arrivesWithin(4, 300ms));
    EXPECT_EQ(1U, gateway.machine(1).journal().requestCount());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, APassInWhichNobodyAnsweredSaysSo) {
    Gateway gateway(3);
    for (std::size_t n = 1; n <= 3; ++n) gateway.machine(n).setFaults({.refuse = true});
    gateway.start();
    for (const char* const n : {"1", "2", "3"}) {
        gateway.awaitLinkEnd("SlotMachine_" + std::string(n));
    }
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!1!1!0");
    EXPECT_EQ("004-001A-ffffffffff00-00-4", aamsText(notifications.take(4).body));
    EXPECT_FALSE(notifications.arrivesWithin(4, 300ms));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, APassInWhichOneAnsweredReportsTheReadingsKept) {
    Gateway gateway(2);
    gateway.machine(2).setFaults({.refuse = true});
    gateway.start();
    ASSERT_TRUE(gateway.machine(1).journal().waitForAcknowledgements(1));
    awaitOutcomes(gateway, 1);
    gateway.awaitLinkEnd("SlotMachine_2");
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!1!1!0");
    EXPECT_THAT(aamsText(notifications.take(4).body),
                MatchesRegex("004-0069-ffffffffff00-00-4-[0-9]{12}-" + std::string(kReading1) +
                             "-[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, WithoutLeaveToReportAPassIsNotReported) {
    Gateway gateway(1);
    gateway.startKnown();
    awaitOutcomes(gateway, 1);
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!0!1!0");
    gateway.awaitKnown(3);
    EXPECT_FALSE(notifications.arrivesWithin(4, 500ms));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, WithoutLeaveToReportThatNobodyAnsweredNothingIsSent) {
    Gateway gateway(1);
    gateway.machine(1).setFaults({.refuse = true});
    gateway.start();
    gateway.awaitLinkEnd("SlotMachine_1");
    Notifications notifications(gateway.server());
    setParameters(notifications, "1!1!0!0");
    ASSERT_TRUE(gateway.log().waitForCount(polledLine("SlotMachine_1"), 2));
    EXPECT_FALSE(notifications.arrivesWithin(4, 500ms));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, StartsWhenTheServerSaysSo) {
    Gateway gateway(1, Config().polling(60, 60));
    gateway.start();
    Notifications notifications(gateway.server());
    const Frame question = notifications.take(2);
    EXPECT_EQ(0U, gateway.log().count("Generating automatique request"));
    notifications.answer(question, 2, "-5!1!1!0");
    gateway.awaitKnown();
    EXPECT_EQ(1U, gateway.log().count("Generating automatique request"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, ACounterThatWentBackwardsIsReportedOnce) {
    Gateway gateway(1);
    gateway.startKnown();
    awaitOutcomes(gateway, 1);
    Notifications notifications(gateway.server());
    gateway.machine(1).answers().setBody(113, "50~200~1~50~200~0");
    setParameters(notifications, "1!1!1!0");

    const std::string reading = "113~0032~15.03.21~ZA000000001~00~50~200~1~50~200~0";
    const Frame report = notifications.take(5);
    notifications.answer(report, 5, "-");
    EXPECT_EQ(3U, report.identifierB);  // the first, good reading caused none
    EXPECT_THAT(aamsText(report.body), MatchesRegex("005-009B-ffffffffff00-04-38-" + reading +
                                                    "-[0-9]{12}-" + reading + "-[0-9]{12}"));
    EXPECT_FALSE(notifications.arrivesWithin(5, 300ms));
    HostClient host = gateway.host();
    EXPECT_THAT(ask(host, 504, "-ZA000000001"),
                MatchesRegex("504-00AC-ffffffffff00-00-4-38-[0-9]{12}-" + reading + "-[0-9]{12}-" +
                             kReading1 + "-[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Polling, EveryFailedCheckIsReportedInOrder) {
    Gateway gateway(1);
    gateway.machine(1).answers().setBody(113, "10.5~20.5~0~-1.5~-2.5~-3");
    gateway.startKnown();
    Notifications notifications(gateway.server());
    const std::string reading = "113~0039~15.03.21~ZA000000001~00~10.5~20.5~0~-1.5~-2.5~-3";
    for (const char* code : {"31", "32", "33", "34", "35", "36", "39", "40"}) {
        const Frame report = notifications.take(5);
        notifications.answer(report, 5, "-");
        EXPECT_THAT(aamsText(report.body),
                    MatchesRegex("005-0062-ffffffffff00-04-" + std::string(code) + "-" + reading +
                                 "-[0-9]{12}"));
    }
    EXPECT_FALSE(notifications.arrivesWithin(5, 300ms));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// Poll and host request use the line in turn; each answer goes where it belongs.
TEST(Polling, GoesOnBesideTheRequestsOfHosts) {
    Gateway gateway(2);
    gateway.startKnown();
    HostClient host = gateway.host();
    Notifications notifications(gateway.server());
    for (int i = 0; i < 20; ++i) host.request(5, named(std::string(1, '\0'), "", "\x76"));
    setParameters(notifications, "1!1!1!0");
    for (int i = 0; i < 20; ++i) host.request(5, named(std::string(1, '\0'), "", "\x76"));
    for (int i = 0; i < 80; ++i) {
        const Frame answer = host.readFrame();
        EXPECT_EQ("A1B2C3D4", answer.body.substr(27)) << i;
    }
    EXPECT_THAT(aamsText(notifications.take(4).body), HasSubstr(kReading1));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
