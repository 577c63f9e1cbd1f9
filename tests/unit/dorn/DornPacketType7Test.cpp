// The version of the software.

#include <gtest/gtest.h>
#include <string>

#include "HostLink.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

// The body of the answer when this is the configured version.
std::string answerFor(const std::string& version) {
    const KeptConfig config;
    KeptConfig::set("[INTERNAL] ZQ_SW_VERSION", version);
    HostLink link;
    link.host().request(7, "ignored", 7, 8);
    const Frame answer = link.host().readFrame();
    EXPECT_BYTES(bytes("FF 81 02 07  00 00 00 1F"), answer.header.substr(0, 8));
    EXPECT_EQ(7U, answer.identifierA);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_TRUE(answer.checksumOk);
    return answer.body;
}

TEST(DornPacketType7Test, TheVersionIsFilledWithZeroBytes) {
    EXPECT_BYTES("1.2.3" + std::string(25, '\0'), answerFor("1.2.3"));
}

TEST(DornPacketType7Test, AnEmptyVersionIsThirtyZeroBytes) {
    EXPECT_BYTES(std::string(30, '\0'), answerFor(""));
}

TEST(DornPacketType7Test, ALongVersionIsCut) {
    EXPECT_BYTES("123456789012345678901234567890", answerFor("123456789012345678901234567890"));
    EXPECT_BYTES("123456789012345678901234567890", answerFor("1234567890123456789012345678901"));
}

TEST(DornPacketType7Test, TheVersionIsNoFormat) {
    EXPECT_BYTES("%s%n" + std::string(26, '\0'), answerFor("%s%n"));
}

}  // namespace
}  // namespace teskd::test
