// Notifications to the server and what its answers do, good and bad ones.

#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char kChanged[] = "AAMS External parameters changed";

// A daemon that polls nobody, and its server.
class Notification : public testing::Test {
  protected:
    void SetUp() override { gateway_.start(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    Gateway gateway_{0, Config().polling(30, 7)};
    Notifications notifications_{gateway_.server()};
};

TEST_F(Notification, TheStartAsksForClockAndParameters) {
    const Frame question = notifications_.take(2);
    notifications_.answer(question, 2, "-7!1!1!30");
    const Frame clock = notifications_.take(1);
    EXPECT_BYTES(bytes("00 00 00 15") + "001-0015-ffffffffff00", clock.body);
    EXPECT_BYTES(bytes("00 00 00 15") + "002-0015-ffffffffff00", question.body);
    for (const Frame& frame : {clock, question}) {
        EXPECT_BYTES(bytes("FF 81 02 FE  00 00 00 1A  FF FF FF FF FF 00") + std::string(20, '\0') +
                         bytes("00 00 00 00  00 00 00"),
                     frame.header.substr(0, 41));
    }
    EXPECT_EQ(3U, clock.identifierB + question.identifierB);
    EXPECT_NE(clock.identifierB, question.identifierB);
    notifications_.answer(clock, 4, "-");
    EXPECT_FALSE(notifications_.arrivesWithin(3, 300ms));
}

TEST_F(Notification, AnAnswerChangesTheParameters) {
    notifications_.answer(notifications_.take(2), 2, "-5!0!0!9");
    const auto line = gateway_.log().waitFor(kChanged);
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(182, line->priority);
    EXPECT_EQ(std::string(kChanged) +
                  ": tmp_app_collegati = 5, invio_app_collegati = 0, invio_no_app_collegati = 0, "
                  "tmp_app_accensione = 9",
              line->text);
    HostClient host = gateway_.host();
    EXPECT_THAT(ask(host, 505), HasSubstr("-00-5!0!0!9-"));
}

TEST_F(Notification, TheClockAnswerIsLoggedWhenItCannotBeApplied) {
    notifications_.answer(notifications_.take(1), 1, "-991231235959");
    const auto line = gateway_.log().waitFor("Unable to set date and time");
    ASSERT_TRUE(line.has_value()) << gateway_.log().dump();
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ("Unable to set date and time: ZqConfigException: Invalid year", line->text);
}

TEST_F(Notification, ForeignAnswersAreDroppedWhole) {
    const Frame question = notifications_.take(2);
    Frame foreign = question;
    foreign.identifierB += 1000;
    const std::string payload = aamsPayload(2, "-9!9!9!9");
    notifications_.reply(answerTo(foreign, payload));
    foreign.identifierA = 7;
    for (const char* length : {"00 00 00 00", "00 00 00 01", "FF FF FF FF", "00 01 00 00"}) {
        std::string datagram = answerTo(foreign, payload);
        datagram.replace(4, 4, bytes(length));
        notifications_.reply(datagram);
    }
    foreign.body = std::string(60000, 'x');
    notifications_.reply(foreign.encode());

    notifications_.answer(question, 2, "-5!0!0!9");
    ASSERT_TRUE(gateway_.log().waitFor(kChanged)) << gateway_.log().dump();
    EXPECT_EQ(1U, gateway_.log().count(kChanged));
    HostClient host = gateway_.host();
    EXPECT_THAT(ask(host, 505), HasSubstr("-00-5!0!0!9-"));
}

TEST_F(Notification, AnAnswerWithAnotherCodeIsReported) {
    notifications_.answer(notifications_.take(2), 7, "-5!0!0!9");
    EXPECT_TRUE(eventually([&] {
        return gateway_.daemon().standardError() == "Invalid request code id: 7\n";
    })) << gateway_.daemon().standardError();
    EXPECT_EQ(0U, gateway_.log().count(kChanged));
}

TEST_F(Notification, AnAnswerOfTheLargestSizeIsReadWhole) {
    const std::string zeros(65000, '0');
    notifications_.answer(notifications_.take(2), 2, "-" + zeros + "5!0!0!9");
    ASSERT_TRUE(gateway_.log().waitFor(kChanged));
    HostClient host = gateway_.host();
    EXPECT_THAT(ask(host, 505), HasSubstr("-00-5!0!0!9-"));
}

TEST(NotificationAtStart, TheClockIsAskedForAgainAndAgain) {
    Gateway gateway(0, Config().polling(30, 7).set("RICH_ORA", "TOUT_ORA", "1"));
    gateway.start();
    Notifications notifications(gateway.server());
    notifications.answer(notifications.take(2), 4, "-");
    std::uint32_t last = 0;
    std::chrono::steady_clock::time_point first;
    for (int i = 0; i < 4; ++i) {
        const Frame question = notifications.take(1);
        if (i == 0) first = std::chrono::steady_clock::now();
        EXPECT_GT(question.identifierB, last);
        last = question.identifierB;
        notifications.answer(question, 4, "-");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - first, 1500ms);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(NotificationAtStart, NewSoftwareIsAnnouncedOnce) {
    Gateway gateway(0, Config().polling(30, 7).set("INTERNAL", "SW_UPDATE_B", "211231235959"));
    gateway.start();
    {
        Notifications notifications(gateway.server());
        const Frame announcement = notifications.take(3);
        EXPECT_THAT(aamsText(announcement.body),
                    MatchesRegex("003-0052-ffffffffff00-00-<unknown>-<unknown-211231235959-ZEPH "
                                 "WLT-3-9-[0-9]{12}"));
        notifications.answer(announcement, 3, "-");
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
    while (gateway.server().receiveWithin(0ms)) {
    }
    gateway.daemon().start();
    Notifications notifications(gateway.server());
    notifications.answer(notifications.take(2), 4, "-");
    notifications.answer(notifications.take(1), 4, "-");
    EXPECT_FALSE(notifications.arrivesWithin(3, 300ms));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// One machine that holds its first, bad reading back until it is told to give it.
class NotificationLater : public testing::Test {
  protected:
    void SetUp() override {
        gateway_.machine(1).answers().setCallback(113, [this](const tesksim::Message&) {
            release_.get_future().wait_for(8s);
            tesksim::Answer answer;
            answer.body = "10.5~20.5~0~-1.5~-2.5~-3";  // eight failed checks
            return answer;
        });
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }
    // Makes the machine's reading cause notifications.
    void giveReading() {
        ASSERT_TRUE(gateway_.machine(1).journal().waitForRequest(113));
        release_.set_value();
    }
    // Whatever was sent to the daemon before has had its effect when this returns.
    void awaitMark(Notifications& notifications) {
        notifications.answer(notifications.take(5), 2, "-99!1!1!30");
        ASSERT_TRUE(gateway_.log().waitFor("tmp_app_collegati = 99,")) << gateway_.log().dump();
    }

    std::promise<void> release_;
    Gateway gateway_{1};
};

TEST_F(NotificationLater, AnAnswerIsAppliedOnceHoweverOftenItComes) {
    gateway_.start();
    Notifications notifications(gateway_.server());
    const Frame question = notifications.take(2);
    for (int i = 0; i < 5; ++i) notifications.answer(question, 2, "-5!0!0!9");
    giveReading();
    awaitMark(notifications);
    EXPECT_EQ(2U, gateway_.log().count(kChanged)) << gateway_.log().dump();
    EXPECT_EQ(1U, gateway_.log().count("tmp_app_collegati = 5,"));
}

TEST_F(NotificationLater, AnAnswerWithoutABodyChangesNothing) {
    gateway_.start();
    Notifications notifications(gateway_.server());
    notifications.answer(notifications.take(2), 2, "");
    giveReading();
    awaitMark(notifications);
    EXPECT_EQ(1U, gateway_.log().count(kChanged));
}

// The first report goes out alone, the others together when it is answered.
TEST_F(NotificationLater, AnswersMayComeInAnyOrder) {
    gateway_.start();
    Notifications notifications(gateway_.server());
    notifications.answer(notifications.take(2), 4, "-");
    giveReading();
    // The machine's next answer comes when everything about the first was reported.
    HostClient host = gateway_.host();
    ASSERT_TRUE(gateway_.machine(1).journal().waitForAcknowledgements(1));
    host.request(5, named("\1", "ZA000000001", "\x76"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    notifications.answer(notifications.take(5), 4, "-");
    std::vector<Frame> reports;
    for (int i = 0; i < 7; ++i) reports.push_back(notifications.take(5));
    for (int i = 6; i >= 0; --i) {
        const std::string number = std::to_string(10 + i);
        notifications.answer(reports.at(static_cast<std::size_t>(i)), 2, "-" + number + "!1!1!30");
        EXPECT_TRUE(eventually([&] {
            return ask(host, 505).find("-" + number + "!1!1!30-") != std::string::npos;
        })) << number;
    }
    for (std::size_t i = 1; i < reports.size(); ++i) {
        EXPECT_EQ(reports[i - 1].identifierB + 1, reports[i].identifierB);
    }
}

TEST_F(NotificationLater, AServerThatComesLaterGetsWhatIsSentThen) {
    const std::uint16_t port = gateway_.server().port();
    gateway_.server() = UdpPeer();
    gateway_.start();
    ASSERT_TRUE(gateway_.machine(1).journal().waitForRequest(113));
    UdpPeer server(port);
    giveReading();
    Notifications notifications(server);
    const Frame first = notifications.take(5);
    EXPECT_THAT(aamsText(first.body), HasSubstr("-04-31-"));
    EXPECT_EQ(3U, first.identifierB);  // those before were refused
    notifications.answer(first, 5, "-");
    EXPECT_THAT(aamsText(notifications.take(5).body), HasSubstr("-04-32-"));
    EXPECT_EQ(0U, gateway_.log().count("Unandled")) << gateway_.log().dump();
}

class NotificationDamagedAnswer : public NotificationLater,
                                  public testing::WithParamInterface<const char*> {};

// It fails its notification, so a good answer is too late then; one that is too short to be
// anybody's fails none. What is sent later is answered.
TEST_P(NotificationDamagedAnswer, FailsAtMostItsOwnNotification) {
    gateway_.start();
    Notifications notifications(gateway_.server());
    const Frame question = notifications.take(2);
    std::string datagram = answerTo(question, aamsPayload(2, "-9!0!0!9"));
    const std::string damage = GetParam();
    if (damage == "empty") datagram.clear();
    if (damage == "short") datagram.resize(41);
    if (damage == "cut") datagram.resize(50);
    if (damage == "checksum") datagram.back() ^= 0x55;
    notifications.reply(datagram);

    giveReading();
    const Frame report = notifications.take(5);
    notifications.answer(question, 2, "-9!0!0!9");
    notifications.answer(report, 2, "-8!1!1!30");
    ASSERT_TRUE(gateway_.log().waitFor("tmp_app_collegati = 8,")) << gateway_.log().dump();
    const bool nobodys = damage == "empty" || damage == "short";
    EXPECT_EQ(nobodys ? 2U : 1U, gateway_.log().count(kChanged)) << gateway_.log().dump();
}

INSTANTIATE_TEST_SUITE_P(NotificationLater, NotificationDamagedAnswer,
                         testing::Values("empty", "short", "cut", "checksum"),
                         [](const auto& test) { return std::string(test.param); });

TEST(NotificationToAServer, ThatCannotBeReachedIsLoggedAndHarmsNothingElse) {
    Config config;
    config.set("IP_ADDRESS", "IP_SERVER", "*");
    Gateway gateway(1, config);
    gateway.startKnown();
    const auto line = gateway.log().waitFor("Cannot reach the notification server");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    HostClient host = gateway.host();
    EXPECT_THAT(ask(host, 505), HasSubstr("505-"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
