// The polling passes and the question for the date.

#include <gtest/gtest.h>
#include <list>
#include <utility>

#include "Engine.h"
#include "support_src/FailingNew.h"
#include "support_src/LogRecorder.h"
#include "support_src/MachinePark.h"
#include "tesk/Request.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

LogEntry polled(const std::string& name) {
    return {182, "Generating automatique request for slot machine: '" + name + "'"};
}

// Keeps each poll, which a link that is shut down refuses on the spot, until the test gives it an
// outcome of its own.
class KeepsPolls : public Aams::AamsTimerTask {
  public:
    using AamsTimerTask::AamsTimerTask;

    void packetError(Packet* poll, const Exception&) override { polls_.emplace_back(poll); }
    // The polls kept, which have no outcome yet, in their order.
    std::size_t open() const { return polls_.size(); }
    void answered() { AamsTimerTask::packetCompleted(take().pointer()); }
    void timedOut() { AamsTimerTask::packetFailed(take().pointer()); }
    void failed() { AamsTimerTask::packetError(take().pointer(), Exception("why")); }

  private:
    PacketHandle<Packet> take() {
        PacketHandle<Packet> first = std::move(polls_.front());
        polls_.pop_front();
        return first;
    }

    std::list<PacketHandle<Packet>> polls_;
};

// A pass whose outcomes the test gives itself: the link is shut down, so nobody else does.
class AamsTimerTaskPass : public testing::Test {
  protected:
    AamsTimerTaskPass() { engine.controller.shut_down(); }
    ~AamsTimerTaskPass() noexcept override {}

    // The second pass, of which three polls are open.
    void beginReportedPass() {
        kept.run();
        while (kept.open() > 0) kept.timedOut();
        kept.run();
        ASSERT_EQ(3U, kept.open());
    }
    std::size_t reports() const { return engine.board.bodies(4).size(); }
    std::string report() const {
        const std::vector<std::string> bodies = engine.board.bodies(4);
        return bodies.empty() ? "no report" : bodies.back();
    }

    Engine engine{3};
    Aams::AamsTimerTask task{engine.aams};
    KeepsPolls kept{engine.aams};
};

TEST_F(AamsTimerTaskPass, PollsEveryMachineAndLogsIt) {
    const LogRecorder log;
    task.run();
    std::vector<LogEntry> polls;
    for (const LogEntry& line : log.lines()) {
        if (line.text.starts_with("Generating")) polls.push_back(line);
    }
    EXPECT_EQ((std::vector<LogEntry>{polled("ZA000000001"), polled("ZA000000002"),
                                     polled("ZA000000003")}),
              polls);
}

// The machines refuse every poll on the spot, so a name can be moved between two polls.
TEST_F(AamsTimerTaskPass, PollsEveryMachineOnceWhenANameMovesMeanwhile) {
    class MovesAName : public Aams::AamsTimerTask {
      public:
        explicit MovesAName(Engine& engine) : AamsTimerTask(engine.aams), engine_(engine) {}
        void packetError(Packet* packet, const Exception& e) override {
            AamsTimerTask::packetError(packet, e);
            if (refusals++ == 3) engine_.controller.rename("ZA000000001", "ZA000000002");
        }
        int refusals = 0;

      private:
        Engine& engine_;
    };
    MovesAName moving(engine);
    moving.run();
    const LogRecorder log;
    moving.run();
    EXPECT_EQ(6, moving.refusals);
    for (const char* const name : {"ZA000000001", "SlotMachine_2", "ZA000000003"}) {
        EXPECT_EQ(1U, log.count(polled(name))) << name;
        EXPECT_EQ(1U, log.count({180, "Cannot serve a request for '" + std::string(name) +
                                          "': The link is shut down"}))
            << name;
    }
}

