// The engine's thread: its start, its end, and requests 501 to 507.

#include <cerrno>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <utility>

#include "Engine.h"
#include "aams/Aams.h"
#include "core/Exception.h"
#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "support_src/AtThreadStart.h"
#include "support_src/FailingThreads.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordedDate.h"

namespace teskd::test {
namespace {

const std::string kGood = "100~200~1~100~200~0";
const std::string kGoodMessage = "113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";

std::string changed(const std::string& a, int b, int c, const std::string& d) {
    return "AAMS External parameters changed: tmp_app_collegati = " + a +
           ", invio_app_collegati = " + std::to_string(b) +
           ", invio_no_app_collegati = " + std::to_string(c) + ", tmp_app_accensione = " + d;
}

std::time_t localTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

TEST(AamsStart, AsksForTheParametersFirst) {
    Engine engine;
    engine.start();
    EXPECT_EQ(kMac, bodyOf(engine.board.frames()[0], 2));
}

TEST(AamsStart, IdentifiesItselfWhenTheSoftwareIsNew) {
    Engine engine;
    KeptConfig::set("[INTERNAL] SW_UPDATE_A", "200101");
    engine.start();
    ASSERT_TRUE(engine.board.waitFor(2));
    EXPECT_EQ(kMac, bodyOf(engine.board.frames()[0], 2));
    EXPECT_EQ(kMac + "-00-MODEL-1.2.3-210315-MAKER-3-9",
              withoutStamp(bodyOf(engine.board.frames()[1], 3)));
}

// A request whose answer cannot be made.
class Unanswerable : public AamsPacket {
  public:
    explicit Unanswerable(std::function<void()> problem) : problem_(std::move(problem)) {}
    void set_body(const std::string&) override { problem_(); }

  private:
    const std::function<void()> problem_;
};

class AamsFailure : public testing::Test {
  protected:
    AamsFailure() { engine.start(); }
    ~AamsFailure() noexcept override {}

    // How a request ends whose answer throws this.
    std::string outcomeOf(std::function<void()> problem) {
        RecordingListener listener;
        const PacketHandle<AamsPacket> request(new Unanswerable(std::move(problem)));
        const std::string frame = frameWith(payload("501-0008"));
        MemoryInputStream in(frame);
        request->read(in);
        request->addListener(&listener);
        request->offer_to_engine(engine.aams);
        EXPECT_TRUE(eventually([&] { return engine.aams.isEmpty(); }));
        request->removeListener(&listener);
        const std::vector<Outcome> outcomes = listener.outcomes();
        return outcomes.size() == 1 ? outcomes[0].kind + ": " + outcomes[0].message : "not one";
    }
    void expectService() { EXPECT_EQ(kMac + "-0B", bodyOf(engine.askText("502-0008"), 502)); }

