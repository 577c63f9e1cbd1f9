#include <gtest/gtest.h>
#include <vector>

#include "core/LogSource.h"
#include "net/BufferedInputStream.h"
#include "support/Bytes.h"
#include "support_src/LogRecorder.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"
#include "telnet/RecordedOptions.h"
#include "telnet/TelnetInputStream.h"

namespace teskd::test {
namespace {

using Calls = std::vector<std::string>;
using Script = std::vector<ScriptedInputStream::Event>;

const std::string kNoMark =
    "IOException: This stream has not been marked or the mark has been invalidated.";

struct Received {
    explicit Received(Script script) : inner(std::move(script)) {}

    // Byte by byte up to the end of the stream, over time-outs.
    std::string readAll() {
        std::string data;
        for (;;) {
            try {
                const int byte = input.read();
                if (byte == -1) return data;
                data.push_back(static_cast<char>(byte));
            } catch (const SocketTimeoutException&) {
                ++timeouts;
            }
        }
    }
    // What one read of a block yields: the bytes, or its result when that is not a count.
    std::string readBlock(int len) {
        std::string block(static_cast<std::size_t>(len), '?');
        const int n = input.read(block.data(), len);
        return n < 1 ? std::to_string(n) : block.substr(0, static_cast<std::size_t>(n));
    }

