#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "core/LogSource.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"
#include "tesk/LateAnswers.h"
#include "tesk/MasterFixture.h"

namespace teskd::test {
namespace {

const std::string kAnswer113 = "113~0025~15.03.21~ZA000000001~00~4711";
const std::string kAnswer115 = "115~0025~15.03.21~ZA000000001~00~0815";
const std::string kLost =
    "error: TeskException: TeskConnectionErrorException: An answer to another request";

LogEntry droppedAnswer(int id) {
    return {181, "The answer " + std::to_string(id) +
                     " that 'ZA000000001' sent after the time-out was dropped"};
}
LogEntry unaskedAnswer(int id) {
    return {181,
            "The answer " + std::to_string(id) + " that 'ZA000000001' sent unasked was dropped"};
}
LogEntry unaskedBytes(int count) {
    return {181, std::to_string(count) + " bytes that 'ZA000000001' sent unasked were dropped"};
}
LogEntry droppedBytes(int count) {
    return {181, std::to_string(count) +
                     " bytes that 'ZA000000001' sent after the time-out were dropped"};
}

class LateAnswersTest : public MasterFixture {};

// Time of a request, in milliseconds, in which the test has the machine send a part of the answer.
const std::uint32_t kLateInTime = 2000 * static_cast<std::uint32_t>(timeScale());

// A run without time-outs whose machine says more than it was asked.
class LateAnswersUnasked : public MasterFixture {};

TEST_F(LateAnswersUnasked, ThatComesBeforeARequestIsDropped) {
    inject(kAnswer115);
    const Request request(115);
    sendUnanswered(request);
    inject("115~0025~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", request.outcome());
    EXPECT_EQ("4711", request.packet()->get_body());
    EXPECT_EQ("115~0008150~000C~115", received(1));
    EXPECT_EQ(1U, log.count(unaskedBytes(37)));
}

TEST_F(LateAnswersUnasked, ToTheRequestBeforeIsDroppedWhereverItComes) {
    EXPECT_EQ("completed", ask(113));
    inject(kAnswer113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113);
    EXPECT_TRUE(log.waitFor(unaskedAnswer(113)));
    EXPECT_FALSE(next.ended());
    inject(kAnswer113 + kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ("113~0008150~000C~113115~0008150~000C~115", received(2));
    EXPECT_EQ(1U, log.count(unaskedBytes(37)));
    EXPECT_EQ(2U, log.count(unaskedAnswer(113)));
}

TEST_F(LateAnswersUnasked, ThatHalfArrivedBeforeARequestIsNobodysAnswer) {
    inject(kAnswer113.substr(0, 7));
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113.substr(7) + kAnswer115);
    EXPECT_EQ(kLost, next.outcome());
    awaitEndOfRun();
    EXPECT_EQ(std::list<std::string>{"ZA000000001"}, controller().get_identities());
}

// In one piece with the answer, and for ever.
TEST_F(LateAnswersUnasked, OfAMachineThatAnswersTwiceShiftsNothing) {
    machine().answers().setBody(113, "4711");
    machine().answers().setBody(115, "0815");
    for (int i = 0; i < 10; ++i) {
        for (const int id : {113, 115}) {
            const std::string body = id == 113 ? "4711" : "0815";
            machine().setFaults({.garbageAfter = id == 113 ? kAnswer113 : kAnswer115}, 1);
            const Request request(id);
            send(request);
            EXPECT_EQ("completed", request.outcome());
            EXPECT_EQ(id, request.packet()->get_id());
            EXPECT_EQ(body, request.packet()->get_body());
        }
    }
    EXPECT_TRUE(connected());
}

// Once, and no later answer is shifted by it.
TEST_F(LateAnswersUnasked, WithAnIdThatNobodyAskedWithIsDropped) {
    machine().answers().setBody(113, "4711");
    machine().answers().setBody(115, "0815");
    machine().setFaults({.garbageBefore = "456~0025~15.03.21~ZA000000001~00~9999"}, 1);
    for (int i = 0; i < 3; ++i) {
        for (const int id : {115, 113}) {
            const Request request(id);
            send(request);
            EXPECT_EQ("completed", request.outcome());
            EXPECT_EQ(id, request.packet()->get_id());
            EXPECT_EQ(id == 113 ? "4711" : "0815", request.packet()->get_body());
        }
    }
    EXPECT_EQ(1U, log.count(unaskedAnswer(456)));
    EXPECT_EQ(0U, received(6).find("115~0008150~000C~115113~0008150~000C~113"));
}

TEST_F(LateAnswersUnasked, ThatARequestWaitsBehindDoesNotBindTheMachine) {
    const Request next(115);
    sendUnanswered(next);
    inject("456~0025~15.03.21~ZA000000009~00~4711");
    EXPECT_TRUE(log.waitFor(unaskedAnswer(456)));
    EXPECT_FALSE(next.ended());
    EXPECT_EQ(std::list<std::string>{"ZA000000001"}, controller().get_identities());
    inject(kAnswer115);
    EXPECT_EQ("0815", next.outcome() == "completed" ? next.packet()->get_body() : "");
}

// Nobody knows where the next answer begins.
TEST_F(LateAnswersUnasked, WithoutAProperHeaderEndsTheRun) {
    for (const std::string answer :
         {"abc~001A~210315~ZA000000001~00", "5~15.03.21~ZA000000001~00~4711", "~~~ZA~00"}) {
        const Request request(115);
        sendUnanswered(request);
        inject(answer);
        EXPECT_EQ(kLost, request.outcome());
        awaitEndOfRun();
        const std::size_t before = journal().acknowledgementCount();
        machine().setFaults({.silent = true}, 1);
        EXPECT_EQ("completed", ask(120));  // answered by the greeting, perhaps before it is read
        EXPECT_TRUE(journal().waitForAcknowledgements(before + 1));
    }
}

// A text of a host that is no message may be answered with any ID.
TEST_F(LateAnswersUnasked, IsNoneThatComesBehindARequestWithoutAHeader) {
    for (const char* const text : {"???", "7~?", "1130~008?", "113~008?"}) {
        const Request raw(0);
        raw.packet()->set_raw();
        raw.packet()->set_body(text);
        const std::size_t before = journal().acknowledgementCount();
        send(raw);
        EXPECT_TRUE(journal().waitForData(text));
        inject("456~0025~15.03.21~ZA000000001~00~4711");
        EXPECT_EQ("completed", raw.outcome()) << text;
        EXPECT_EQ(456, raw.packet()->get_id());
        EXPECT_TRUE(journal().waitForAcknowledgements(before + 1));
    }
}

TEST_F(LateAnswersTest, ThatComesBeforeTheNextRequestIsDropped) {
    timeOut(113);
    inject(kAnswer113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
    EXPECT_EQ(1U, log.count(droppedBytes(37)));
    EXPECT_EQ(0U, log.count(droppedAnswer(113)));
}

// However long ago the time-out was.
TEST_F(LateAnswersTest, IsDroppedBeforeEveryLaterRequestOfTheRun) {
    timeOut(113);
    EXPECT_EQ("completed", ask(115));
    EXPECT_EQ("completed", ask(117));
    inject(kAnswer113);
    EXPECT_EQ("completed", ask(118));
    EXPECT_EQ("113~0008115~0008150~000C~115117~0008150~000C~117118~0008150~000C~118", received(3));
    EXPECT_EQ(1U, log.count(unaskedBytes(37)));  // the machine has gone past the request
}

// A machine that adds a byte to every answer.
TEST_F(LateAnswersTest, BytesBeforeEveryRequestAreLoggedAFewTimesASecond) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 60; ++i) {
        inject("x");
        EXPECT_EQ("completed", ask(115));
    }
    const auto seconds =
        std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
    const std::vector<LogEntry> lines = log.lines();
    const auto dropped = std::count_if(lines.begin(), lines.end(), [](const LogEntry& line) {
        return line.text.find("sent unasked were dropped") != std::string::npos;
    });
    EXPECT_GE(dropped, 1);  // the confirmed line settings count as well
    EXPECT_LE(dropped, 8 * (seconds + 1));
}

// The machine greets whoever connects with its answer 120.
TEST_F(LateAnswersTest, IsNoneInTheNextRun) {
    timeOut(120);
    machine().disconnect();
    EXPECT_TRUE(journal().waitForDisconnection());
    EXPECT_EQ("error", ask(113).substr(0, 5));
    awaitEndOfRun();
    journal().clear();
    machine().setFaults({.silent = true}, 1);
    EXPECT_EQ("completed", ask(120));
    EXPECT_EQ("120~0008150~000C~120", received(1));
    EXPECT_FALSE(log.waitForText("dropped", std::chrono::milliseconds(0)));
}

TEST_F(LateAnswersUnasked, ThatIsThereAtTheConnectionIsNoAnswerToAnotherRequest) {
    machine().disconnect();
    EXPECT_TRUE(journal().waitForDisconnection());
    EXPECT_EQ("error", ask(113).substr(0, 5));
    awaitEndOfRun();
    journal().clear();
    machine().answers().setBody(113, "0815");
    const Request request(113);
    send(request);
    EXPECT_EQ("completed", request.outcome());
    EXPECT_EQ("0815", request.packet()->get_body());
    EXPECT_EQ("113~0008150~000C~113", received(1));
}

TEST_F(LateAnswersTest, ThatComesBehindTheNextRequestIsDropped) {
    timeOut(113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113);
    EXPECT_TRUE(log.waitFor(droppedAnswer(113)));
    EXPECT_FALSE(next.ended());
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ(115, next.packet()->get_id());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
    EXPECT_EQ(1U, log.count(droppedAnswer(113)));
    EXPECT_EQ(1U, journal().connections());  // still that of the first request
    EXPECT_TRUE(connected());
}

TEST_F(LateAnswersTest, MayArriveInOnePieceWithTheRightOne) {
    timeOut(113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113 + kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
}

TEST_F(LateAnswersTest, BindsNobodyAndLeavesNoTrace) {
    timeOut(113);
    const Request next(115);
    sendUnanswered(next);
    inject("113~0126~15.03.21~XN42~00~" + std::string(268, 't'));
    EXPECT_TRUE(log.waitFor(droppedAnswer(113)));
    EXPECT_EQ(std::list<std::string>{"ZA000000001"}, controller().get_identities());
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_FALSE(next.packet()->has_trailer());
    EXPECT_EQ("ZA000000001", next.packet()->get_code_id());
}

TEST_F(LateAnswersTest, LeavesNoTraceInARequestThatTimesOutToo) {
    timeOut(113);
    const Request next(115, kShortTime);
    sendUnanswered(next);
    inject(kAnswer113);
    EXPECT_EQ("failed", next.outcome());
    EXPECT_EQ(115, next.packet()->get_id());
    EXPECT_EQ("FF", next.packet()->get_outcome());
    EXPECT_EQ("", next.packet()->get_body());
}

TEST_F(LateAnswersTest, MayBeOneOfMany) {
    timeOut(113);
    timeOut(117);
    timeOut(113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113);
    inject("117~0025~15.03.21~ZA000000001~00~4711");
    inject(kAnswer113);
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ("113~0008117~0008113~0008115~0008150~000C~115", received(1));
    EXPECT_EQ(2U, log.count(droppedAnswer(113)));
    EXPECT_EQ(1U, log.count(droppedAnswer(117)));
}

// Eight late answers, a byte each ten milliseconds: three seconds, longer than the time that is
// given. The first of them is whole in that time, on a busy machine, too.
TEST_F(LateAnswersTest, StartsNoNewTime) {
    std::string late;
    for (int id = 201; id <= 208; ++id) {
        timeOut(id);
        late += std::to_string(id) + "~0025~15.03.21~ZA000000001~00~4711";
    }
    machine().setFaults(
        {.dribble = std::chrono::milliseconds(10), .garbageBefore = late, .garbageAfter = ""}, 1);
    EXPECT_EQ("failed", ask(115, 2000));
    EXPECT_TRUE(log.waitFor(droppedAnswer(201)));
}

TEST_F(LateAnswersTest, ThatWasSeenIsExpectedNoMore) {
    timeOut(113);
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113 + kAnswer113);
    EXPECT_TRUE(log.waitFor(unaskedAnswer(113)));
    EXPECT_EQ(1U, log.count(droppedAnswer(113)));
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
}

// IDs are the codes of commands, so most late answers are of this kind.
class LateAnswersOfTheSameId : public MasterFixture {
  protected:
    static std::string answer(const std::string& body) {
        return "115~0025~15.03.21~ZA000000001~00~" + body;
    }
    // A list's answer with four characters.
    struct List : Request {
        explicit List(const std::string& text, std::uint32_t timeout = kLongTime)
            : Request(115, timeout) {
            packet()->set_body(text);
        }
        std::string body() const { return outcome() == "completed" ? packet()->get_body() : ""; }
    };
    void timeOutList(const std::string& text) {
        const List list(text, kShortTime);
        sendUnanswered(list);
        EXPECT_EQ("failed", list.outcome());
    }
};

TEST_F(LateAnswersOfTheSameId, IsTakenForTheSameQuestion) {
    timeOutList("a");
    const List again("a");
    sendUnanswered(again);
    inject(answer("LATE"));
    EXPECT_EQ("LATE", again.body());
}

TEST_F(LateAnswersOfTheSameId, IsNotTakenForAnotherQuestion) {
    timeOutList("a");
    const List other("b");
    sendUnanswered(other);
    inject(answer("LATE"));
    EXPECT_TRUE(log.waitFor(droppedAnswer(115)));
    EXPECT_FALSE(other.ended());
    inject(answer("0815"));
    EXPECT_EQ("0815", other.body());
}

TEST_F(LateAnswersOfTheSameId, ShiftsNobodyInTheQueue) {
    timeOutList("a");
    const List first("b");
    const List second("c");
    const List third("d");
    sendUnanswered(first);
    machine().setFaults({.silent = true});
    send(second);
    send(third);
    inject(answer("LATE") + answer("1111"));
    EXPECT_EQ("1111", first.body());
    EXPECT_TRUE(journal().waitForRequests(3));
    inject(answer("2222"));
    EXPECT_EQ("2222", second.body());
    EXPECT_TRUE(journal().waitForRequests(4));
    inject(answer("3333"));
    EXPECT_EQ("3333", third.body());
}

// Taken for the second question, which is the same; the second answer then comes behind the third.
TEST_F(LateAnswersOfTheSameId, ThatWasTakenLeavesTheOwnAnswerToBeDropped) {
    timeOutList("a");
    const List again("a");
    const List other("b");
    sendUnanswered(again);
    machine().setFaults({.silent = true});
    send(other);
    inject(answer("LATE"));
    EXPECT_EQ("LATE", again.body());
    EXPECT_TRUE(journal().waitForRequests(3));
    inject(answer("4711"));
    EXPECT_TRUE(log.waitFor(droppedAnswer(115)));
    EXPECT_FALSE(other.ended());
    inject(answer("0815"));
    EXPECT_EQ("0815", other.body());
}

TEST_F(LateAnswersOfTheSameId, ThatIsLostCostsOneRequest) {
    machine().answers().setBody(115, "0815");
    timeOutList("a");
    const List second("b", 1000);
    send(second);
    EXPECT_EQ("failed", second.outcome());  // its own answer was dropped for the first one's
    EXPECT_EQ(1U, log.count(droppedAnswer(115)));
    for (const char* const text : {"c", "d", "b", "a"}) {
        const List later(text);
        send(later);
        EXPECT_EQ("0815", later.body()) << text;
    }
}

TEST_F(LateAnswersOfTheSameId, ThatCameWhileNothingWasAskedCostsNothing) {
    machine().answers().setBody(115, "0815");
    timeOutList("a");
    inject(answer("LATE"));
    const List other("b");
    send(other);
    EXPECT_EQ("0815", other.body());
    EXPECT_EQ(0U, log.count(droppedAnswer(115)));
}

// The second request is not expected any more, but its answer is no other request's.
TEST_F(LateAnswersOfTheSameId, IsKnownByItsIdWhereNobodyExpectsIt) {
    timeOutList("a");
    const List second("b", kShortTime);
    sendUnanswered(second);
    inject(answer("LATE"));
    EXPECT_EQ("failed", second.outcome());
    const Request other(113);
    sendUnanswered(other);
    inject(answer("0815"));
    inject(kAnswer113);
    EXPECT_EQ("completed", other.outcome());
    EXPECT_EQ("4711", other.packet()->get_body());
}

TEST_F(LateAnswersTest, TheRestOfWhichComesBeforeTheNextRequestIsDropped) {
    const Request first(113, kLateInTime);
    sendUnanswered(first);
    inject("113~002");
    EXPECT_EQ("failed", first.outcome());
    inject("5~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", ask(115));
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
    EXPECT_EQ(1U, log.count(droppedBytes(30)));
}

TEST_F(LateAnswersTest, TheRestOfWhichComesBehindTheNextRequestEndsTheRun) {
    const Request first(113, kLateInTime);
    sendUnanswered(first);
    inject("113~002");
    EXPECT_EQ("failed", first.outcome());
    const Request next(115);
    const Request waiting(117);
    sendUnanswered(next);
    send(waiting);
    inject("5~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ(kLost, next.outcome());
    EXPECT_EQ(kLost, waiting.outcome());
    awaitEndOfRun();
    EXPECT_FALSE(connected());
    EXPECT_TRUE(journal().waitForDisconnection());
    EXPECT_EQ("113~0008115~0008", journal().dataReceived());
    journal().clear();
    machine().setFaults({.silent = true}, 1);
    EXPECT_EQ("completed", ask(120));  // answered by the greeting
    EXPECT_TRUE(connected());
    EXPECT_EQ(1U, journal().connections());
}

// Wherever it was cut at the time-out: the rest completes no request.
TEST(LateAnswers, TheRestOfOneIsNeverTakenForAnother) {
    for (std::size_t cut = 1; cut < kAnswer113.size(); ++cut) {
        LateAnswers late(LogSource::unlimited());
        TeskPacket lost;
        lost.set_id(113);
        late.begin(lost);
        late.timedOut();
        TeskPacket next;
        next.set_id(115);
        late.begin(next);
        ScriptedInputStream rest{kAnswer113.substr(cut) + kAnswer115};
        EXPECT_THROW(late.read(rest, next, "ZA000000001"), TeskConnectionErrorException) << cut;
    }
}

// The start of the next answer is unknown behind one whose header is irregular: the ID has not
// three digits, or the length not four, or it is shorter than the header.
TEST(LateAnswers, AnIrregularAnswerToAnotherRequestEndsTheRun) {
    for (const char* const header : {"13~0025~", "3~0025~", "~0025~", "45x~0025~", "456~25~",
                                     "456~00025~", "456~002x~", "456~0005~"}) {
        LateAnswers late(LogSource::unlimited());
        TeskPacket next;
        next.set_id(115);
        late.begin(next);
        ScriptedInputStream input{header + kAnswer113.substr(9) + kAnswer115};
        EXPECT_EQ(
            "TeskException: TeskConnectionErrorException: An answer to another request",
            messageOf<TeskConnectionErrorException>([&] { late.read(input, next, "ZA000000001"); }))
            << header;
    }
}

TEST(LateAnswers, AnIrregularAnswerWithTheRequestsIdIsTaken) {
    LateAnswers late(LogSource::unlimited());
    TeskPacket request;
    request.set_id(115);
    late.begin(request);
    ScriptedInputStream input{"115~1~15.03.21~ZA000000001~00"};
    late.read(input, request, "ZA000000001");
    EXPECT_EQ("ZA000000001", request.get_code_id());
}

// What a LateAnswers makes of a machine that gives these answers one after the other.
class LateAnswersMemory : public testing::Test {
  protected:
    static constexpr std::chrono::hours kLong{1};

    ~LateAnswersMemory() noexcept override {}
    static std::string answer(int id, const std::string& body) {
        return std::to_string(id) + "~0025~15.03.21~ZA000000001~00~" + body;
    }
    void begin(int id, const std::string& text) {
        request_.set_raw();
        request_.set_body(std::to_string(id) + "~0008~" + text);
        late_.begin(request_);
    }
    void timeOut(int id, const std::string& text) {
        begin(id, text);
        late_.timedOut();
    }
    // The body of what is taken for the answer.
    std::string ask(int id, const std::string& text, const std::string& answers) {
        begin(id, text);
        return read(answers);
    }
    // The same for a request without a known ID.
    std::string askText(const std::string& text, const std::string& answers) {
        request_.set_raw();
        request_.set_body(text);
        late_.begin(request_);
        return read(answers);
    }
    // The request times out behind these answers, which are all dropped.
    void timeOutBehind(int id, const std::string& text, const std::string& answers) {
        begin(id, text);
        ScriptedInputStream input{answers, TimeOut{}};
        TeskPacket packet;
        EXPECT_THROW(late_.read(input, packet, "ZA000000001"), SocketTimeoutException);
        late_.timedOut();
    }
    void timeOutText(const std::string& text) {
        request_.set_raw();
        request_.set_body(text);
        late_.begin(request_);
        late_.timedOut();
    }
    void dropBetweenRequests(const std::string& bytes) { late_.drop(bytes, "ZA000000001"); }
    void remember(std::chrono::milliseconds memory) {
        late_ = LateAnswers(LogSource::unlimited(), memory);
    }

  private:
    std::string read(const std::string& answers) {
        ScriptedInputStream input{answers};
        TeskPacket packet;
        late_.read(input, packet, "ZA000000001");
        return packet.get_body();
    }

    TeskPacket request_;
    LateAnswers late_{LogSource::unlimited(), kLong};
};

TEST_F(LateAnswersMemory, EndsInTime) {
    EXPECT_EQ(std::chrono::seconds(60), LateAnswers::MEMORY);
    remember(std::chrono::milliseconds(1));
    timeOut(113, "a");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ("OWN1", ask(113, "b", answer(113, "OWN1")));
}

// An answer that was lost is expected for its time, and not anew for each one taken in its place.
TEST_F(LateAnswersMemory, EndsInTimeThoughLateAnswersAreTaken) {
    const std::chrono::milliseconds memory = std::chrono::seconds(2) * timeScale();
    remember(memory);
    timeOut(113, "a");
    const auto over = std::chrono::steady_clock::now() + memory + std::chrono::milliseconds(20);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ("LATE", ask(113, "a", answer(113, "LATE")));
    std::this_thread::sleep_until(over);
    EXPECT_EQ("OWN1", ask(113, "b", answer(113, "OWN1")));
}

// The machine was off for a night.
TEST_F(LateAnswersMemory, HasRoomForTheLastSixtyFour) {
    const auto timeOutHundred = [this] {
        for (int id = 200; id < 300; ++id) timeOut(id, "a");
    };
    timeOutHundred();
    EXPECT_EQ("OWN1", ask(235, "b", answer(235, "OWN1")));
    timeOutHundred();
    EXPECT_EQ("OWN2", ask(236, "b", answer(236, "LATE") + answer(236, "OWN2")));
    timeOutHundred();
    EXPECT_EQ("OWN3", ask(299, "b", answer(299, "LATE") + answer(299, "OWN3")));
}

TEST_F(LateAnswersMemory, OfALongTextIsThatItIsNoOther) {
    const std::string longText(1024, 'x');
    timeOut(113, longText);
    EXPECT_EQ("OWN1", ask(113, longText, answer(113, "LATE") + answer(113, "OWN1")));
    const std::string shorter = longText.substr(9);
    timeOut(115, shorter);
    EXPECT_EQ("LATE", ask(115, shorter, answer(115, "LATE") + answer(115, "OWN1")));
}

TEST_F(LateAnswersMemory, KeepsTheOrderOfTheRequests) {
    timeOut(113, "a");
    timeOut(113, "b");
    EXPECT_EQ("2222", ask(113, "b", answer(113, "1111") + answer(113, "2222")));
}

// In one block with the late answer that is taken in its place.
TEST_F(LateAnswersMemory, EndsWithTheOwnAnswerBehindALateOne) {
    timeOut(113, "a");
    EXPECT_EQ("LATE", ask(113, "a", answer(113, "LATE") + answer(113, "OWN1")));
    EXPECT_EQ("OWN2", ask(113, "b", answer(113, "OWN2")));
}

// Also when the late answer has no body, and comes in one block with one that is dropped before.
TEST_F(LateAnswersMemory, EndsWithTheOwnAnswerBehindALateOneWithoutABody) {
    timeOut(113, "a");
    timeOut(115, "a");
    EXPECT_EQ("",
              ask(115, "a",
                  answer(113, "LATE") + "115~0020~15.03.21~ZA000000001~00" + answer(115, "OWN1")));
    EXPECT_EQ("OWN2", ask(115, "b", answer(115, "OWN2")));
}

// A machine answers in the order in which it was asked.
class LateAnswersOrder : public LateAnswersMemory {};

TEST_F(LateAnswersOrder, ForgetsAllWhenALaterRequestIsAnswered) {
    timeOut(201, "a");
    timeOut(202, "a");
    EXPECT_EQ("OWN1", ask(113, "", answer(113, "OWN1")));
    EXPECT_EQ("OWN2", ask(201, "b", answer(201, "OWN2")));
    EXPECT_EQ("OWN3", ask(202, "b", answer(202, "OWN3")));
}

TEST_F(LateAnswersOrder, ForgetsWhatWasAskedBeforeALateAnswer) {
    timeOut(201, "a");
    timeOut(113, "");
    timeOut(202, "a");
    EXPECT_EQ("OWN1", ask(201, "b", answer(113, "LATE") + answer(201, "OWN1")));
    timeOut(201, "a");
    timeOut(113, "");
    dropBetweenRequests(answer(113, "LATE"));
    EXPECT_EQ("OWN2", ask(201, "b", answer(201, "OWN2")));
}

TEST_F(LateAnswersOrder, ForgetsWhatWasAskedBeforeALateAnswerThatIsTaken) {
    timeOut(201, "a");
    timeOut(113, "");
    EXPECT_EQ("LATE", ask(113, "", answer(113, "LATE")));
    EXPECT_EQ("OWN1", ask(201, "b", answer(201, "OWN1")));
}

TEST_F(LateAnswersOrder, KeepsWhatWasAskedAfterALateAnswer) {
    timeOut(113, "");
    timeOut(201, "a");
    EXPECT_EQ("OWN1",
              ask(201, "b", answer(113, "LATE") + answer(201, "LATE") + answer(201, "OWN1")));
}

// Any answer may be that to a text without a header, so it does not show what was answered before.
TEST_F(LateAnswersOrder, IsNotKnownByTheAnswerToATextWithoutAHeader) {
    timeOut(201, "a");
    timeOutText("???");
    dropBetweenRequests(answer(456, "NOT1"));
    EXPECT_EQ("OWN1", ask(201, "b", answer(201, "LATE") + answer(201, "OWN1")));
}

TEST_F(LateAnswersOrder, IsNotKnownByTheOwnAnswerToATextWithoutAHeader) {
    timeOut(201, "a");
    EXPECT_EQ("OWN1", askText("???", answer(456, "OWN1")));
    EXPECT_EQ("OWN2", ask(201, "b", answer(201, "LATE") + answer(201, "OWN2")));
}

// The machine stalls: 201 a, 113 and 201 b time out, and 201 c is open when it answers b.
TEST_F(LateAnswersOrder, TellsALateAnswerFromTheOpenRequestsOwn) {
    timeOut(201, "a");
    timeOut(113, "");
    timeOutBehind(201, "b", answer(201, "AAAA") + answer(113, "LATE"));
    EXPECT_EQ("CCCC", ask(201, "c", answer(201, "BBBB") + answer(201, "CCCC")));
}

// As above, but b times out between the answers to a and 113.
TEST_F(LateAnswersOrder, TellsALateAnswerFromThatToARequestThatTimedOutMeanwhile) {
    const std::string late113 = answer(113, "LATE");
    timeOut(201, "a");
    timeOut(113, "");
    timeOutBehind(201, "b", answer(201, "AAAA"));
    EXPECT_EQ("CCCC", ask(201, "c", late113 + answer(201, "BBBB") + answer(201, "CCCC")));
    timeOut(201, "a");
    timeOut(113, "");
    timeOutBehind(201, "b", answer(201, "AAAA"));
    dropBetweenRequests(late113);
    EXPECT_EQ("CCCC", ask(201, "c", answer(201, "BBBB") + answer(201, "CCCC")));
}

// 113 may be the open request's own, and then the machine has answered b before.
TEST_F(LateAnswersOrder, IsNotKnownByAnAnswerThatMayBeTheOpenRequestsOwn) {
    timeOut(201, "a");
    timeOut(113, "a");
    timeOutBehind(201, "b", answer(201, "AorB"));
    timeOutBehind(113, "b", answer(113, "AorB"));
    EXPECT_EQ("OWN1", ask(201, "c", answer(201, "OWN1")));
}

// 201 c timed out behind an answer that was dropped. The next one may be its own, too.
TEST_F(LateAnswersOrder, IsNotKnownByAnotherAnswerWithTheIdOfTheDroppedOne) {
    timeOut(201, "a");
    timeOut(201, "b");
    timeOutBehind(201, "c", answer(201, "AorB"));
    timeOutBehind(113, "", answer(201, "BorC"));
    EXPECT_EQ("OWN1", ask(201, "d", answer(201, "OWN1")));
}

TEST_F(LateAnswersTest, ToARawRequestIsKnownByTheNumberInFront) {
    const Request raw(0, kShortTime);
    raw.packet()->set_raw();
    raw.packet()->set_body("113~0008");
    sendUnanswered(raw);
    EXPECT_EQ("failed", raw.outcome());
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113 + kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
    EXPECT_EQ(1U, log.count(droppedAnswer(113)));
}

TEST_F(LateAnswersTest, IsNotTakenForThatOfARawRequest) {
    timeOut(113);
    const Request raw(0);
    raw.packet()->set_raw();
    raw.packet()->set_body("115~0008");
    sendUnanswered(raw);
    inject(kAnswer113 + kAnswer115);
    EXPECT_EQ("completed", raw.outcome());
    EXPECT_EQ("0815", raw.packet()->get_body());
    EXPECT_EQ("113~0008115~0008150~000C~115", received(1));
}

TEST_F(LateAnswersTest, ToNothingIsAcceptedByARawRequestWithoutANumber) {
    timeOut(113);
    timeOut(117);
    const Request raw(0);
    raw.packet()->set_raw();
    raw.packet()->set_body("???");
    send(raw);
    EXPECT_TRUE(journal().waitForData("???"));
    inject(kAnswer113 + kAnswer115);
    EXPECT_EQ("completed", raw.outcome());
    EXPECT_EQ("0815", raw.packet()->get_body());
    EXPECT_EQ(1U, log.count(droppedAnswer(113)));
}

// Nobody can know its ID, so any that nobody asked with may be it.
class LateAnswersToATextWithoutAHeader : public MasterFixture {
  protected:
    struct Text : Request {
        explicit Text(const std::string& text, std::uint32_t timeout = kLongTime)
            : Request(0, timeout) {
            packet()->set_raw();
            packet()->set_body(text);
        }
        std::string body() const { return outcome() == "completed" ? packet()->get_body() : ""; }
    };
    void sendText(const Text& request) {
        const std::string text = request.packet()->get_request();  // the master's from then on
        send(request);
        EXPECT_TRUE(journal().waitForData(text));
    }
    void timeOutText(const std::string& text) {
        const Text request(text, kShortTime);
        sendText(request);
        EXPECT_EQ("failed", request.outcome());
    }
};

TEST_F(LateAnswersToATextWithoutAHeader, IsNoAnswerToARequestWithAnotherId) {
    timeOutText("???");
    const Request next(115);
    sendUnanswered(next);
    inject(kAnswer113);
    EXPECT_TRUE(log.waitFor(droppedAnswer(113)));
    inject(kAnswer115);
    EXPECT_EQ("completed", next.outcome());
    EXPECT_EQ("0815", next.packet()->get_body());
}

TEST_F(LateAnswersToATextWithoutAHeader, IsTakenForTheSameText) {
    timeOutText("???");
    journal().clear();
    const Text again("???");
    sendText(again);
    inject(kAnswer113);
    EXPECT_EQ("4711", again.body());
}

TEST_F(LateAnswersToATextWithoutAHeader, IsNotTakenForAnotherText) {
    timeOutText("???");
    const Text other("!!!");
    sendText(other);
    inject(kAnswer113);
    EXPECT_TRUE(log.waitFor(droppedAnswer(113)));
    EXPECT_FALSE(other.ended());
    inject(kAnswer115);
    EXPECT_EQ("0815", other.body());
}

TEST_F(LateAnswersToATextWithoutAHeader, TheRestOfWhichEndsTheRun) {
    const Text cut("???", kLateInTime);
    sendText(cut);
    inject(kAnswer113.substr(0, 7));
    EXPECT_EQ("failed", cut.outcome());
    const Text other("!!!");
    sendText(other);
    inject(kAnswer113.substr(7) + kAnswer115);
    EXPECT_EQ(kLost, other.outcome());
}

}  // namespace
}  // namespace teskd::test