    Engine engine{0};
    const LogRecorder log;
};

TEST_F(AamsFailure, OfAnAnswerForWantOfMemoryIsToldAndLoggedAndTheNextRequestIsServed) {
    EXPECT_EQ("error: std::bad_alloc", outcomeOf([] { throw std::bad_alloc(); }));
    EXPECT_EQ(1U, log.count({180, "A request has failed: std::bad_alloc"}));
    expectService();
}

TEST_F(AamsFailure, OfAnAnswerWithAReasonOfTheDaemonsOwnIsToldAndTheNextRequestIsServed) {
    EXPECT_EQ("error: why", outcomeOf([] { throw Exception("why"); }));
    expectService();
}

TEST(AamsStart, SaysNothingOfItselfWhenTheSoftwareIsTheSame) {
    Engine engine;
    engine.start();
    engine.askText("502-0008");  // a thread that serves has made its announcements
    EXPECT_EQ(1U, engine.board.frames().size());
}

TEST(AamsStart, NotificationsAreNumberedInTheirOrder) {
    Engine engine;
    KeptConfig::set("[INTERNAL] SW_UPDATE_A", "200101");
    engine.start();
    ASSERT_TRUE(engine.board.waitFor(2));
    const std::vector<Frame> frames = engine.board.frames();
    EXPECT_EQ(0U, frames[0].identifierA);
    EXPECT_EQ(0U, frames[1].identifierA);
    EXPECT_EQ(frames[0].identifierB + 1, frames[1].identifierB);
}

TEST(AamsStart, IsTriedAgainUntilTheTimerRuns) {
    const LogRecorder log;
    constexpr int kTimer = 2;  // behind the engine's own thread
    std::optional<FailingThreads> none;
    const AtThreadStart threads([&](int n) {
        if (n == kTimer) none.emplace(2);  // for each of its two tasks
    });
    Engine engine;
    engine.start();
    EXPECT_TRUE(engine.timer.isRunning());
    EXPECT_EQ(1U, log.count({180, "The engine cannot start yet: Its timer does not run"}));
}

TEST(AamsStart, IsTriedAgainUntilTheQuestionForTheParametersIsQueued) {
    const LogRecorder log;
    Engine engine;
    engine.board.failWith("no memory");
    engine.aams.start();
    EXPECT_TRUE(log.waitFor({180, "The engine cannot start yet: no memory"}));
    engine.board.failWith("");
    EXPECT_TRUE(engine.board.waitFor(1));
    EXPECT_EQ(kMac, bodyOf(engine.board.frames()[0], 2));
}

TEST(AamsStop, EndsAStartThatNeverSucceeds) {
    const LogRecorder log;
    Engine engine;
    engine.board.failWith("no memory");
    engine.aams.start();
    EXPECT_TRUE(log.waitFor({180, "The engine cannot start yet: no memory"}));
    engine.aams.stop();
    engine.aams.awaitEnd();
    EXPECT_TRUE(engine.board.frames().empty());
}

TEST(AamsStop, IsPromptWithAnEmptyQueue) {
    LogRecorder log;
    Engine engine;
    engine.start();
    engine.aams.stop();
    EXPECT_TRUE(log.waitFor({181, "Thread 'Aams' Terminated"}));
}

TEST(AamsStop, WhatComesLaterIsFailed) {
    Engine engine;
    engine.start();
    engine.aams.stop();
    engine.aams.awaitEnd();
    const Frame answer = engine.askText("501-0008");
    EXPECT_EQ(0xAB, answer.kind);
    EXPECT_EQ("error", engine.outcomes().at(0).kind);
}

TEST(AamsQueue, APacketOfAnotherClassIsOnlyTakenOut) {
    Engine engine;
    engine.start();
    RecordingListener listener;
    const PacketHandle<Packet> stranger(new Packet);
    stranger->addListener(&listener);
    engine.aams.addPacket(stranger.pointer());
    engine.askText("502-0008");
    EXPECT_TRUE(listener.outcomes().empty());
}

TEST(AamsQueue, RequestsAreAnsweredInTheirOrder) {
    Engine engine;
    RecordingListener listener;
    std::vector<PacketHandle<AamsPacket>> requests;
    for (int n = 0; n < 5; ++n) {
        requests.emplace_back(new AamsPacket);
        requests.back()->addListener(&listener);
        engine.aams.addPacket(requests.back().pointer());
    }
    testing::internal::CaptureStderr();  // they have no code
    engine.start();
    const bool answered = eventually([&] { return listener.outcomes().size() == 5; });
    testing::internal::GetCapturedStderr();
    ASSERT_TRUE(answered);
    for (std::size_t n = 0; n < 5; ++n) {
        EXPECT_EQ(requests[n].pointer(), listener.outcomes()[n].packet);
    }
}

TEST(Aams501, IdentifiesTheGateway) {
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("501-0008");
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(7U, answer.identifierA);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_EQ(kMac + "-00-MODEL-1.2.3-210315-MAKER-3-9", withoutStamp(bodyOf(answer, 501)));
    EXPECT_EQ("completed", engine.outcomes().at(0).kind);
}

TEST(Aams502, WithoutReadingsSaysSo) {
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("502-0008");
    EXPECT_BYTES(bytes("00 00 00 18") + "502-0018-001122AABBCC-0B", answer.body);
}

TEST(Aams502, ListsTheNewestReadingOfEveryMachine) {
    Engine engine(2);
    engine.start();
    engine.read(reading("50~200~1~50~200~0", "ZA000000002"));
    engine.read(reading(kGood));
    engine.read(reading(kGood, "ZA000000002"));
    const std::string body = withoutStamp(bodyOf(engine.askText("502-0008"), 502));
    const std::string second = "-113~0034~15.03.21~ZA000000002~00~100~200~1~100~200~0";
    ASSERT_TRUE(body.ends_with(second)) << body;
    const std::string first = withoutStamp(body.substr(0, body.size() - second.size()));
    EXPECT_EQ(kMac + "-00-1", withoutStamp(first.substr(0, first.find("-113~"))));
    EXPECT_TRUE(first.ends_with("-" + kGoodMessage)) << first;
}

TEST(Aams503, OfAnUnknownMachineSaysSo) {
    Engine engine;
    engine.start();
    EXPECT_BYTES(bytes("00 00 00 18") + "503-0018-001122AABBCC-0C",
                 engine.askText("503-0014-ZA000000001").body);
}

TEST(Aams503, ListsTheReadingsWithTheirContext) {
    Engine engine;
    engine.start();
    engine.read(reading(kGood), 3);
    engine.read(reading(kGood), 123);
    const std::string body = withoutStamp(bodyOf(engine.askText("503-0014-ZA000000001"), 503));
    const std::string message = "-" + kGoodMessage;
    ASSERT_TRUE(body.ends_with(message));
    const std::string second = withoutStamp(body.substr(0, body.size() - message.size()));
    ASSERT_TRUE(second.ends_with(message + "-03")) << second;
    EXPECT_EQ(kMac + "-00-123", withoutStamp(second.substr(0, second.size() - message.size() - 3)));
}

TEST(Aams503, KeepsFiftyOfFiftyOneReadings) {
    Engine engine;
    engine.start();
    for (std::uint32_t n = 1; n <= 51; ++n) engine.read(reading(kGood), n);
    const std::string body = bodyOf(engine.askText("503-0014-ZA000000001"), 503);
    std::size_t readings = 0;
    for (auto at = body.find("-113~"); at != body.npos; at = body.find("-113~", at + 1)) ++readings;
    EXPECT_EQ(50U, readings);
    EXPECT_TRUE(body.starts_with(kMac + "-00-51-")) << body;
    EXPECT_NE(body.npos, body.find("~0-02-"));
    EXPECT_EQ(body.npos, body.find("~0-01-"));
}

TEST(Aams504, OfAnUnknownMachineSaysSo) {
    Engine engine;
    engine.start();
    EXPECT_BYTES(bytes("00 00 00 18") + "504-0018-001122AABBCC-0C",
                 engine.askText("504-0014-ZA000000001").body);
}

TEST(Aams504, OfAGoodReadingSaysSo) {
    Engine engine;
    engine.start();
    engine.read(reading(kGood));
    EXPECT_BYTES(bytes("00 00 00 18") + "504-0018-001122AABBCC-0E",
                 engine.askText("504-0014-ZA000000001").body);
}

TEST(Aams504, OfASingleReadingHasEmptyTextsForTheOneBefore) {
    Engine engine;
    engine.start();
    engine.read(reading("100~200~1~100~200~-1"));
    const std::string body = withoutStamp(bodyOf(engine.askText("504-0014-ZA000000001"), 504));
    const std::string end = "-113~0035~15.03.21~ZA000000001~00~100~200~1~100~200~-1--";
    ASSERT_TRUE(body.ends_with(end)) << body;
    EXPECT_EQ(kMac + "-00-1-35", withoutStamp(body.substr(0, body.size() - end.size())));
}

TEST(Aams504, HasTheErrorsAndTheReadingBefore) {
    Engine engine;
    engine.start();
    engine.read(reading(kGood));
    engine.read(reading("50~200~1~50~200~-1"));
    const std::string body = withoutStamp(bodyOf(engine.askText("504-0014-ZA000000001"), 504));
    const std::string before = "-" + kGoodMessage;
    ASSERT_TRUE(body.ends_with(before)) << body;
    const std::string rest = withoutStamp(body.substr(0, body.size() - before.size()));
    const std::string newest = "-113~0033~15.03.21~ZA000000001~00~50~200~1~50~200~-1";
    ASSERT_TRUE(rest.ends_with(newest)) << rest;
    EXPECT_EQ(kMac + "-00-1-35-38", withoutStamp(rest.substr(0, rest.size() - newest.size())));
}

TEST(Aams505, ReturnsTheConfiguredParameters) {
    Engine engine;
    engine.start();
    EXPECT_EQ(kMac + "-00-3!1!1!2", withoutStamp(bodyOf(engine.askText("505-0008"), 505)));
}

TEST(Aams506, ChangesTheParametersAndAnswersWithNothing) {
    LogRecorder log;
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("506-0011-10!1!0!5");
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_BYTES("", answer.body);
    EXPECT_EQ(1U, log.count({182, changed("10", 1, 0, "5")}));
    EXPECT_EQ(kMac + "-00-10!1!0!5", withoutStamp(bodyOf(engine.askText("505-0008"), 505)));
}

struct BadChange {
    const char* text;
    const char* stored;
    std::string line;
};

TEST(Aams506, ABadFieldEndsTheChangeUnseen) {
    const BadChange cases[] = {
        {"506-0009-", "3!1!1!2", changed("3", 1, 1, "2")},
        {"506-0012-x!0!0!5", "3!1!1!2", changed("3", 1, 1, "2")},
        {"506-000D-10!x", "10!1!1!2", changed("10", 1, 1, "2")},
        {"506-000C-10!0", "10!0!1!2", changed("10", 0, 1, "2")},
        {"506-0011-10!0!x!5", "10!0!1!2", changed("10", 0, 1, "2")},
        {"506-000E-10!0!0", "10!0!0!2", changed("10", 0, 0, "2")},
        {"506-001A-10!0!0!2147483647", "10!0!0!2", changed("10", 0, 0, "2")},
        {"506-001B-10!0!0!-2147483648", "10!0!0!2", changed("10", 0, 0, "2")},
    };
    for (const BadChange& bad : cases) {
        LogRecorder log;
        Engine engine;
        engine.start();
        const Frame answer = engine.askText(bad.text);
        EXPECT_EQ(0x81, answer.kind) << bad.text;
        EXPECT_BYTES("", answer.body) << bad.text;
        EXPECT_EQ(1U, log.count({182, bad.line})) << bad.text;
        EXPECT_EQ(kMac + "-00-" + bad.stored, withoutStamp(bodyOf(engine.askText("505-0008"), 505)))
            << bad.text;
    }
}

TEST(Aams506, AChangeIsLoggedBehindAnyNumberOfBadOnes) {
    const LogRecorder log;
    Engine engine;
    engine.start();
    for (int n = 0; n < 20; ++n) engine.askText("506-000C-nons");
    engine.askText("506-000D-77!x");
    EXPECT_EQ(1U, log.count({182, changed("77", 1, 1, "2")}));
}

TEST(Aams506, NeverWritesTheConfiguration) {
    Engine engine;
    engine.start();
    engine.askText("506-0011-10!0!0!5");
    EXPECT_EQ("3", getConfig().at("[AAMS] TMP_APP_COLLEGATI"));
    EXPECT_EQ("1", getConfig().at("[AAMS] INVIO_APP_COLLEGATI"));
}

TEST(Aams507, SetsTheDateAndAnswersWithNothing) {
    const RecordedDate date;
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("507-0015-260115134500");
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_BYTES("", answer.body);
    EXPECT_EQ(std::vector<std::time_t>{localTime(2026, 1, 15, 13, 45, 0)}, date.requests());
}

TEST(Aams507, WithoutThePrivilegeSaysSo) {
    LogRecorder log;
    RecordedDate date;
    date.failWith(EPERM);
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("507-0015-260115134500");
    EXPECT_BYTES(bytes("00 00 00 18") + "507-0018-001122AABBCC-FF", answer.body);
    EXPECT_EQ(1U, log.count({180,
                             "Unable to set date and time: ZqConfigException: "
                             "Operation not permitted"}));
}

TEST(Aams507, AYearOfTheLastCenturyIsRefused) {
    LogRecorder log;
    const RecordedDate date;
    Engine engine;
    engine.start();
    const Frame answer = engine.askText("507-0015-990115134500");
    EXPECT_BYTES(bytes("00 00 00 18") + "507-0018-001122AABBCC-FF", answer.body);
    EXPECT_EQ(1U, log.count({180, "Unable to set date and time: ZqConfigException: Invalid year"}));
    EXPECT_TRUE(date.requests().empty());
}

TEST(Aams507, ATextThatIsNoDateDoesNothing) {
    for (const char* const text : {"507-0009-", "507-000E-today", "507-0015-xxxxxxxxxxxx"}) {
        const RecordedDate date;
        Engine engine;
        engine.start();
        EXPECT_BYTES("", engine.askText(text).body) << text;
        EXPECT_TRUE(date.requests().empty()) << text;
    }
}

TEST(AamsAnyRequest, AnInvalidCodeIsReportedAndTheBodyStays) {
    for (const char* const code : {"500", "508", "000", "001", "999"}) {
        Engine engine;
        engine.start();
        testing::internal::CaptureStderr();
        const std::string request = payload(std::string(code) + "-000D-body");
        const Frame answer = engine.ask(request);
        const std::string number = std::to_string(std::stoi(code));
        EXPECT_EQ("Invalid request code id: " + number + "\n",
                  testing::internal::GetCapturedStderr());
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_BYTES(request, answer.body);
        EXPECT_EQ("completed", engine.outcomes().at(0).kind);
    }
}

TEST(AamsAnyRequest, WithoutTheBodyItNeedsIsFailedAndTheNextIsServed) {
    for (const char* const code : {"503", "504", "506", "507"}) {
        LogRecorder log;
        const RecordedDate date;
        Engine engine;
        engine.start();
        const Frame answer = engine.askText(std::string(code) + "-0008");
        EXPECT_EQ(0xAB, answer.kind) << code;
        EXPECT_BYTES("", answer.body) << code;
        EXPECT_EQ("error", engine.outcomes().at(0).kind) << code;
        for (const LogEntry& line : log.lines()) EXPECT_EQ(183, line.priority) << line;
        EXPECT_EQ(kMac + "-0B", bodyOf(engine.askText("502-0008"), 502)) << code;
    }
}

TEST(AamsAnyRequest, GarbageIsAnInvalidCodeAndTheNextIsServed) {
    Engine engine;
    engine.start();
    for (const std::string& garbage :
         {std::string(), std::string("\x01"), std::string(4, '\0'), std::string(500, '\xFF')}) {
        testing::internal::CaptureStderr();
        const Frame answer = engine.ask(garbage);
        EXPECT_EQ("Invalid request code id: 0\n", testing::internal::GetCapturedStderr());
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_BYTES(garbage, answer.body);
    }
    EXPECT_EQ(kMac + "-0B", bodyOf(engine.askText("502-0008"), 502));
}

TEST(AamsAnyRequest, ACodeOfAnyNumberIsReportedAsItReads) {
    Engine engine;
    engine.start();
    testing::internal::CaptureStderr();
    engine.askText("-99999999999-0008");
    EXPECT_EQ("Invalid request code id: -2147483648\n", testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace teskd::test
