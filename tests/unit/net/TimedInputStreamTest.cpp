#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "net/SocketInputStream.h"
#include "net/TimedInputStream.h"
#include "support/Listener.h"
#include "support_src/BlockedCall.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kTimeout =
    "IOException: ReadTimeoutException: SocketTimeoutException: "
    "void SocketInputStream::wait_for_data()";

TEST(TimedInputStream, ShowsTheBudgetAsItWasSet) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    EXPECT_EQ(0, input.getTimeout());
    input.setTimeout(5000);
    input.read();
    EXPECT_EQ(5000, input.getTimeout());
}

TEST(TimedInputStream, GivesEachReadWhatIsLeftOfTheBudget) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    input.setTimeout(60'000);
    input.read();
    std::this_thread::sleep_for(20ms);
    char buffer[2];
    input.read(buffer, 2);
    ASSERT_EQ(2U, inner.timeouts.size());
    EXPECT_GE(60'000, inner.timeouts[0]);
    EXPECT_LE(inner.timeouts[1], inner.timeouts[0] - 20 + 1);
    EXPECT_LT(0, inner.timeouts[1]);
}

TEST(TimedInputStream, SkippingIsReading) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    input.setTimeout(60'000);
    EXPECT_EQ(2, input.skip(2));
    ASSERT_EQ(1U, inner.timeouts.size());
    EXPECT_GE(60'000, inner.timeouts[0]);
    EXPECT_LT(0, inner.timeouts[0]);
    EXPECT_EQ('c', input.read());
}

TEST(TimedInputStream, AUsedUpBudgetAsksNobody) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    input.setTimeout(1);
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(kTimeout, messageOf<SocketTimeoutException>([&] { input.read(); }));
    char byte = 0;
    EXPECT_EQ(kTimeout, messageOf<SocketTimeoutException>([&] { input.read(&byte, 1); }));
    EXPECT_EQ(kTimeout, messageOf<SocketTimeoutException>([&] { input.skip(1); }));
    EXPECT_TRUE(inner.requests.empty());
}

TEST(TimedInputStream, ANewBudgetStartsAnew) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    input.setTimeout(1);
    std::this_thread::sleep_for(5ms);
    input.setTimeout(10'000);
    EXPECT_EQ('a', input.read());
}

TEST(TimedInputStream, ABudgetOfZeroIsNoLimit) {
    ScriptedInputStream inner{"abc"};
    TimedInputStream input(inner);
    input.setTimeout(1);
    input.setTimeout(0);
    EXPECT_EQ(0, inner.getTimeout());
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ('a', input.read());
}

TEST(TimedInputStream, APeerThatDribblesIsGivenTheBudgetAndNoMore) {
    TcpPair pair;
    SocketInputStream socket(pair.client.fd());
    TimedInputStream input(socket);
    input.setTimeout(400);
    const auto start = std::chrono::steady_clock::now();
    BlockedCall read([&] {
        std::string answer(1'000'000, ' ');
        return messageOf<SocketTimeoutException>(
            [&] { input.readFully(answer.data(), 1'000'000); });
    });
    const Deadline deadline;
    while (!read.endsWithin(20ms) && !deadline.passed()) pair.server.sendAll("x");
    EXPECT_EQ(kTimeout, read.result());
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(400ms, waited);
    EXPECT_GE(5s, waited);
}

}  // namespace
}  // namespace teskd::test