TEST_F(AamsTimerTaskPass, PollsTheOtherMachinesAndEndsWhenMemoryFailsForOne) {
    class Counts : public Aams::AamsTimerTask {
      public:
        using AamsTimerTask::AamsTimerTask;
        void packetError(Packet* packet, const Exception& e) override {
            ++refusals;
            AamsTimerTask::packetError(packet, e);
        }
        int refusals = 0;
    };
    Counts counting(engine.aams);
    counting.run();
    std::size_t begun = 0;
    for (std::size_t number = 1; begun == 0 || FailingNew::hasFailed(); ++number) {
        const LogRecorder log;
        const std::size_t before = reports();
        counting.refusals = 0;
        try {
            const FailingNew fail(number);
            counting.run();
        } catch (const Exception&) {
            EXPECT_EQ(0, counting.refusals) << number;  // no memory for the list of machines
            continue;
        }
        ++begun;
        EXPECT_LE(2, counting.refusals) << number;
        const bool lost = log.waitForText("A polling pass was not reported", 0s);
        EXPECT_TRUE(lost || reports() == before + 1) << number;
    }
    EXPECT_LE(10U, begun);
    EXPECT_EQ(3, counting.refusals);  // no machine is left out for good
}

TEST_F(AamsTimerTaskPass, TheFirstOneIsNeverReported) {
    task.run();
    EXPECT_EQ(0U, reports());
}

TEST_F(AamsTimerTaskPass, ALaterOneThatNobodyAnsweredIsReportedOnce) {
    task.run();
    task.run();
    EXPECT_EQ(1U, reports());
    EXPECT_EQ(kMac + "-00-4", report());
    task.run();
    EXPECT_EQ(2U, reports());
    EXPECT_EQ(kMac + "-00-4", report());
}

TEST_F(AamsTimerTaskPass, ThatNobodyAnsweredIsNotReportedAgainstTheParameters) {
    engine.start();
    engine.askText("506-0011-10!1!0!5");
    task.run();
    task.run();
    EXPECT_EQ(0U, reports());
}

TEST_F(AamsTimerTaskPass, IsNotListenedToAgainstTheParameters) {
    engine.start();
    engine.askText("506-0011-10!0!1!5");
    task.run();
    task.run();
    EXPECT_EQ(0U, reports());
}

TEST_F(AamsTimerTaskPass, EndsWithTheLastAnswerWhateverItIs) {
    beginReportedPass();
    kept.timedOut();
    kept.failed();
    EXPECT_EQ(0U, reports());
    kept.timedOut();
    EXPECT_EQ(1U, reports());
    EXPECT_EQ(kMac + "-00-4", report());
}

TEST_F(AamsTimerTaskPass, ThatSomebodyAnsweredIsReportedWithTheNewestReadings) {
    engine.read(reading("100~200~1~100~200~0"));
    beginReportedPass();
    kept.answered();
    kept.timedOut();
    EXPECT_EQ(0U, reports());
    kept.failed();
    ASSERT_EQ(1U, reports());
    const std::string message = "-113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";
    const std::string body = withoutStamp(report());
    ASSERT_TRUE(body.ends_with(message)) << body;
    EXPECT_EQ(kMac + "-00-4", withoutStamp(body.substr(0, body.size() - message.size())));
}

TEST_F(AamsTimerTaskPass, ThatSomebodyAnsweredIsReportedAlsoWithoutReadings) {
    beginReportedPass();
    for (int n = 1; n <= 3; ++n) kept.answered();
    EXPECT_EQ(kMac + "-0B", report());
}

TEST_F(AamsTimerTaskPass, LeavesOutAMachineWhoseLastPollIsOpen) {
    for (const std::size_t open : {3U, 3U}) {
        kept.run();
        EXPECT_EQ(open, kept.open());
    }
    kept.timedOut();  // that to the first machine
    const LogRecorder log;
    kept.run();
    EXPECT_EQ(3U, kept.open());
    EXPECT_EQ(1U, log.count(polled("ZA000000001")));
    for (const char* const name : {"ZA000000002", "ZA000000003"}) {
        EXPECT_EQ(0U, log.count(polled(name)));
        EXPECT_EQ(1U, log.count({182, "The last automatique request for slot machine '" +
                                          std::string(name) + "' is still open"}));
    }
}

