// What the server's answers to notifications do.

#include <cerrno>
#include <ctime>
#include <gtest/gtest.h>

#include "Engine.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordedDate.h"

namespace teskd::test {
namespace {

class AamsNotifyBackTest : public testing::Test {
  protected:
    AamsNotifyBackTest() { engine.start(); }
    ~AamsNotifyBackTest() noexcept override {}

    // An answer to the notification made at the start.
    void answer(const std::string& text) { engine.board.answer(0, payload(text)); }
    std::string parameters() {
        return withoutStamp(bodyOf(engine.askText("505-0008"), 505)).substr(kMac.size() + 4);
    }

    LogRecorder log;
    RecordedDate date;
    Engine engine;
};

TEST_F(AamsNotifyBackTest, OfCode2ChangesTheParametersAndLogsThem) {
    answer("002-0010-5!0!1!7");
    EXPECT_EQ("5!0!1!7", parameters());
    EXPECT_EQ(1U, log.count({182,
                             "AAMS External parameters changed: tmp_app_collegati = 5, "
                             "invio_app_collegati = 0, invio_no_app_collegati = 1, "
                             "tmp_app_accensione = 7"}));
}

TEST_F(AamsNotifyBackTest, OfCode2KeepsWhatStandsInFrontOfABadField) {
    answer("002-000C-5!0x");
    EXPECT_EQ("5!0!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, OfCode1SetsTheDate) {
    answer("001-0015-210704120000");
    ASSERT_EQ(1U, date.requests().size());
    std::tm parts{};
    const std::time_t asked = date.requests()[0];
    localtime_r(&asked, &parts);
    EXPECT_EQ(121, parts.tm_year);
    EXPECT_EQ(6, parts.tm_mon);
    EXPECT_EQ(4, parts.tm_mday);
    EXPECT_EQ(12, parts.tm_hour);
}

TEST_F(AamsNotifyBackTest, OfCode1WithoutThePrivilegeIsLogged) {
    date.failWith(EPERM);
    answer("001-0015-210704120000");
    EXPECT_EQ(1U, log.count({180,
                             "Unable to set date and time: ZqConfigException: "
                             "Operation not permitted"}));
    EXPECT_EQ(1U, engine.board.frames().size());  // and nobody is told
}

TEST_F(AamsNotifyBackTest, OfCodes3To5ChangesNothing) {
    for (const char* const code : {"003", "004", "005"}) {
        testing::internal::CaptureStderr();
        answer(std::string(code) + "-0010-5!0!1!7");
        EXPECT_EQ("", testing::internal::GetCapturedStderr()) << code;
    }
    EXPECT_EQ("3!1!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, OfAnotherCodeIsReported) {
    testing::internal::CaptureStderr();
    answer("007-0010-5!0!1!7");
    answer("000-0008");
    answer("506-0010-5!0!1!7");
    EXPECT_EQ(
        "Invalid request code id: 7\n"
        "Invalid request code id: 0\n"
        "Invalid request code id: 506\n",
        testing::internal::GetCapturedStderr());
    EXPECT_EQ("3!1!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, WithoutABodyAsksForNothing) {
    log.clear();
    for (const char* const text : {"001-0008", "002-0008"}) answer(text);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(date.requests().empty());
    EXPECT_EQ("3!1!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, OfNothingAtAllIsOfNoCode) {
    testing::internal::CaptureStderr();
    engine.board.answer(0, "");
    engine.board.answer(0, std::string(300, '\xFF'));
    EXPECT_EQ("Invalid request code id: 0\nInvalid request code id: 0\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(AamsNotifyBackTest, ToOneNotificationMayHaveTheCodeOfAnother) {
    answer("001-0015-210704120000");
    EXPECT_EQ(1U, date.requests().size());
    EXPECT_EQ("3!1!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, ThatDoesNotComeChangesNothing) {
    Aams::AamsNotifyBack listener(engine.aams);
    const PacketHandle<AamsPacket> notice(new AamsPacket);
    log.clear();
    notice->addListener(&listener);
    notice->notifyFailed();
    notice->notifyError(Exception("why"));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ("3!1!1!2", parameters());
}

TEST_F(AamsNotifyBackTest, OfAnotherClassIsIgnored) {
    Aams::AamsNotifyBack listener(engine.aams);
    const PacketHandle<Packet> stranger(new Packet);
    testing::internal::CaptureStderr();
    listener.packetCompleted(stranger.pointer());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace teskd::test
