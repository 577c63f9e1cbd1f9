// Bytes on a host connection that are no frame.

#include <chrono>
#include <gtest/gtest.h>
#include <string>

#include "HostLink.h"
#include "support/Bytes.h"
#include "support/OneOfAFew.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kNotice = 181;

LogEntry unknownType(const std::string& shown) {
    return {kNotice,
            "IOException: Dorn Got Junk on Input: " + shown + " does not match any packet type."};
}
const LogEntry kBadStart{kNotice, "ProtocolErrorException: Invalid Protocol Type Header"};

std::string frameOfType(int type) {
    return Frame{.type = static_cast<std::uint8_t>(type)}.encode();
}

// A header of a known type that does not start as frames do.
std::string badStart(std::size_t position = 1, char byte = '\x80') {
    std::string frame = frameOfType(7);
    frame[position] = byte;
    return frame;
}

class DornJunkTest : public testing::Test {
  protected:
    // Whether a request that comes now is answered.
    bool isServed() {
        link_.host().request(7, "", 0, 42);
        return link_.host().readFrame().identifierB == 42;
    }
    std::size_t notices() const {
        std::size_t count = 0;
        for (const LogEntry& entry : log_.lines()) count += entry.priority == kNotice ? 1U : 0U;
        return count;
    }
    // So many that come a second apart, the first of them at once.
    static std::size_t onceASecondSince(Clock::time_point start) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(Clock::now() - start);
        return 1U + static_cast<std::size_t>(seconds.count());
    }

    LogRecorder log_;
    HostLink link_;
};

TEST_F(DornJunkTest, AnUnknownTypeIsNamedInHexadecimal) {
    const std::pair<int, const char*> types[] = {
        {0x00, "0x0"}, {0x70, "0x70"}, {0x80, "0x80"}, {0xFD, "0xfd"}, {0xFF, "0xff"}};
    for (const auto& [type, shown] : types) {
        const auto host = link_.connect();
        host->sendRaw(frameOfType(type));
        EXPECT_TRUE(log_.waitFor(unknownType(shown))) << shown;
    }
}

TEST_F(DornJunkTest, AnUnknownTypeIsAnsweredWithNothing) {
    link_.host().sendRaw(frameOfType(0x70));
    EXPECT_TRUE(log_.waitFor(unknownType("0x70")));
    EXPECT_FALSE(link_.host().connection().readableWithin(200ms));
}

TEST_F(DornJunkTest, OtherStartBytesAreNoted) {
    for (const std::string& start : {badStart(), badStart(0, '\xFE'), badStart(1, '\xFE')}) {
        log_.clear();
        link_.host().sendRaw(start);
        EXPECT_TRUE(log_.waitFor(kBadStart));
        EXPECT_TRUE(isServed());
    }
}

TEST_F(DornJunkTest, WhileNothingArrivesTheSameJunkIsNotedOnceASecond) {
    const Clock::time_point start = Clock::now();
    link_.host().sendRaw(frameOfType(0x70));
    ASSERT_TRUE(eventually([this] { return log_.count(unknownType("0x70")) >= 3; }));
    EXPECT_GE(Clock::now() - start, 1900ms);
    const std::size_t noted = notices();  // more than three where this thread is late
    EXPECT_LE(noted, onceASecondSince(start));
}

TEST_F(DornJunkTest, NewBytesAreReadAndTheJunkIsDropped) {
    const Clock::time_point start = Clock::now();
    link_.host().sendRaw(frameOfType(0x70));
    ASSERT_TRUE(log_.waitFor(unknownType("0x70")));
    EXPECT_TRUE(isServed());
    const std::size_t noted = notices();
    EXPECT_LE(noted, onceASecondSince(start));
    EXPECT_FALSE(eventually([&] { return notices() > noted; }, 1200ms));
}

TEST_F(DornJunkTest, WhatWasHeldBehindTheJunkIsDroppedWithIt) {
    link_.host().sendRaw(frameOfType(0x70) + frameOfType(7));
    ASSERT_TRUE(log_.waitFor(unknownType("0x70")));
    EXPECT_TRUE(isServed());
    EXPECT_FALSE(link_.host().connection().readableWithin(100ms));
}

TEST_F(DornJunkTest, EveryNewJunkIsNoted) {
    link_.host().sendRaw(frameOfType(0x70));
    ASSERT_TRUE(log_.waitFor(unknownType("0x70")));
    link_.host().sendRaw(frameOfType(0x71));
    ASSERT_TRUE(log_.waitFor(unknownType("0x71")));
    link_.host().sendRaw(badStart());
    EXPECT_TRUE(log_.waitFor(kBadStart));
    EXPECT_TRUE(isServed());
}

TEST_F(DornJunkTest, ACloseBehindJunkIsNoticedWithinASecond) {
    for (const std::string& junk : {frameOfType(0x70), badStart(), frameOfType(0) + "more"}) {
        EXPECT_TRUE(oneOfAFew([&] {
            log_.clear();
            const auto host = link_.connect();
            host->sendRaw(junk);
            EXPECT_TRUE(eventually([this] { return notices() > 0; }));
            const Clock::time_point start = Clock::now();
            host->connection().shutdownWrite();
            EXPECT_EQ("", host->connection().readUntilClosed());
            const auto taken = Clock::now() - start;
            EXPECT_TRUE(log_.waitForText("Connection lost with remote peer: "));
            return taken <= 1s;
        }));
    }
}

TEST_F(DornJunkTest, FewerThan42BytesWaitForMoreWithoutANotice) {
    link_.host().sendRaw(std::string(41, 'x'));
    EXPECT_FALSE(link_.host().connection().readableWithin(100ms));
    EXPECT_EQ(0U, notices());
}

}  // namespace
}  // namespace teskd::test