TEST_F(AamsTimerTaskPass, IsReportedOnceThoughItEndsAfterTheNextOne) {
    beginReportedPass();
    kept.answered();
    kept.answered();
    kept.run();  // the third pass, without the last machine
    ASSERT_EQ(3U, kept.open());
    kept.timedOut();  // the poll of the second pass that was left
    EXPECT_EQ(1U, reports());
    EXPECT_EQ(kMac + "-0B", report());
    kept.timedOut();
    EXPECT_EQ(1U, reports());
    kept.timedOut();
    EXPECT_EQ(2U, reports());
    EXPECT_EQ(kMac + "-00-4", report());
}

TEST_F(AamsTimerTaskPass, DoesNotWaitForThePollsOfThePreviousOne) {
    beginReportedPass();
    kept.timedOut();
    kept.run();
    ASSERT_EQ(3U, kept.open());  // two of the second pass, one of the third
    kept.timedOut();
    kept.timedOut();
    EXPECT_EQ(1U, reports());
    kept.answered();
    EXPECT_EQ(2U, reports());
    EXPECT_EQ(kMac + "-0B", report());
}

// As after a start, when the server's parameters come while the first pass runs.
TEST_F(AamsTimerTaskPass, WaitsForThePollsOfOneThatIsNotReported) {
    kept.run();
    kept.answered();
    kept.run();  // polls the first machine and waits for the other two as well
    ASSERT_EQ(3U, kept.open());
    kept.timedOut();
    kept.timedOut();
    EXPECT_EQ(0U, reports());
    kept.answered();
    EXPECT_EQ(1U, reports());
    EXPECT_EQ(kMac + "-0B", report());
}

TEST_F(AamsTimerTaskPass, IsNotReportedWhenItPolledNobody) {
    beginReportedPass();
    kept.run();
    EXPECT_EQ(0U, reports());
    for (int n = 1; n <= 3; ++n) kept.timedOut();
    EXPECT_EQ(1U, reports());
}

TEST_F(AamsTimerTaskPass, ParametersThatChangeMeanwhileDecideAtItsEnd) {
    engine.start();
    beginReportedPass();
    kept.timedOut();
    kept.timedOut();
    engine.askText("506-0011-10!1!0!5");
    kept.timedOut();
    EXPECT_EQ(0U, reports());
}

TEST_F(AamsTimerTaskPass, TheStateFollowsThePasses) {
    engine.read(reading("100~200~1~100~200~-1"));
    engine.start();
    const auto state = [this] {
        return bodyOf(engine.askText("502-0008"), 502).substr(kMac.size() + 4, 1);
    };
    EXPECT_EQ("1", state());
    for (const char* const expected : {"3", "4", "4"}) {
        task.run();
        EXPECT_EQ(expected, state());
        EXPECT_TRUE(bodyOf(engine.askText("504-0014-ZA000000001"), 504)
                        .starts_with(kMac + "-00-" + expected + "-35-"));
    }
}

