// A notification server that sends nonsense as fast as it can.

#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "noise/Flood.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

class ServerNoise : public testing::Test {
  protected:
    void SetUp() override {
        gateway_.start();
        question_ = notifications_.take(2);
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    // Datagrams while the daemon waits for an answer, and after it gave up.
    void expectFew(const std::string& datagram) {
        const Flood flood(
            gateway_, [&] { notifications_.reply(datagram); }, 100);
        HostClient host = gateway_.host();
        host.request(7, "");
        EXPECT_EQ(7, host.readFrame().type);
        flood.expectFew();
    }

    Gateway gateway_{0, Config().polling(30, 30)};
    Notifications notifications_{gateway_.server()};
    Frame question_;
};

TEST_F(ServerNoise, DatagramsThatAreNoFramesLeaveFewLines) {
    expectFew(std::string(300, '\x5A'));
}

TEST_F(ServerNoise, EmptyDatagramsLeaveFewLines) {
    expectFew("");
}

TEST_F(ServerNoise, AnswersToNobodyLeaveFewLines) {
    Frame stranger = question_;
    stranger.identifierA = 0x12345678;
    expectFew(answerTo(stranger, aamsPayload(2, "-7!1!1!30")));
}

TEST_F(ServerNoise, AnswersWithAWrongChecksumLeaveFewLines) {
    std::string answer = answerTo(question_, aamsPayload(2, "-7!1!1!30"));
    answer.back() = static_cast<char>(answer.back() + 1);
    expectFew(answer);
}

TEST_F(ServerNoise, TheSameAnswerAgainAndAgainLeavesFewLines) {
    expectFew(answerTo(question_, aamsPayload(2, "-7!1!1!30")));
}

TEST_F(ServerNoise, AnswersWithCodesThatNobodyKnowsLeaveFewLines) {
    expectFew(answerTo(question_, aamsPayload(77, "-")));
}

}  // namespace
}  // namespace teskd::test
