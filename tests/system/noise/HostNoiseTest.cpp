// Hosts that send nonsense as fast as they can.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <vector>

#include "gateway/AamsDialogue.h"
#include "noise/Flood.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

// However many come, they log no more together than these.
constexpr std::size_t kManyConnections = 16;

Frame versionRequest() {
    return Frame{.type = 7};
}

// A frame again and again, so that a portion is worth its system call.
std::string times(std::size_t count, const std::string& bytes) {
    std::string many;
    for (; count > 0; --count) many += bytes;
    return many;
}

std::string withWrongChecksum() {
    std::string frame = versionRequest().encode();
    frame.back() = static_cast<char>(frame.back() + 1);
    return frame;
}

std::string withLength(std::uint32_t length) {
    return versionRequest().encode().replace(4, 4, big32(length)).substr(0, Frame::kHeaderSize);
}

std::string ofType(std::uint8_t type) {
    return Frame{.type = type}.encode();
}

class HostNoise : public testing::Test {
  protected:
    void SetUp() override { gateway_.start(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    // The daemon has read all that came before, and answers.
    static void expectAnswer(HostClient& host) {
        host.send(versionRequest());
        EXPECT_EQ(7, host.readFrame().type);
    }
    // One connection that sends this as long as the flood lasts, and is served afterwards.
    void expectBounded(const std::string& nonsense) {
        HostClient host = gateway_.host();
        const Flood flood(gateway_, [&] { host.sendRaw(nonsense); });
        host.close();
        HostClient other = gateway_.host();
        expectAnswer(other);
        EXPECT_TRUE(gateway_.log().waitFor("Thread 'Dorn' Terminated"));
        flood.expectBounded();
    }
    // AAMS requests with these bodies in turn, each of which is answered.
    void expectBoundedRequests(int code, const std::vector<std::string>& bodies) {
        HostClient host = gateway_.host();
        std::size_t sent = 0;
        const auto request = [&] {
            host.request(kAamsType, aamsPayload(code, bodies[sent++ % bodies.size()]));
            host.readFrame();
        };
        const Flood flood(gateway_, request, 50);
        EXPECT_TRUE(eventually([&] {
            request();
            return flood.saysLeftOut();
        }));
        flood.expectBounded(1, false);
    }
    // Connections that come, send this, and go. Each waits for its end, or the kernel would put
    // off those that the daemon has no time for.
    void expectBoundedConnections(const std::string& sent) {
        const auto comeAndGo = [&] {
            HostClient host = gateway_.host();
            if (!sent.empty()) host.sendRaw(sent);
            host.connection().shutdownWrite();
            EXPECT_TRUE(host.connection().closedByPeer());
        };
        const Flood flood(gateway_, comeAndGo, 200);
        HostClient other = gateway_.host();
        expectAnswer(other);
        flood.expectBounded(kManyConnections);
    }

    Gateway gateway_{0, Config().polling(30, 30)};
};

TEST_F(HostNoise, FramesOfUnknownTypesAreLoggedAFewTimesASecond) {
    expectBounded(times(20, ofType(9)));
}

TEST_F(HostNoise, BytesThatStartNoFrameAreLoggedAFewTimesASecond) {
    expectBounded(times(20, bytes("FE 81 02 07  00 00 00 01") + std::string(35, '\0')));
}

TEST_F(HostNoise, WrongChecksumsAreLoggedAFewTimesASecond) {
    expectBounded(times(20, withWrongChecksum()));
}

TEST_F(HostNoise, FramesWithoutLengthAreLoggedAFewTimesASecond) {
    expectBounded(times(20, withLength(0)));
}

TEST_F(HostNoise, FramesThatAreTooLongAreLoggedAFewTimesASecond) {
    expectBounded(times(20, withLength(0x7FFFFFFF)));
}

TEST_F(HostNoise, DatesThatCannotBeSetAreLoggedAFewTimesASecond) {
    expectBoundedRequests(507, {"-990101000000"});
}

TEST_F(HostNoise, ParametersThatCannotBeReadAreLoggedAFewTimesASecond) {
    expectBoundedRequests(506, {"-nonsense"});
}

TEST_F(HostNoise, ParametersThatAreSetAgainAreLoggedAFewTimesASecond) {
    expectBoundedRequests(506, {"-10!1!0!5"});
}

TEST_F(HostNoise, ParametersThatChangeAllTheTimeAreLoggedAFewTimesASecond) {
    expectBoundedRequests(506, {"-10!1!0!5", "-11!1!0!5"});
}

TEST_F(HostNoise, RequestCodesThatNobodyKnowsAreReportedAFewTimesASecond) {
    constexpr std::int64_t kLinesPerSecond = 8;
    const auto start = std::chrono::steady_clock::now();
    expectBoundedRequests(999, {""});
    const std::string reported = gateway_.daemon().standardError();
    const auto seconds =
        std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NE(std::string::npos, reported.find("Invalid request code id: 999"));
    EXPECT_LE(std::count(reported.begin(), reported.end(), '\n'), kLinesPerSecond * (seconds + 1));
}

TEST_F(HostNoise, ConnectionsThatComeAndGoAreLoggedAFewTimesASecond) {
    expectBoundedConnections("");
}

TEST_F(HostNoise, ConnectionsThatAreResetAreLoggedAFewTimesASecond) {
    const auto comeAndBreakOff = [&] {
        HostClient host = gateway_.host();
        expectAnswer(host);
        host.connection().reset();
    };
    const Flood flood(gateway_, comeAndBreakOff, 200);
    flood.expectBounded(kManyConnections, false);
}

TEST_F(HostNoise, ConnectionsThatEndInsideAFrameAreLoggedAFewTimesASecond) {
    expectBoundedConnections(versionRequest().encode().substr(0, 42));
}

TEST_F(HostNoise, ConnectionsThatBringAWrongChecksumAreLoggedAFewTimesASecond) {
    expectBoundedConnections(withWrongChecksum());
}

TEST_F(HostNoise, ConnectionsThatBringJunkAreLoggedAFewTimesASecond) {
    expectBoundedConnections(ofType(9));
}

// Each answer releases packets, with a debug line for each. What others have to say is logged
// beside them.
TEST_F(HostNoise, GoodRequestsLeaveAFewHundredDebugLinesASecond) {
    constexpr std::size_t kDebugLinesPerSecond = 200;
    constexpr int kTogether = 50;  // else the answers of a second are too few on a busy machine
    HostClient host = gateway_.host();
    const auto burst = [&host] {
        for (int i = 0; i < kTogether; ++i) host.send(versionRequest());
        for (int i = 0; i < kTogether; ++i) EXPECT_EQ(7, host.readFrame().type);
    };
    const Flood flood(gateway_, burst);
    host.sendRaw(withWrongChecksum());
    EXPECT_TRUE(gateway_.log().waitFor("Invalid Checksum"));
    EXPECT_TRUE(eventually([&] {
        burst();
        return gateway_.log().count("more debug lines were not logged") > 0;
    }));
    const auto count = gateway_.log().waitFor("more debug lines were not logged");
    ASSERT_TRUE(count.has_value());
    EXPECT_EQ(183, count->priority) << "a log without debug lines gets the count of them";
    const std::size_t logged = flood.lines(true) - flood.lines(false);
    std::cout << flood.portions() << " requests, " << logged << " debug lines\n";
    EXPECT_GT(logged, 0U);
    EXPECT_LE(logged, kDebugLinesPerSecond * flood.seconds());
}

}  // namespace
}  // namespace teskd::test
