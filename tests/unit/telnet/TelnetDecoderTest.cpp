#include <gtest/gtest.h>
#include <vector>

#include "core/LogSource.h"
#include "support/Bytes.h"
#include "support_src/LogRecorder.h"
#include "telnet/RecordedOptions.h"
#include "telnet/TelnetDecoder.h"

namespace teskd::test {
namespace {

using Calls = std::vector<std::string>;
using Lines = std::vector<LogEntry>;

const LogEntry kUnescaped{180, "Un-Escape 'Interpret as Command (IAC)' byte."};
const LogEntry kLoneEnd{180, "Telnet 'IAC' 'SE' Character found without a 'IAC' 'SB' prior"};

class TelnetDecoderTest : public testing::Test {
  protected:
    // The data in the bytes.
    std::string decode(const std::string& received) { return decode(decoder, received); }
    static std::string decode(TelnetDecoder& by, const std::string& received) {
        std::string data;
        for (const char byte : received) {
            const std::optional<int> yielded = by.feed(static_cast<unsigned char>(byte));
            if (yielded) data.push_back(static_cast<char>(*yielded));
        }
        return data;
    }

    LogRecorder log;
    RecordedOptions options;
    TelnetDecoder decoder{options, LogSource::unlimited()};
};

TEST_F(TelnetDecoderTest, BytesBelowIacAreData) {
    std::string all;
    for (int byte = 0; byte < 0xFF; ++byte) all.push_back(static_cast<char>(byte));
    EXPECT_BYTES(all, decode(all));
    EXPECT_EQ(Calls{}, options.calls);
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(TelnetDecoderTest, ADoubledIacIsOneDataByte) {
    EXPECT_BYTES(bytes("FF"), decode(bytes("FF FF")));
    EXPECT_BYTES(bytes("41 FF FF 42"), decode(bytes("41 FF FF FF FF 42")));
}

TEST_F(TelnetDecoderTest, CommandsWithAnOptionAreReportedAndNoData) {
    EXPECT_EQ("ab", decode(bytes("61 FF FB 03 FF FC 2C FF FD 00 FF FE FF 62")));
    EXPECT_EQ((Calls{"WILL 3", "WONT 44", "DO 0", "DONT 255"}), options.calls);
}

TEST_F(TelnetDecoderTest, CommandsWithoutAnOptionAreIgnored) {
    EXPECT_EQ("ab", decode(bytes("61 FF F1 FF F2 FF F3 FF F4 FF F5 FF F6 FF F7 FF F8 FF F9 62")));
    EXPECT_EQ(Calls{}, options.calls);
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(TelnetDecoderTest, AByteThatIsNoCommandIsDroppedWithAWarning) {
    EXPECT_EQ("", decode(bytes("FF 41")));
    EXPECT_EQ(Lines{kUnescaped}, log.lines());
    EXPECT_EQ("b", decode(bytes("FF 00 FF EF 62")));
    EXPECT_EQ((Lines{kUnescaped, kUnescaped, kUnescaped}), log.lines());
}

TEST_F(TelnetDecoderTest, AnEndWithoutABeginningIsDroppedWithAWarning) {
    EXPECT_EQ("a", decode(bytes("FF F0 61")));
    EXPECT_EQ(Lines{kLoneEnd}, log.lines());
    EXPECT_EQ(Calls{}, options.calls);
}

TEST_F(TelnetDecoderTest, ItsWarningsCountOnTheBudgetOfItsSource) {
    LogSource none(0);
    TelnetDecoder silent(options, none);
    EXPECT_EQ("ab", decode(silent, bytes("61 FF F0 FF 41 62")));
    EXPECT_EQ(Lines{}, log.lines());
    EXPECT_TRUE(none.hasUnreported());
}

TEST_F(TelnetDecoderTest, ASubnegotiationIsReportedWithItsParameters) {
    EXPECT_EQ("", decode(bytes("FF FA 2C 64 FF F0")));
    EXPECT_EQ(Calls{"SB 44: 64"}, options.calls);
    EXPECT_EQ("ab", decode(bytes("61 FF FA 18 00 41 42 FF F0 62")));
    EXPECT_EQ((Calls{"SB 44: 64", "SB 24: 00 41 42"}), options.calls);
}

TEST_F(TelnetDecoderTest, ASubnegotiationMayBeEmpty) {
    decode(bytes("FF FA 2C FF F0"));
    EXPECT_EQ(Calls{"SB 44: "}, options.calls);
}

TEST_F(TelnetDecoderTest, TheEndByteAloneIsAParameter) {
    decode(bytes("FF FA 2C F0 01 F0 FF F0"));
    EXPECT_EQ(Calls{"SB 44: F0 01 F0"}, options.calls);
}

TEST_F(TelnetDecoderTest, IacIsAParameterAndDoubledOnesAreKept) {
    decode(bytes("FF FA 2C FF 01 FF FF 02 FF F0"));
    EXPECT_EQ(Calls{"SB 44: FF 01 FF FF 02"}, options.calls);
}

// Only the byte in front of the end is looked at.
TEST_F(TelnetDecoderTest, ADoubledIacInFrontOfTheEndByteEndsItToo) {
    decode(bytes("FF FA 2C 01 FF FF F0"));
    EXPECT_EQ(Calls{"SB 44: 01 FF"}, options.calls);
}

TEST_F(TelnetDecoderTest, CommandsInsideASubnegotiationAreParameters) {
    decode(bytes("FF FA 2C FF FB 03 FF F0"));
    EXPECT_EQ(Calls{"SB 44: FF FB 03"}, options.calls);
}

TEST_F(TelnetDecoderTest, TheOptionOfASubnegotiationMayBeAnyByte) {
    decode(bytes("FF FA FF FF F0 FF FA F0 01 FF F0"));
    EXPECT_EQ((Calls{"SB 255: ", "SB 240: 01"}), options.calls);
}

// The IAC in front of the end is collected as well, as the 4095th byte.
TEST_F(TelnetDecoderTest, TheLongestSubnegotiationHas4094Parameters) {
    EXPECT_EQ("z", decode(bytes("FF FA 2C") + std::string(4094, 'x') + bytes("FF F0") + "z"));
    ASSERT_EQ(1U, options.calls.size());
    EXPECT_EQ(std::string("SB 44: ").size() + 4094 * 3 - 1, options.calls[0].size());
}

TEST_F(TelnetDecoderTest, ASubnegotiationIsAbandonedWithItsByteNumber4096) {
    EXPECT_EQ("", decode(bytes("FF FA 2C") + std::string(4095, 'x')));
    EXPECT_EQ("", decode("y"));
    EXPECT_EQ("z", decode("z"));
    EXPECT_EQ(Calls{}, options.calls);
}

TEST_F(TelnetDecoderTest, WhatFollowsAnAbandonedSubnegotiationIsReadAsUsual) {
    EXPECT_EQ("ab", decode(bytes("FF FA 2C") + std::string(4096, 'x') + "a" +
                           bytes("FF F0 FF FD 2C FF FA 2C 64 FF F0") + "b"));
    EXPECT_EQ((Calls{"DO 44", "SB 44: 64"}), options.calls);
    EXPECT_EQ(Lines{kLoneEnd}, log.lines());
}

TEST_F(TelnetDecoderTest, AnIacAsByteNumber4096LeavesTheEndByteAsData) {
    EXPECT_BYTES(bytes("F0"), decode(bytes("FF FA 2C") + std::string(4095, 'x') + bytes("FF F0")));
    EXPECT_EQ(Calls{}, options.calls);
}

}  // namespace
}  // namespace teskd::test
