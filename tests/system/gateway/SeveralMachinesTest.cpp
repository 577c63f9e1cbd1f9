// Requests to several machines at once, and machines whose names collide.

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// Names and state bytes of a type 8 answer: "name:port:unknown" each.
std::vector<std::string> listMachines(HostClient& host) {
    host.request(8, "");
    const std::string body = host.readFrame().body;
    std::vector<std::string> machines;
    for (std::size_t at = 1; at + 14 <= body.size(); at += 14) {
        machines.push_back(std::string(body.substr(at, 11).c_str()) + ":" +
                           std::to_string(body.at(at + 11)) + ":" +
                           std::to_string(body.at(at + 13)));
    }
    EXPECT_EQ(machines.size(), static_cast<unsigned char>(body.at(0)));
    return machines;
}

// Sequence numbers of the answers to one request. Machines that answer at the same moment may get
// their frames through in any order.
using Sequence = std::multiset<int>;

std::vector<Frame> readFrames(HostClient& host, std::size_t count, Deadline deadline = {}) {
    std::vector<Frame> frames;
    while (frames.size() < count) frames.push_back(host.readFrame(deadline));
    return frames;
}

TEST(SeveralMachines, SelectorZeroGivesOneAnswerForEachOfFour) {
    Gateway gateway(4);
    for (std::size_t n = 1; n <= 4; ++n) {
        gateway.machine(n).answers().setBody(113, std::to_string(n) + "~0~0~0~0~0");
        gateway.machine(n).answers().setBody(118, "TEXT_" + std::to_string(n));
    }
    gateway.startKnown();
    HostClient host = gateway.host();

    host.request(1, std::string(1, '\0'), 1, 2);
    std::set<int> meters;
    Sequence sequence;
    for (const Frame& frame : readFrames(host, 4)) {
        EXPECT_EQ(0x81, frame.kind);
        EXPECT_TRUE(frame.checksumOk);
        EXPECT_EQ(1U, frame.identifierA);
        EXPECT_EQ(4, frame.body.at(8));
        sequence.insert(frame.body.at(9));
        meters.insert(frame.body.at(26));
    }
    EXPECT_EQ((std::set<int>{1, 2, 3, 4}), meters);

    host.request(5, named(std::string(1, '\0'), "", "\x76"));
    std::set<std::string> texts;
    EXPECT_EQ((Sequence{1, 2, 3, 4}), sequence);
    sequence.clear();
    for (const Frame& frame : readFrames(host, 4)) {
        EXPECT_EQ(4, frame.body.at(8));
        sequence.insert(frame.body.at(9));
        texts.insert(frame.body.substr(27, 6));
    }
    EXPECT_EQ((std::set<std::string>{"TEXT_1", "TEXT_2", "TEXT_3", "TEXT_4"}), texts);

    host.request(4, "08:00:0020:00:00");
    EXPECT_EQ((Sequence{1, 2, 3, 4}), sequence);
    sequence.clear();
    for (const Frame& frame : readFrames(host, 4)) {
        EXPECT_EQ(4, frame.body.at(8));
        sequence.insert(frame.body.at(9));
        EXPECT_EQ(2, frame.body.at(23));
    }
    EXPECT_EQ((Sequence{1, 2, 3, 4}), sequence);
    EXPECT_FALSE(host.readFrameWithin(200ms).has_value());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, SelectorZeroLeavesOutTheOnesThatAreNotKnown) {
    Gateway gateway(4);
    gateway.machine(3).setFaults({.refuse = true});
    gateway.start();
    for (const std::size_t n : {1U, 2U, 4U}) {
        ASSERT_TRUE(gateway.machine(n).journal().waitForAcknowledgements(1));
    }
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    Sequence sequence;
    for (const Frame& frame : readFrames(host, 3)) {
        EXPECT_EQ(3, frame.body.at(8));
        sequence.insert(frame.body.at(9));
    }
    EXPECT_EQ((Sequence{1, 2, 3}), sequence);
    EXPECT_EQ((std::vector<std::string>{"ZA000000001:1:0", "ZA000000002:2:0", "SlotMachine:3:1",
                                        "ZA000000004:4:0"}),
              listMachines(host));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, AHundredRequestsAtOnceAreAllAnswered) {
    Gateway gateway(4);
    gateway.startKnown();
    HostClient host = gateway.host();
    std::string requests;
    for (std::uint32_t i = 0; i < 100; ++i) {
        requests += Frame{.type = 1, .identifierB = i, .body = std::string(1, '\0')}.encode();
    }
    host.sendRaw(requests);
    std::map<std::uint32_t, Sequence> sequences;
    for (const Frame& frame : readFrames(host, 400, 30s)) {
        EXPECT_TRUE(frame.checksumOk);
        sequences[frame.identifierB].insert(frame.body.at(9));
    }
    EXPECT_EQ(100U, sequences.size());
    for (const auto& [request, sequence] : sequences) {
        EXPECT_EQ((Sequence{1, 2, 3, 4}), sequence) << request;
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, OneThatFailsDoesNotSpoilTheAnswersOfTheOthers) {
    Gateway gateway(3);
    gateway.startKnown();
    gateway.machine(2).setFaults({.closeAfter = 10});
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    std::multiset<int> kinds;
    std::multiset<std::size_t> sizes;
    for (const Frame& frame : readFrames(host, 3)) {
        kinds.insert(frame.kind);
        sizes.insert(frame.body.size());
    }
    EXPECT_EQ((std::multiset<int>{0x81, 0x81, 0xAB}), kinds);
    EXPECT_EQ((std::multiset<std::size_t>{0, 43, 43}), sizes);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, OneThatTimesOutDoesNotSpoilALaterAnswer) {
    Gateway gateway(2);
    gateway.startKnown();
    gateway.machine(1).setFaults({.silent = true});
    HostClient host = gateway.host();
    host.request(4, "08:00:0020:00:00");
    const Frame first = host.readFrame();
    EXPECT_EQ(0x81, first.kind);
    EXPECT_EQ(2, first.body.at(8));

    gateway.machine(2).setFaults({.delay = 10500ms});
    host.request(1, std::string(1, '\0'), 0, 1);  // queued behind on machine 1
    const Frame late = host.readFrame(20s);
    EXPECT_EQ(0xFE, late.kind);
    EXPECT_EQ("", late.body);
    EXPECT_EQ(1U, late.identifierB);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, AMachineThatIsExchangedIsKnownByItsNewName) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();
    gateway.machine(1).setCodeId("ZB000000077");
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);

    EXPECT_EQ((std::vector<std::string>{"ZB000000077:1:0"}), listMachines(host));
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0xFD, host.readFrame().kind);
    host.request(1, named("\1", "ZB000000077"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// Every line is polled again, under whatever name, and answers.
void expectAllPolledAgain(Gateway& gateway) {
    Notifications notifications(gateway.server());
    const Frame question = notifications.take(2);
    notifications.answer(question, 2, "-1!1!1!0");
    EXPECT_NO_THROW(gateway.awaitKnown(2)) << gateway.log().dump();
}

TEST(SeveralMachines, TwoWithTheSameCodeIdAreBothServed) {
    Gateway gateway(2);
    gateway.machine(2).setCodeId("ZA000000001");
    // A pass asks under the names of its beginning, and each answer takes the one name from the
    // other machine: in neither pass may one answer before both are asked.
    constexpr std::size_t kPasses = 2;
    gateway.machine(1).setFaults({.delay = 1s}, kPasses);
    gateway.machine(2).setFaults({.delay = 1s}, kPasses);
    gateway.startKnown();
    expectAllPolledAgain(gateway);

    HostClient host = gateway.host();
    const auto machines = listMachines(host);
    ASSERT_EQ(2U, machines.size());
    const auto isNamed = [](const std::string& m) { return m.rfind("ZA000000001:", 0) == 0; };
    EXPECT_EQ(1, std::count_if(machines.begin(), machines.end(), isNamed));
    host.request(1, std::string(1, '\0'));
    EXPECT_EQ(0x81, host.readFrame().kind);
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_NE(0xFD, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SeveralMachines, ACodeIdLikeTheNameOfAnotherPortDoesNoHarm) {
    Gateway gateway(2);
    gateway.machine(1).setCodeId("SlotMachine_2");
    gateway.machine(2).setFaults({.delay = 1s}, 1);
    gateway.startKnown();
    expectAllPolledAgain(gateway);

    HostClient host = gateway.host();
    host.request(1, named("\1", "ZA000000002"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    host.request(1, std::string(1, '\0'));
    for (const Frame& frame : readFrames(host, 2)) EXPECT_EQ(0x81, frame.kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