    ScriptedInputStream inner;
    BufferedInputStream buffered{inner};
    RecordedOptions options;
    TelnetInputStream input{buffered, options, LogSource::unlimited()};
    int timeouts = 0;
};

struct Sample {
    std::string received;
    std::string data;
    Calls calls;
};

const std::vector<Sample> kSamples = {
    {"plain text", "plain text", {}},
    {bytes("FF FF"), bytes("FF"), {}},
    {bytes("61 FF FD 2C 62"), "ab", {"DO 44"}},
    {bytes("FF FB 03 FF FD 03 FF FB 01 FF FE 01 FF FD 00"),
     "",
     {"WILL 3", "DO 3", "WILL 1", "DONT 1", "DO 0"}},
    {bytes("FF FA 2C 64 FF F0"), "", {"SB 44: 64"}},
    {bytes("61 FF FA 2C 65 00 00 25 80 FF F0 62"), "ab", {"SB 44: 65 00 00 25 80"}},
    {bytes("FF FA 2C 6B F0 FF FF 01 FF F0"), "", {"SB 44: 6B F0 FF FF 01"}},
    {bytes("31 FF F1 32 FF F0 33 FF 41 34"), "1234", {}},
};

TEST(TelnetInputStream, SeparatesDataAndCommands) {
    for (const Sample& sample : kSamples) {
        Received received({sample.received});
        EXPECT_BYTES(sample.data, received.readAll());
        EXPECT_EQ(sample.calls, received.options.calls) << hex(sample.received);
    }
}

TEST(TelnetInputStream, APacketBorderAnywhereChangesNothing) {
    for (const Sample& sample : kSamples) {
        for (std::size_t at = 1; at < sample.received.size(); ++at) {
            Received received({sample.received.substr(0, at), Pause{}, sample.received.substr(at)});
            EXPECT_BYTES(sample.data, received.readAll()) << at;
            EXPECT_EQ(sample.calls, received.options.calls) << hex(sample.received) << " " << at;
        }
    }
}

TEST(TelnetInputStream, ATimeoutAnywhereChangesNothing) {
    for (const Sample& sample : kSamples) {
        for (std::size_t at = 1; at < sample.received.size(); ++at) {
            Received received(
                {sample.received.substr(0, at), TimeOut{}, sample.received.substr(at)});
            EXPECT_BYTES(sample.data, received.readAll()) << at;
            EXPECT_EQ(sample.calls, received.options.calls) << hex(sample.received) << " " << at;
            EXPECT_EQ(1, received.timeouts);
        }
    }
}

TEST(TelnetInputStream, SingleBytesChangeNothing) {
    for (const Sample& sample : kSamples) {
        Script script;
        for (const char byte : sample.received) {
            script.emplace_back(std::string(1, byte));
            script.emplace_back(Pause{});
        }
        Received received(script);
        EXPECT_BYTES(sample.data, received.readAll());
        EXPECT_EQ(sample.calls, received.options.calls) << hex(sample.received);
    }
}

TEST(TelnetInputStream, LogsWhatMakesNoSense) {
    const LogRecorder log;
    EXPECT_EQ("", Received({bytes("FF F0")}).readAll());
    EXPECT_EQ("", Received({bytes("FF 41")}).readAll());
    EXPECT_EQ((std::vector<LogEntry>{
                  {180, "Telnet 'IAC' 'SE' Character found without a 'IAC' 'SB' prior"},
                  {180, "Un-Escape 'Interpret as Command (IAC)' byte."}}),
              log.lines());
}

TEST(TelnetInputStream, TheEndIsMinusOneAlsoInTheMiddleOfACommand) {
    for (const char* const received : {"", "FF", "FF FD", "FF FA", "FF FA 2C", "FF FA 2C 64 FF"}) {
        Received end({bytes(received)});
        EXPECT_EQ(-1, end.input.read()) << received;
        EXPECT_EQ("-1", end.readBlock(4)) << received;
        EXPECT_EQ(Calls{}, end.options.calls) << received;
    }
}

TEST(TelnetInputStream, ABlockEndsWhereItIsFull) {
    Received received({"abcdef"});
    EXPECT_EQ("abcd", received.readBlock(4));
    EXPECT_EQ("ef", received.readBlock(4));
    EXPECT_EQ("-1", received.readBlock(4));
}

TEST(TelnetInputStream, ABlockEndsWhereNothingMoreHasArrived) {
    Received received({"ab", "cd", Pause{}, "ef"});
    EXPECT_EQ("abcd", received.readBlock(100));
    EXPECT_EQ("ef", received.readBlock(100));
}

TEST(TelnetInputStream, ABlockHasNoCommands) {
    Received received({bytes("61 FF FD 2C 62 FF FF FF F1 63")});
    EXPECT_BYTES(bytes("61 62 FF 63"), received.readBlock(100));
    EXPECT_EQ(Calls{"DO 44"}, received.options.calls);
}

TEST(TelnetInputStream, ABlockWaitsForItsFirstByteOverCommands) {
    Received received({bytes("FF FD 2C"), Pause{}, bytes("FF FB 03"), Pause{}, "ab"});
    EXPECT_EQ("ab", received.readBlock(100));
}

// The time-out stands for the wait that must not happen.
TEST(TelnetInputStream, ABlockDoesNotWaitBehindACommandThatFollowsItsData) {
    for (const char* const command :
         {"FF F1", "FF FD 2C", "FF FA 2C 6B 00 FF F0", "FF", "FF FD", "FF FA 2C 6B"}) {
        Received received({"ab" + bytes(command), TimeOut{}, "c"});
        EXPECT_EQ("ab", received.readBlock(100)) << command;
        EXPECT_THROW(received.readBlock(100), SocketTimeoutException) << command;
    }
}

TEST(TelnetInputStream, ErrorsPassUnchanged) {
    struct Failing : InputStream {
        int read() override { throw SocketException("gone"); }
        int read(char*, int) override { throw SocketException("gone"); }
    } inner;
    BufferedInputStream buffered(inner);
    RecordedOptions options;
    TelnetInputStream input(buffered, options, LogSource::unlimited());
    const std::string error = "IOException: SocketException: gone";
    char byte = 0;
    EXPECT_EQ(error, messageOf<SocketException>([&] { input.read(); }));
    EXPECT_EQ(error, messageOf<SocketException>([&] { input.read(&byte, 1); }));
}

TEST(TelnetInputStream, AnEmptyBlockReadsNothing) {
    Received received({"ab"});
    EXPECT_EQ("0", received.readBlock(0));
    EXPECT_EQ("ab", received.readBlock(2));
}

TEST(TelnetInputStream, SkipCountsDataOnly) {
    Received received({bytes("61 FF FD 2C 62 63 64")});
    EXPECT_EQ(3, received.input.skip(3));
    EXPECT_EQ('d', received.input.read());
    EXPECT_EQ(0, received.input.skip(3));
}

TEST(TelnetInputStream, ForwardsTimeouts) {
    Received received({"a"});
    received.input.setTimeout(500);
    EXPECT_EQ(500, received.inner.getTimeout());
    EXPECT_EQ(500, received.input.getTimeout());
}

TEST(TelnetInputStream, AvailableCountsRawBytes) {
    Received received({bytes("61 FF FD 2C")});
    EXPECT_EQ(4U, received.input.available());
    received.input.read();
    EXPECT_EQ(3U, received.input.available());
}

TEST(TelnetInputStreamMark, GivesTheByteSinceTheMarkBackOnce) {
    Received received({bytes("61 62 FF FD 2C 63")});
    EXPECT_TRUE(received.input.markSupported());
    EXPECT_EQ('a', received.input.read());
    received.input.mark(1);
    EXPECT_EQ('b', received.input.read());
    received.input.reset();
    EXPECT_EQ(4U + 1U, received.input.available());
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { received.input.reset(); }));
    EXPECT_EQ("bc", received.readAll());
}

