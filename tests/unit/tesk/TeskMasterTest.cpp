#include <gtest/gtest.h>

#include "tesk/MasterFixture.h"
#include "tesk/TeskMaster.h"

namespace teskd::test {
namespace {

using Milliseconds = std::chrono::milliseconds;

const std::string kAnswer113 = "113~0025~15.03.21~ZA000000001~00~4711";
const std::string kAnswer115 = "115~0025~15.03.21~ZA000000001~00~0815";

class TeskMasterTest : public MasterFixture {};

TEST_F(TeskMasterTest, SendsTheRequestAndAcknowledgesTheAnswer) {
    machine().answers().setBody(113, "OK");
    const Request request(113);
    request.packet()->set_body("payload");
    send(request);
    EXPECT_EQ("completed", request.outcome());
    EXPECT_EQ("113~0010~payload150~000C~113", received(1));
    EXPECT_EQ(113, request.packet()->get_id());
    EXPECT_EQ("15.03.21", request.packet()->get_date());
    EXPECT_EQ("ZA000000001", request.packet()->get_code_id());
    EXPECT_EQ("00", request.packet()->get_outcome());
    EXPECT_EQ("OK", request.packet()->get_body());
    EXPECT_TRUE(connected());
    EXPECT_EQ(1U, request.outcomes());
}

// A text that is no message may have an answer with any ID.
TEST_F(TeskMasterTest, AcknowledgesAnIdThatIsNoNumberAsZero) {
    const std::pair<const char*, const char*> dialogue[] = {
        {"???", "abc~001A~210315~ZA000000001~00"}, {"!!!", "-7~0000~210315~ZA000000001~00"}};
    for (const auto& [text, answer] : dialogue) {
        const Request raw(0);
        raw.packet()->set_raw();
        raw.packet()->set_body(text);
        send(raw);
        EXPECT_TRUE(journal().waitForData(text));
        inject(answer);
        EXPECT_EQ("completed", raw.outcome());
    }
    EXPECT_TRUE(journal().waitForData("???150~000A~0!!!150~000B~-7"));
}

TEST_F(TeskMasterTest, SendsARawRequestAsItIs) {
    const Request raw(0);
    raw.packet()->set_raw();
    raw.packet()->set_body("120~0008");
    send(raw);
    EXPECT_EQ("completed", raw.outcome());
    EXPECT_EQ("120~0008150~000C~120", received(1));
}

// Nothing would be sent, and its answer waited for.
TEST_F(TeskMasterTest, RefusesAnEmptyText) {
    const Request raw(0, 300);
    raw.packet()->set_raw();
    send(raw);
    EXPECT_EQ("error: TeskException: An empty text", raw.outcome());
    EXPECT_TRUE(log.waitFor({181, "A request for 'ZA000000001' was refused: it is empty"}));
    EXPECT_TRUE(connected());
    EXPECT_EQ("completed", ask(113));
    EXPECT_EQ("113~0008150~000C~113", received(1));
}

TEST_F(TeskMasterTest, SendsRequestsThatAreQueuedAtOnceOneAfterAnother) {
    const Request first(113);
    const Request second(115);
    const Request third(117);
    machine().setFaults({.silent = true});
    send(first);
    send(second);
    send(third);
    EXPECT_TRUE(journal().waitForRequests(1));
    EXPECT_FALSE(journal().waitForData("115", Milliseconds(100)));
    EXPECT_EQ("113~0008", journal().dataReceived());
    inject(kAnswer113);
    EXPECT_TRUE(journal().waitForRequests(2));
    EXPECT_FALSE(journal().waitForData("117", Milliseconds(100)));
    EXPECT_EQ("113~0008150~000C~113115~0008", journal().dataReceived());
    EXPECT_EQ("completed", first.outcome());
    EXPECT_FALSE(second.ended());
    inject(kAnswer115);
    EXPECT_TRUE(journal().waitForRequests(3));
    inject("117~0025~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", third.outcome());
    EXPECT_EQ("113~0008150~000C~113115~0008150~000C~115117~0008150~000C~117", received(3));
}

TEST_F(TeskMasterTest, SendsTheNextRequestOnceTheOneBeforeHasTimedOut) {
    machine().setFaults({.silent = true}, 1);
    const Request first(113, kShortTime);
    const Request second(115);
    send(first);
    send(second);
    EXPECT_EQ("failed", first.outcome());
    EXPECT_EQ("completed", second.outcome());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
}

TEST_F(TeskMasterTest, GoesOnAfterATimeOut) {
    EXPECT_TRUE(connected());
    const Request request(113, kShortTime);
    machine().setFaults({.silent = true}, 1);
    send(request);
    EXPECT_EQ("failed", request.outcome());
    EXPECT_FALSE(connected());
    EXPECT_EQ("completed", ask(115));
    EXPECT_TRUE(connected());
    EXPECT_EQ(1U, request.outcomes());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
    EXPECT_EQ(1U, journal().connections());  // still that of the first request
}

TEST_F(TeskMasterTest, TakesAnIncompleteAnswerForNone) {
    machine().answers().setLiteral(113, "113~0025~15.03.21~ZA0000");
    EXPECT_EQ("failed", ask(113, kShortTime));
    EXPECT_EQ("completed", ask(115));
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
}

// Three quarters of an hour at this pace.
TEST_F(TeskMasterTest, IsNotHeldByAMachineThatDribbles) {
    machine().answers().setBody(113, std::string(50'000, 'x'));
    machine().setFaults({.dribble = Milliseconds(50)}, 1);
    EXPECT_EQ("failed", ask(113, kShortTime));
    EXPECT_FALSE(connected());
}

TEST_F(TeskMasterTest, WaitsWithoutLimitWhenNoTimeIsGiven) {
    for (const std::uint32_t timeout : {0U, 0xFFFFFFFFU}) {
        const Request request(113, timeout);
        sendUnanswered(request);
        EXPECT_EQ("nothing", request.outcome(Milliseconds(200)));
        inject(kAnswer113);
        EXPECT_EQ("completed", request.outcome());
    }
}

TEST_F(TeskMasterTest, ChangesNoRegistrationForTheSameCodeId) {
    EXPECT_EQ("completed", ask(113));
    EXPECT_EQ(std::list<std::string>{"ZA000000001"}, controller().get_identities());
    EXPECT_EQ(1, controller().get_port("ZA000000001"));
}

TEST_F(TeskMasterTest, IsBoundAnewWhenTheMachineIsSwapped) {
    machine().setCodeId("ZA000000009");
    EXPECT_EQ("completed", ask(113));
    EXPECT_EQ(std::list<std::string>{"ZA000000009"}, controller().get_identities());
    EXPECT_TRUE(controller().is_connected("ZA000000009"));
    EXPECT_THROW(connected(), UnknownCodeIdException);
}

TEST_F(TeskMasterTest, LeavesARequestThatWasCancelledUnsent) {
    const Request first(113);
    const Request second(115);
    sendUnanswered(first);
    send(second);
    controller().cancel_request(kName, second.packet());
    inject(kAnswer113);
    EXPECT_EQ("completed", first.outcome());
    EXPECT_EQ("completed", ask(117));
    EXPECT_EQ("113~0008150~000C~113117~0008150~000C~117", received(2));
    EXPECT_FALSE(second.ended());
}

TEST_F(TeskMasterTest, KeepsTheGreatestValueOfAKey) {
    controller().update_maximum(kName, "k", 5);
    controller().update_maximum(kName, "k", 3);
    EXPECT_EQ(5, controller().get_maximum(kName, "k"));
    EXPECT_EQ(0, controller().get_maximum(kName, "other"));
}

// A listener that has the next thing to ask as soon as it is told the answer.
class AsksOn : public PacketEventListener {
  public:
    AsksOn(TeskController& controller, const Request& next)
        : controller_(controller), next_(next) {}
    void packetCompleted(Packet*) override { ask(); }
    void packetFailed(Packet*) override { ask(); }
    void packetError(Packet*, const Exception&) override { ask(); }

  private:
    void ask() { controller_.send("ZA000000001", next_.packet()); }

    TeskController& controller_;
    const Request& next_;
};

TEST_F(TeskMasterTest, MayBeAskedAgainByAListener) {
    const Request second(115);
    AsksOn asksOn(controller(), second);
    const Request first(113);
    first.packet()->addListener(&asksOn);
    send(first);
    EXPECT_EQ("completed", second.outcome());
    EXPECT_EQ("113~0008150~000C~113115~0008150~000C~115", received(2));
}

TEST_F(TeskMasterTest, TellsEverybodyThatTheConnectionWasLost) {
    const Request first(113);
    const Request second(115);
    const Request third(117);
    sendUnanswered(first);
    send(second);
    send(third);
    machine().disconnect();
    const std::string error =
        "error: TeskException: TeskConnectionErrorException: Could not read message ID";
    EXPECT_EQ(error, first.outcome());
    EXPECT_EQ(error, second.outcome());
    EXPECT_EQ(error, third.outcome());
    awaitEndOfRun();
    EXPECT_FALSE(connected());
    EXPECT_EQ("113~0008", journal().dataReceived());
    machine().setFaults({.silent = true}, 1);
    EXPECT_EQ("completed", ask(120));  // answered by the greeting
    EXPECT_TRUE(connected());
    EXPECT_EQ(2U, journal().connections());
    EXPECT_EQ(1U, first.outcomes() * second.outcomes() * third.outcomes());
}

TEST_F(TeskMasterTest, TellsEverybodyOfAReset) {
    const Request first(113);
    const Request second(115);
    sendUnanswered(first);
    send(second);
    machine().disconnect(true);
    EXPECT_TRUE(first.outcome().starts_with("error: IOException: SocketException: "))
        << first.outcome();
    EXPECT_EQ(first.outcome(), second.outcome());
}

struct Damage {
    const char* answer;
    const char* error;
};

TEST_F(TeskMasterTest, TellsEverybodyOfAnAnswerThatIsNone) {
    const Damage damages[] = {
        {"113~1000001~15.03.21~ZA000000001~00",
         "error: TeskException: TeskConnectionErrorException: Could not read message Len"},
        {"113~0014~210315~X~00", "error: TeskException: "},
        {"113~0013~210315~~00", "error: TeskException: "}};
    for (const Damage& damage : damages) {
        const Request first(113);
        const Request second(115);
        sendUnanswered(first);
        send(second);
        inject(damage.answer);
        EXPECT_TRUE(first.outcome().starts_with(damage.error)) << first.outcome();
        EXPECT_EQ(first.outcome(), second.outcome());
        awaitEndOfRun();
        EXPECT_FALSE(connected());
        EXPECT_TRUE(journal().waitForDisconnection());
        EXPECT_EQ("113~0008", journal().dataReceived());  // once, and nothing acknowledged
        machine().setFaults({.silent = true}, 1);
        EXPECT_EQ("completed", ask(120));
        EXPECT_EQ(2U, journal().connections());
        EXPECT_EQ(1U, first.outcomes() * second.outcomes());
        EXPECT_TRUE(journal().waitForAcknowledgements(1));
        journal().clear();
    }
}

TEST_F(TeskMasterTest, IsDownForGoodAfterShutdown) {
    const Request waiting(113);
    const Request queued(115);
    sendUnanswered(waiting);
    send(queued);
    controller().shut_down();
    EXPECT_TRUE(waiting.ended());
    EXPECT_TRUE(queued.ended());
    EXPECT_EQ("error", waiting.outcome().substr(0, 5));
    EXPECT_EQ(waiting.outcome(), queued.outcome());
    EXPECT_TRUE(journal().waitForDisconnection());
    EXPECT_EQ("error: TeskException: The link is shut down", ask(117));
    EXPECT_EQ("113~0008", journal().dataReceived());
}

TEST_F(TeskMasterTest, IsDownAtOnceWhenItHasNothingToDo) {
    controller().shut_down();
    EXPECT_TRUE(journal().waitForDisconnection());
    EXPECT_FALSE(connected());
    EXPECT_EQ("error: TeskException: The link is shut down", ask(117));
    controller().shut_down();
}

}  // namespace
}  // namespace teskd::test
