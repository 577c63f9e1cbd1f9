// Bytes from a host that are no frame.

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

void expectAnswer(HostClient& host) {
    host.request(7, "", 0, 4);
    EXPECT_EQ(4U, host.readFrame().identifierB);
}

class JunkType : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(JunkType, IsNamedInTheLogAndTheNextFrameIsAnswered) {
    const auto& [type, text] = GetParam();
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    host.sendRaw(bytes("FF 81 02") + bytes(type) + bytes("00 00 00 01") + std::string(35, '\0'));
    const auto line = gateway.log().waitFor("Dorn Got Junk");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(181, line->priority);
    EXPECT_EQ(text, line->text);
    expectAnswer(host);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

INSTANTIATE_TEST_SUITE_P(
    Junk, JunkType,
    testing::Values(
        std::pair{"00", "IOException: Dorn Got Junk on Input: 0x0 does not match any packet type."},
        std::pair{"70",
                  "IOException: Dorn Got Junk on Input: 0x70 does not match any packet type."},
        std::pair{"FD",
                  "IOException: Dorn Got Junk on Input: 0xfd does not match any packet type."}),
    [](const auto& test) { return std::string("Type") + test.param.first; });

TEST(Junk, BadStartBytesAreLoggedAndTheNextFrameIsAnswered) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    host.sendRaw(bytes("FE 81 02 07  00 00 00 01") + std::string(35, '\0'));
    const auto line = gateway.log().waitFor("Invalid Protocol Type Header");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(181, line->priority);
    EXPECT_EQ("ProtocolErrorException: Invalid Protocol Type Header", line->text);
    expectAnswer(host);

    host.sendRaw(bytes("FF FE 02 07  00 00 00 01") + std::string(35, '\0'));
    EXPECT_TRUE(gateway.log().waitForCount("Invalid Protocol Type Header", 2));
    expectAnswer(host);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Junk, ThatStaysIsLoggedOnceASecondWithoutABusyLoop) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    const double before = processorSeconds(gateway.daemon().pid());
    const auto start = Clock::now();
    host.sendRaw("GET / HTTP/1.1\r\nHost: a web browser that came to the wrong place\r\n\r\n");
    ASSERT_TRUE(gateway.log().waitForCount("Dorn Got Junk", 4));
    EXPECT_GE(Clock::now() - start, 2800ms);
    EXPECT_LT(processorSeconds(gateway.daemon().pid()) - before, 1.0);

    // The peer's close is noticed at once, not after more of the same, of which some may be on
    // their way.
    host.close();
    const std::size_t noted = gateway.log().count("Dorn Got Junk");
    EXPECT_TRUE(gateway.log().waitFor("Connection lost with remote peer"));
    EXPECT_GE(noted + 2, gateway.log().count("Dorn Got Junk"));
    EXPECT_TRUE(gateway.log().waitFor("Thread 'Dorn' Terminated"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Junk, InAFloodDoesNotFillTheLog) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    const auto start = Clock::now();
    for (int i = 0; i < 2000; ++i) host.sendRaw(std::string(50, static_cast<char>(i)));
    host.close();
    ASSERT_TRUE(gateway.log().waitFor("Connection lost with remote peer"));
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
    EXPECT_LE(gateway.log().lines().size(), 30U + 10U * static_cast<std::size_t>(seconds))
        << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
