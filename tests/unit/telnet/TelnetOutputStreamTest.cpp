#include <gtest/gtest.h>
#include <semaphore>
#include <thread>
#include <vector>

#include "core/Exception.h"
#include "net/BufferedOutputStream.h"
#include "support/Bytes.h"
#include "support_src/BlockedCall.h"
#include "support_src/RecordedOutputStream.h"
#include "support_src/Thrown.h"
#include "telnet/TelnetOutputStream.h"

namespace teskd::test {
namespace {

class TelnetOutputStreamTest : public testing::Test {
  protected:
    RecordedOutputStream inner;
    TelnetOutputStream output{inner};
};

struct Sample {
    const char* written;
    const char* sent;
    int flushes;
};

const Sample kLineEnds[] = {
    {"41 42", "41 42", 0},
    {"41 0A", "41 0D 0A", 1},
    {"0D 42", "0D 0A 42", 1},
    {"0D 0A", "0D 0A", 1},
    {"0D 00", "0D 00", 0},
    {"0D", "0D", 0},
    {"0D 0D", "0D 0A 0D", 1},
    {"0D 0D 0A", "0D 0A 0D 0A", 2},
    {"0A 0A", "0D 0A 0D 0A", 2},
    {"0A 0D 0A", "0D 0A 0D 0A", 2},
    {"0D 00 0A", "0D 00 0D 0A", 1},
    {"0D FF", "0D 0A FF", 1},
    {"00", "00", 0},
    {"FF 41 FF FF", "FF 41 FF FF", 0},
};

TEST_F(TelnetOutputStreamTest, EndsLinesWithBothBytesAndFlushes) {
    for (const Sample& sample : kLineEnds) {
        RecordedOutputStream sent;
        TelnetOutputStream stream(sent);
        for (const char byte : bytes(sample.written)) stream.write(byte);
        EXPECT_BYTES(bytes(sample.sent), sent.bytes) << sample.written;
        EXPECT_EQ(sample.flushes, sent.flushes) << sample.written;
    }
}

// A server may make the gateway answer and never read the answers.
TEST_F(TelnetOutputStreamTest, CommandsThatNobodyFlushesLeaveBeforeTooManyOfThemWait) {
    BufferedOutputStream buffered(inner);
    TelnetOutputStream stream(buffered);
    for (int i = 0; i < 21'845; ++i) stream.optionWill(1);  // 65,535 bytes
    EXPECT_EQ(0, inner.flushes);
    stream.optionWill(1);
    EXPECT_EQ(1, inner.flushes);
    EXPECT_EQ(65'536U, inner.bytes.size());
}

TEST(TelnetOutputStreamData, IsWhateverHasTheCommandByteInPairsOnly) {
    for (const char* const data :
         {"", "41", "FF FF", "41 FF FF 42", "FF FF FF FF", "FF FF 41 FF FF"}) {
        EXPECT_TRUE(TelnetOutputStream::isData(bytes(data))) << data;
    }
    for (const char* const other :
         {"FF", "41 FF", "FF 41", "FF FF FF", "FF FA", "FF FF 41 FF", "FF 41 FF", "FF 41 FF FF"}) {
        EXPECT_FALSE(TelnetOutputStream::isData(bytes(other))) << other;
    }
}

TEST_F(TelnetOutputStreamTest, BlocksAndStringsFollowTheSameRule) {
    for (const Sample& sample : kLineEnds) {
        const std::string written = bytes(sample.written);
        RecordedOutputStream block;
        TelnetOutputStream(block).write(written.data(), written.size());
        EXPECT_BYTES(bytes(sample.sent), block.bytes) << sample.written;
        EXPECT_EQ(sample.flushes, block.flushes) << sample.written;
        RecordedOutputStream string;
        TelnetOutputStream(string).write(written);
        EXPECT_BYTES(bytes(sample.sent), string.bytes) << sample.written;
    }
}

TEST_F(TelnetOutputStreamTest, TheRuleHoldsOverBordersOfWrites) {
    for (const Sample& sample : kLineEnds) {
        const std::string written = bytes(sample.written);
        for (std::size_t at = 0; at <= written.size(); ++at) {
            RecordedOutputStream sent;
            TelnetOutputStream stream(sent);
            stream.write(written.substr(0, at));
            stream.write(written.substr(at));
            EXPECT_BYTES(bytes(sample.sent), sent.bytes) << sample.written << " at " << at;
        }
    }
}

TEST_F(TelnetOutputStreamTest, TheLineEndIsFlushedBehindItsBytes) {
    output.write("a\nb");
    EXPECT_EQ((std::vector<std::string>{"write a", "write \r", "write \n", "flush", "write b"}),
              inner.calls);
}

TEST_F(TelnetOutputStreamTest, ANumberIsItsLowEightBits) {
    output.write(256 + 'a');
    output.write(-1);
    EXPECT_BYTES(bytes("61 FF"), inner.bytes);
}

TEST_F(TelnetOutputStreamTest, SendsCommands) {
    output.optionWill(3);
    output.optionWont(1);
    output.optionDo(44);
    output.optionDont(0);
    EXPECT_BYTES(bytes("FF FB 03  FF FC 01  FF FD 2C  FF FE 00"), inner.bytes);
    EXPECT_EQ(0, inner.flushes);
}

TEST_F(TelnetOutputStreamTest, SendsSubnegotiations) {
    output.subnegotiation(44, bytes("01 00 00 25 80"));
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), inner.bytes);
}

TEST_F(TelnetOutputStreamTest, LineEndsInsideCommandsAreTreatedAsInData) {
    output.subnegotiation(44, bytes("02 0A"));
    EXPECT_BYTES(bytes("FF FA 2C 02 0D 0A FF F0"), inner.bytes);
    EXPECT_EQ(1, inner.flushes);
    inner.bytes.clear();
    output.subnegotiation(44, bytes("0D"));
    EXPECT_BYTES(bytes("FF FA 2C 0D 0A FF F0"), inner.bytes);
    inner.bytes.clear();
    output.optionWont(10);
    EXPECT_BYTES(bytes("FF FC 0D 0A"), inner.bytes);
    inner.bytes.clear();
    output.write(bytes("0D"));
    output.optionDo(44);
    EXPECT_BYTES(bytes("0D 0A FF FD 2C"), inner.bytes);
}

TEST_F(TelnetOutputStreamTest, IacInsideParametersIsDoubled) {
    output.subnegotiation(44, bytes("01 FF F0 FF"));
    EXPECT_BYTES(bytes("FF FA 2C 01 FF FF F0 FF FF FF F0"), inner.bytes);
}

TEST_F(TelnetOutputStreamTest, ForwardsFlushAndClose) {
    output.flush();
    output.close();
    EXPECT_EQ((std::vector<std::string>{"flush", "close"}), inner.calls);
}

TEST_F(TelnetOutputStreamTest, FlushesWithoutWaitingWhenNobodyUsesIt) {
    EXPECT_TRUE(output.flushAvailable());
    EXPECT_EQ(1, inner.flushes);
}

TEST_F(TelnetOutputStreamTest, AFlushWithoutWaitingWaitsForNoOtherThreadEither) {
    struct Slow : RecordedOutputStream {
        void flush() override { go.acquire(); }
        std::counting_semaphore<> go{0};
    } slow;
    TelnetOutputStream stream(slow);
    BlockedCall flush([&] {
        stream.flush();
        return std::string("flushed");
    });
    EXPECT_FALSE(flush.ended());
    BlockedCall attempt([&] { return std::string(stream.flushAvailable() ? "all" : "not all"); });
    EXPECT_TRUE(attempt.ended());
    slow.go.release(2);
    EXPECT_EQ("flushed", flush.result());
    EXPECT_EQ("not all", attempt.result());
}

TEST_F(TelnetOutputStreamTest, ErrorsPassUnchangedAndLeaveItUsable) {
    struct Failing : RecordedOutputStream {
        void flush() override { throw SocketException("gone"); }
    } failing;
    TelnetOutputStream stream(failing);
    const std::string error = "IOException: SocketException: gone";
    EXPECT_EQ(error, messageOf<SocketException>([&] { stream.flush(); }));
    EXPECT_EQ(error, messageOf<SocketException>([&] { stream.flushAvailable(); }));
    EXPECT_EQ(error, messageOf<SocketException>([&] { stream.write('\n'); }));
    std::thread([&] {
        EXPECT_EQ(error, messageOf<SocketException>([&] { stream.flushAvailable(); }));
    }).join();
}

// Two threads write commands while a third flushes; each command stays whole.
TEST_F(TelnetOutputStreamTest, EveryOperationIsWhole) {
    constexpr int kCommands = 2000;
    BufferedOutputStream buffered(inner);
    TelnetOutputStream stream(buffered);
    const auto repeat = [](auto operation) {
        return std::thread([operation] {
            for (int i = 0; i < kCommands; ++i) operation();
        });
    };
    std::thread threads[] = {repeat([&] { stream.subnegotiation(1, "abcd"); }),
                             repeat([&] { stream.write("efghi"); }),
                             repeat([&] { stream.flush(); })};
    for (std::thread& thread : threads) thread.join();
    stream.flush();

    const std::string command = bytes("FF FA 01") + "abcd" + bytes("FF F0");
    int commands = 0;
    int texts = 0;
    for (std::string left = inner.bytes; !left.empty();) {
        const bool isCommand = left.starts_with(command);
        ASSERT_TRUE(isCommand || left.starts_with("efghi")) << hex(left.substr(0, 20));
        ++(isCommand ? commands : texts);
        left.erase(0, isCommand ? command.size() : 5);
    }
    EXPECT_EQ(kCommands, commands);
    EXPECT_EQ(kCommands, texts);
}

}  // namespace
}  // namespace teskd::test