TEST(TelnetInputStreamMark, TheByteComesAgainInABlockToo) {
    Received received({"abc"});
    received.input.mark(1);
    received.input.read();
    received.input.reset();
    EXPECT_EQ("abc", received.readBlock(10));
}

TEST(TelnetInputStreamMark, CommandsBeforeTheByteAreNotReportedAgain) {
    Received received({bytes("FF FD 2C 61")});
    received.input.mark(1);
    EXPECT_EQ('a', received.input.read());
    received.input.reset();
    EXPECT_EQ('a', received.input.read());
    EXPECT_EQ(Calls{"DO 44"}, received.options.calls);
}

TEST(TelnetInputStreamMark, WithoutAByteThereIsNothingToGiveBack) {
    Received received({TimeOut{}, "a"});
    received.input.mark(1);
    EXPECT_THROW(received.input.read(), SocketTimeoutException);
    received.input.reset();
    EXPECT_EQ("a", received.readAll());
}

TEST(TelnetInputStreamMark, ASecondByteEndsIt) {
    Received received({"abc"});
    received.input.mark(1);
    received.input.read();
    received.input.read();
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { received.input.reset(); }));
    EXPECT_EQ('c', received.input.read());
}

TEST(TelnetInputStreamMark, ABlockOfSeveralBytesEndsIt) {
    Received received({"abc"});
    received.input.mark(1);
    EXPECT_EQ("ab", received.readBlock(2));
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { received.input.reset(); }));
    EXPECT_EQ('c', received.input.read());
}

TEST(TelnetInputStreamMark, WithoutAMarkThereIsNoReset) {
    Received received({"a"});
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { received.input.reset(); }));
}

TEST(TelnetInputStreamTakeArrived, DropsDataThatHasArrivedAndHandlesCommands) {
    Received received({bytes("61 62 FF FD 2C 63"), Pause{}, "de"});
    EXPECT_EQ(0, received.input.skip(0));
    EXPECT_EQ("abc", received.input.takeArrived());
    EXPECT_EQ(Calls{"DO 44"}, received.options.calls);
    EXPECT_EQ("de", received.readAll());
}

TEST(TelnetInputStreamTakeArrived, DropsWhatTheBuffersHold) {
    Received received({"abc"});
    received.input.mark(1);
    received.input.read();
    received.input.reset();
    EXPECT_EQ("abc", received.input.takeArrived());
    EXPECT_EQ(0U, received.input.takeArrived().size());
    EXPECT_EQ(-1, received.input.read());
}

TEST(TelnetInputStreamTakeArrived, WaitsForNothing) {
    Received received({TimeOut{}, "a"});
    EXPECT_EQ(0U, received.input.takeArrived().size());
    EXPECT_THROW(received.input.read(), SocketTimeoutException);
}

TEST(TelnetInputStreamTakeArrived, TakesACommandThatHasHalfArrived) {
    Received received({"a" + bytes("FF FD"), Pause{}, bytes("2C") + "b"});
    EXPECT_EQ(1U, received.input.takeArrived().size());
    EXPECT_EQ("b", received.readAll());
    EXPECT_EQ(Calls{"DO 44"}, received.options.calls);
}

// What goes on arriving while it drops is left for the reader.
TEST(TelnetInputStreamTakeArrived, APeerThatNeverPausesDoesNotHoldIt) {
    struct Endless : InputStream {
        using InputStream::read;
        unsigned available() override { return 100; }
        int read() override { return 'x'; }
    } inner;
    BufferedInputStream buffered(inner, 1);
    RecordedOptions options;
    TelnetInputStream input(buffered, options, LogSource::unlimited());
    EXPECT_EQ(100U, input.takeArrived().size());
}

}  // namespace
}  // namespace teskd::test