TEST_F(AamsTimerTaskPass, TakesThePeriodFromTheParameters) {
    EXPECT_EQ(0U, task.getPeriod());
    task.run();
    EXPECT_EQ(180'000U, task.getPeriod());
    engine.start();
    engine.askText("506-0011-10!1!0!5");
    task.run();
    EXPECT_EQ(600'000U, task.getPeriod());
    engine.askText("506-0019-2147483646!1!0!5");
    task.run();
    EXPECT_EQ(4'294'967'295U, task.getPeriod());
}

TEST_F(AamsTimerTaskPass, TasksHaveTheirNames) {
    EXPECT_EQ("AamsTimerTask", task.getName());
    EXPECT_EQ("AamsNtpTimerTask", Aams::AamsNtpTimerTask(engine.aams).getName());
}

TEST(AamsTimerTaskPassOverNobody, IsNotReportedButCounts) {
    Engine engine(0);
    Aams::AamsTimerTask task(engine.aams);
    task.run();
    task.run();
    EXPECT_TRUE(engine.board.frames().empty());
    engine.read(reading("100~200~1~100~200~0"));
    engine.start();
    EXPECT_TRUE(bodyOf(engine.askText("502-0008"), 502).starts_with(kMac + "-00-4-"));
}

// Real machines on the loopback interface.
class AamsTimerTaskPollOfMachines : public testing::Test {
  protected:
    AamsTimerTaskPollOfMachines() : references_(packet_counter) {
        park.makeAllKnown();
        for (std::size_t n = 1; n <= 3; ++n) {
            park.machine(n).answers().setBody(113, "100~200~1~100~200~0");
        }
    }
    ~AamsTimerTaskPollOfMachines() noexcept override { park.shutDown(); }

    // Runs a pass and waits until every machine has been asked and its poll has ended.
    void pass() {
        task.run();
        ++passes_;
        for (std::size_t n = 1; n <= 3; ++n) {
            EXPECT_TRUE(park.machine(n).journal().waitForAcknowledgements(passes_));
        }
        awaitEndOfPolls();
    }

    // A machine has its acknowledgement before its poll ends, so this waits until the references to
    // the polls are gone. The board keeps one to each notification; `others` stay as well.
    void awaitEndOfPolls(std::size_t others = 0) {
        EXPECT_TRUE(eventually(
            [&] { return packet_counter == references_ + others + board.frames().size(); }));
    }

    EngineConfig config{0};
    MachinePark park{3};
    NoticeBoard board;
    FakeClock clock{kStart};
    Timer timer{clock};
    Aams aams{park.controller(), board, timer};
    Aams::AamsTimerTask task{aams};

  private:
    const std::size_t references_;
    std::size_t passes_ = 0;
};

TEST_F(AamsTimerTaskPollOfMachines, SendsTheQuestionForTheCounters) {
    pass();
    for (std::size_t n = 1; n <= 3; ++n) {
        EXPECT_EQ("113~0008150~000C~113", park.machine(n).journal().dataReceived());
    }
}

TEST_F(AamsTimerTaskPollOfMachines, TheSecondPassIsReportedWhenAllHaveAnswered) {
    pass();
    pass();
    ASSERT_TRUE(board.waitFor(1));
    const std::string body = withoutStamp(board.bodies(4).at(0));
    EXPECT_TRUE(body.starts_with(kMac + "-00-4-")) << body;
    for (std::size_t n = 1; n <= 3; ++n) {
        const std::string message =
            "-113~0034~15.03.21~" + MachinePark::nameOf(n) + "~00~100~200~1~100~200~0";
        EXPECT_NE(std::string::npos, body.find(message)) << body;
    }
    EXPECT_EQ(1U, board.frames().size());
}

TEST_F(AamsTimerTaskPollOfMachines, TheContextIsThatOfAPassFromTheFirstOn) {
    park.machine(1).answers().setBody(113, "100~200~1~100~200~-1");
    pass();
    ASSERT_TRUE(board.waitFor(1));
    EXPECT_TRUE(board.bodies(5).at(0).starts_with(kMac + "-04-35-113~0035~"));
}

TEST_F(AamsTimerTaskPollOfMachines, AMachineHasOneOpenPollHoweverLongAHostsRequestTakes) {
    park.machine(1).setFaults({.silent = true});
    const Request host(120);
    park.controller().send(MachinePark::nameOf(1), host.packet());
    ASSERT_TRUE(park.machine(1).journal().waitForRequests(1));
    for (std::size_t n = 1; n <= 5; ++n) {
        task.run();
        for (const std::size_t other : {2U, 3U}) {
            EXPECT_TRUE(park.machine(other).journal().waitForAcknowledgements(n));
        }
        awaitEndOfPolls(5);  // four to the request, one to the poll behind it
        // Each pass but the first, without the first machine, and but the second, which waits for
        // the poll that the first has opened.
        EXPECT_TRUE(board.waitFor(n > 2 ? n - 2 : 0));
    }
    park.machine(1).clearFaults();
    park.machine(1).inject("120~0025~15.03.21~" + MachinePark::nameOf(1) + "~00~4711");
    EXPECT_EQ("completed", host.outcome());
    EXPECT_TRUE(park.machine(1).journal().waitForAcknowledgements(2));
    EXPECT_TRUE(board.waitFor(4));
    awaitEndOfPolls(1);  // the test's own
    task.run();
    EXPECT_TRUE(park.machine(1).journal().waitForAcknowledgements(3));
    EXPECT_TRUE(board.waitFor(5));
    EXPECT_EQ(3U, park.machine(1).journal().requestCount());
    EXPECT_EQ(5U, board.frames().size());
}

TEST_F(AamsTimerTaskPollOfMachines, APassThatSomeAnsweredIsReportedWhenTheOthersFailed) {
    pass();
    park.machine(2).setFaults({.closeAfter = 5});
    task.run();
    ASSERT_TRUE(board.waitFor(1));
    EXPECT_TRUE(board.bodies(4).at(0).starts_with(kMac + "-00-4-"));
}

// By the clock of the test, which never stands on the very time at which a task is due: a timer
// does not sleep then.
class AamsTimerTaskTimes : public testing::Test {
  protected:
    AamsTimerTaskTimes() { engine.controller.shut_down(); }
    ~AamsTimerTaskTimes() noexcept override {}

    // A microsecond after the start, when the date was asked for.
    void start() {
        engine.start();
        engine.askText("502-0008");  // both tasks are scheduled then
        after(1);
    }
    void after(std::int64_t microseconds) {
        ASSERT_TRUE(engine.clock.advanceAndSettle(microseconds));
    }
    // The server's answer to the notification made at the start.
    void answer(const std::string& text) {
        engine.board.answer(0, payload(text));
        ASSERT_TRUE(engine.clock.awaitSleeper());  // the timer has seen the new times
    }
    // Whatever was due runs once, and the next pass comes three minutes later.
    void expectOneOfEachAndTheNextPassInTime() {
        after(1);
        EXPECT_EQ(1U, passes());
        EXPECT_EQ(2U, questions());
        after(3 * kMinute - 1);
        EXPECT_EQ(1U, passes());
        after(2);
        EXPECT_EQ(2U, passes());
        EXPECT_EQ(2U, questions());
    }
    std::size_t passes() const { return log.count(polled("ZA000000001")); }
    std::size_t questions() const { return engine.board.bodies(1).size(); }

    LogRecorder log;
    Engine engine;
};

TEST_F(AamsTimerTaskTimes, TheDateIsAskedForAtOnceAndAtItsPeriod) {
    start();
    ASSERT_EQ(1U, questions());
    EXPECT_EQ(kMac, engine.board.bodies(1)[0]);
    after(7200 * kSecond - 1);
    EXPECT_EQ(1U, questions());
    after(2);
    EXPECT_EQ(2U, questions());
}

TEST_F(AamsTimerTaskTimes, TheFirstPassComesAfterItsDelayAndTheOthersAtTheirPeriod) {
    start();
    after(2 * kMinute - 2);
    EXPECT_EQ(0U, passes());
    after(2);
    EXPECT_EQ(1U, passes());
    after(3 * kMinute - 1);
    EXPECT_EQ(1U, passes());
    after(2);
    EXPECT_EQ(2U, passes());
}

TEST_F(AamsTimerTaskTimes, Request506ChangesThePeriodFromTheNextPassAndNothingBefore) {
    start();
    engine.askText("506-0010-1!1!1!9");
    after(2 * kMinute - 2);
    EXPECT_EQ(0U, passes());
    after(2);
    EXPECT_EQ(1U, passes());
    after(kMinute + 1);
    EXPECT_EQ(2U, passes());
}

TEST_F(AamsTimerTaskTimes, NoPeriodEndsThePolling) {
    start();
    after(2 * kMinute);
    for (const char* const none : {"0", "-3", "-2147483647"}) {
        const std::size_t before = passes();
        engine.askText("506-0010-" + std::string(none) + "!1!1!2");
        for (std::size_t n = 1; n <= 3; ++n) {
            after(kMinute + 1);
            EXPECT_EQ(before + n, passes()) << none;
        }
    }
}

TEST_F(AamsTimerTaskTimes, Request506BringsAPassNearThatWasFarAway) {
    start();
    after(2 * kMinute);
    engine.askText("506-0019-2147483646!1!1!2");
    after(3 * kMinute + 1);
    ASSERT_EQ(2U, passes());
    after(60 * kMinute);
    ASSERT_EQ(2U, passes());
    engine.askText("506-0010-4!1!1!2");
    after(4 * kMinute - 1);
    EXPECT_EQ(2U, passes());
    after(2);
    EXPECT_EQ(3U, passes());
    after(4 * kMinute + 1);
    EXPECT_EQ(4U, passes());
}

TEST_F(AamsTimerTaskTimes, Request506BringsAFirstPassNearThatWasFarAway) {
    start();
    answer("002-0014-5!1!1!71582");
    after(60 * kMinute);
    ASSERT_EQ(0U, passes());
    engine.askText("506-0010-5!1!1!1");
    after(kMinute - 1);
    EXPECT_EQ(0U, passes());
    after(2);
    EXPECT_EQ(1U, passes());
}

TEST_F(AamsTimerTaskTimes, Request506NeverPutsAPassOff) {
    start();
    after(2 * kMinute);
    for (int n = 0; n < 9; ++n) {
        engine.askText(n % 2 == 0 ? "506-0010-1!1!1!9" : "506-0010-2!1!1!9");
        after(20 * kSecond + 1);
    }
    EXPECT_EQ(4U, passes());
}

TEST_F(AamsTimerTaskTimes, TheAnswerToNotification2SchedulesThePassesAnew) {
    start();
    answer("002-0010-5!1!1!1");
    after(kMinute - 1);
    EXPECT_EQ(0U, passes());
    after(2);
    EXPECT_EQ(1U, passes());
    after(3 * kMinute + 1);  // the former period
    EXPECT_EQ(1U, passes());
    after(2 * kMinute);
    EXPECT_EQ(2U, passes());
    after(5 * kMinute + 1);
    EXPECT_EQ(3U, passes());
}

TEST_F(AamsTimerTaskTimes, AnAnswerToNotification2WithABadFieldSchedulesByTheValuesAsTheyStand) {
    start();
    answer("002-000C-5!x");
    EXPECT_EQ(1U, log.count({182,
                             "AAMS External parameters changed: tmp_app_collegati = 5, "
                             "invio_app_collegati = 1, invio_no_app_collegati = 1, "
                             "tmp_app_accensione = 2"}));
    after(2 * kMinute + 1);
    EXPECT_EQ(1U, passes());
    after(5 * kMinute - 1);
    EXPECT_EQ(1U, passes());
    after(2);
    EXPECT_EQ(2U, passes());
}

TEST_F(AamsTimerTaskTimes, AClockSetBackRunsBothTasksAtTheNextPass) {
    start();
    engine.clock.step(-60 * kMinute);
    const std::size_t before = engine.clock.readings();
    // After its sleep the timer finds out, and that everything is due a moment later.
    engine.clock.advance(1'000'000);
    ASSERT_TRUE(eventually([&] { return engine.clock.readings() > before + 5; }));
    expectOneOfEachAndTheNextPassInTime();
}

TEST_F(AamsTimerTaskTimes, AClockSetForwardRunsEachDueTaskOnce) {
    start();
    engine.clock.step(24 * 60 * kMinute);
    expectOneOfEachAndTheNextPassInTime();
}

TEST_F(AamsTimerTaskTimes, AFailingReportOfAPassIsLoggedAndThePassesGoOn) {
    start();
    after(2 * kMinute);  // the first pass, which is never reported
    ASSERT_EQ(1U, passes());
    engine.board.failWith("no room");
    after(3 * kMinute + 1);
    EXPECT_TRUE(log.waitFor({180, "A polling pass was not reported: no room"}));
    engine.board.failWith("");
    after(3 * kMinute + 1);
    EXPECT_EQ(3U, passes());
    EXPECT_EQ(std::vector<std::string>{kMac + "-00-4"}, engine.board.bodies(4));
}

TEST_F(AamsTimerTaskTimes, AStandardExceptionOfTheQuestionForTheDateIsLoggedAndItIsAskedAgain) {
    start();
    engine.board.failWith("no room");
    after(7200 * kSecond + 1);
    EXPECT_TRUE(log.waitFor({180, "TimerTask 'AamsNtpTimerTask' Uncaught Exception: no room"}));
    engine.board.failWith("");
    after(7200 * kSecond + 1);
    EXPECT_EQ(2U, questions());
}

}  // namespace
}  // namespace teskd::test
