// What the log tells of a machine: that it answers, that it does not, and that it does again.

#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>

#include "MasterFixture.h"

namespace teskd::test {
namespace {

class TeskMasterLog : public MasterFixture {
  protected:
    const LogEntry answers{181, "'ZA000000001' on serial port 1 answers"};
    // The line about a request that timed out.
    static LogEntry unanswered(const std::string& request) {
        return {180, "'ZA000000001' has not answered " + request + " within " +
                         std::to_string(kShortTime) + " ms"};
    }

    const LogEntry answersAgain{181, "'ZA000000001' on serial port 1 answers again"};
};

TEST_F(TeskMasterLog, TellsTheFirstAnswerOfAMachineOnce) {
    EXPECT_EQ("completed", ask(113));
    EXPECT_EQ("completed", ask(114));
    EXPECT_EQ(1U, log.count(answers));
    EXPECT_EQ(0U, log.count(answersAgain));
}

TEST_F(TeskMasterLog, TellsWhatAMachineHasNotAnsweredAndHowLongOnceUntilItAnswersAgain) {
    for (int silence = 1; silence <= 2; ++silence) {
        timeOut(114);
        timeOut(114);
        EXPECT_EQ(static_cast<std::size_t>(silence), log.count(unanswered("request 114")));
        EXPECT_EQ("completed", ask(113));
        EXPECT_EQ("completed", ask(113));
        EXPECT_EQ(static_cast<std::size_t>(silence), log.count(answersAgain));
    }
}

TEST_F(TeskMasterLog, TellsThatAHostsTextWithoutAKnownIdIsNotAnswered) {
    const Request request(0, kShortTime);
    request.packet()->set_raw();
    request.packet()->set_body("HELLO");
    send(request);
    EXPECT_EQ("failed", request.outcome());
    EXPECT_EQ(1U, log.count(unanswered("a text")));
}

TEST_F(TeskMasterLog, TellsThatAMachineAnswersAgainBehindAFailureOfItsLink) {
    machine().setFaults({.closeAfter = 5}, 1);
    EXPECT_THAT(ask(113), testing::StartsWith("error: "));
    awaitEndOfRun();
    EXPECT_EQ("completed", ask(113));
    EXPECT_EQ(1U, log.count(answersAgain));
}

TEST_F(TeskMasterLog, IsNotFilledByAMachineThatFailsEverySecondRequest) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        constexpr std::uint32_t kVeryShortTime = 20;
        machine().setFaults({.silent = true});
        ask(114, kVeryShortTime);
        machine().clearFaults();
        ask(113);
    }
    const auto seconds =
        std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    const std::vector<LogEntry> lines = log.lines();
    const auto told = std::count_if(lines.begin(), lines.end(), [](const LogEntry& line) {
        return line.text.starts_with("'ZA000000001' ");
    });
    EXPECT_LE(told, 8 * (seconds.count() + 1));
}

}  // namespace
}  // namespace teskd::test
