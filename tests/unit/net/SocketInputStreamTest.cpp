#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>

#include "core/Event.h"
#include "net/SocketInputStream.h"
#include "support/Bytes.h"
#include "support/Listener.h"
#include "support_src/BlockedCall.h"
#include "support_src/LimitedDescriptors.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kPrefix = "IOException: SocketException: ";
const std::string kTimeout =
    "IOException: ReadTimeoutException: SocketTimeoutException: "
    "void SocketInputStream::wait_for_data()";

class SocketInputStreamTest : public testing::Test {
  protected:
    SocketInputStreamTest() { ::fcntl(pair.client.fd(), F_SETFL, 0); }  // as sockets are

    // What read(buffer, len) yields: the bytes, or its result when that is not a count.
    std::string readBlock(int len) {
        std::string buffer(static_cast<std::size_t>(len), '?');
        const int n = input.read(buffer.data(), len);
        return n < 1 ? std::to_string(n) : buffer.substr(0, static_cast<std::size_t>(n));
    }
    void awaitBytes(unsigned count) {
        ASSERT_TRUE(eventually([&] { return input.available() == count; }));
    }

    TcpPair pair;
    Connection& peer = pair.server;
    SocketInputStream input{pair.client.fd()};
};

TEST_F(SocketInputStreamTest, ReadsABytesAsANumberFromZeroTo255) {
    peer.sendAll(bytes("00 7F 80 FF"));
    EXPECT_EQ(0, input.read());
    EXPECT_EQ(127, input.read());
    EXPECT_EQ(128, input.read());
    EXPECT_EQ(255, input.read());
}

TEST_F(SocketInputStreamTest, ReadsABlockOfWhatIsThere) {
    peer.sendAll("abcdef");
    awaitBytes(6);
    EXPECT_EQ("abcd", readBlock(4));
    EXPECT_EQ("ef", readBlock(4));
}

TEST_F(SocketInputStreamTest, ReadingNothingTakesNothing) {
    peer.sendAll("a");
    char byte = 0;
    EXPECT_EQ(0, input.read(&byte, 0));
    EXPECT_EQ('a', input.read());
}

TEST_F(SocketInputStreamTest, TheEndOfTheStreamIsMinusOne) {
    peer.sendAll("a");
    peer.close();
    EXPECT_EQ('a', input.read());
    EXPECT_EQ(-1, input.read());
    EXPECT_EQ("-1", readBlock(4));
    EXPECT_EQ(-1, input.skip(4));
    input.setTimeout(10'000);
    EXPECT_EQ(-1, input.read());
}

TEST_F(SocketInputStreamTest, AvailableCountsWhatHasArrived) {
    EXPECT_EQ(0U, input.available());
    peer.sendAll("abc");
    awaitBytes(3);
    input.read();
    EXPECT_EQ(2U, input.available());
}

TEST_F(SocketInputStreamTest, FortyTwoBytesAreGatheredOverManyReads) {
    BlockedCall read([&] {
        std::string gathered(42, '?');
        return std::to_string(input.readFully(gathered.data(), 42)) + " " + gathered;
    });
    const std::string sent = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEF";
    for (const char byte : sent.substr(0, 41)) {
        peer.sendAll(std::string(1, byte));
        ASSERT_TRUE(eventually([&] { return input.available() == 0; }));
        EXPECT_FALSE(read.ended());
    }
    peer.sendAll("F!");
    EXPECT_EQ("42 " + sent, read.result());
    EXPECT_EQ('!', input.read());
}

TEST_F(SocketInputStreamTest, FortyTwoBytesOfWhichThePeerSendsFewerAreFewer) {
    peer.sendAll("abc");
    peer.close();
    std::string gathered(42, '?');
    EXPECT_EQ(3, input.readFully(gathered.data(), 42));
    EXPECT_EQ("abc", gathered.substr(0, 3));
}

TEST_F(SocketInputStreamTest, SkipDropsWhatIsThere) {
    peer.sendAll("abcd");
    awaitBytes(4);
    EXPECT_EQ(3, input.skip(3));
    EXPECT_EQ('d', input.read());
    peer.sendAll("ef");
    awaitBytes(2);
    EXPECT_EQ(2, input.skip(100));
}

TEST_F(SocketInputStreamTest, ASilentPeerIsGivenTheTimeoutAndNoMore) {
    input.setTimeout(500);
    EXPECT_EQ(500, input.getTimeout());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kTimeout, messageOf<SocketTimeoutException>([&] { input.read(); }));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(500ms, waited);
    EXPECT_GE(5s, waited);
    EXPECT_EQ(kTimeout, messageOf<SocketTimeoutException>([&] { readBlock(4); }));
}

TEST_F(SocketInputStreamTest, NothingIsLostByATimeout) {
    input.setTimeout(20);
    EXPECT_THROW(input.read(), ReadTimeoutException);
    peer.sendAll("a");
    input.setTimeout(10'000);
    EXPECT_EQ('a', input.read());
}

TEST_F(SocketInputStreamTest, WithoutATimeoutItWaitsForData) {
    EXPECT_EQ(0, input.getTimeout());
    BlockedCall read([&] { return std::to_string(input.read()); });
    EXPECT_FALSE(read.endsWithin(200ms));
    peer.sendAll("a");
    EXPECT_EQ("97", read.result());
}

TEST_F(SocketInputStreamTest, AResetConnectionIsAnError) {
    peer.reset();
    EXPECT_EQ(kPrefix + "virtual int SocketInputStream::read()Connection reset by peer",
              messageOf<SocketException>([&] { input.read(); }));
}

TEST_F(SocketInputStreamTest, AResetConnectionIsAnErrorOfABlockRead) {
    peer.reset();
    EXPECT_EQ(kPrefix + "virtual int SocketInputStream::read(char*, int)Connection reset by peer",
              messageOf<SocketException>([&] { readBlock(4); }));
}

TEST_F(SocketInputStreamTest, HasNoMark) {
    input.mark(1);
    EXPECT_FALSE(input.markSupported());
    EXPECT_EQ("IOException: MARK is not supported by this stream.",
              messageOf<IOException>([&] { input.reset(); }));
}

TEST_F(SocketInputStreamTest, ClosingItLeavesTheSocketsDescriptorOpen) {
    input.close();
    peer.sendAll("a");
    EXPECT_EQ("a", pair.client.readExactly(1));
}

TEST_F(SocketInputStreamTest, AClosedStreamFailsInEveryOperation) {
    input.close();
    const auto error = [](const char* signature) {
        return kPrefix + signature + "Bad file descriptor";
    };
    EXPECT_EQ(error("virtual void SocketInputStream::close()"),
              messageOf<SocketException>([&] { input.close(); }));
    EXPECT_EQ(error("virtual unsigned int SocketInputStream::available()"),
              messageOf<SocketException>([&] { input.available(); }));
    EXPECT_EQ(error("virtual int SocketInputStream::read()"),
              messageOf<SocketException>([&] { input.read(); }));
    EXPECT_EQ(error("virtual int SocketInputStream::read(char*, int)"),
              messageOf<SocketException>([&] { readBlock(1); }));
    EXPECT_EQ(error("virtual int SocketInputStream::read(char*, int)"),
              messageOf<SocketException>([&] { input.skip(1); }));
    input.setTimeout(10'000);
    EXPECT_EQ(error("void SocketInputStream::wait_for_data()"),
              messageOf<SocketException>([&] { input.read(); }));
}

TEST_F(SocketInputStreamTest, AClosedStreamCannotBeAssigned) {
    const SocketInputStream closed;
    EXPECT_EQ(kPrefix +
                  "SocketInputStream& SocketInputStream::operator=(const SocketInputStream&)"
                  "Bad file descriptor",
              messageOf<SocketException>([&] { input = closed; }));
}

TEST_F(SocketInputStreamTest, ACopyReadsTheSameConnectionWithTheSameTimeout) {
    input.setTimeout(30);
    SocketInputStream copy(input);
    input.close();
    EXPECT_EQ(30, copy.getTimeout());
    EXPECT_THROW(copy.read(), SocketTimeoutException);
    peer.sendAll("a");
    copy.setTimeout(10'000);
    EXPECT_EQ('a', copy.read());
}

TEST_F(SocketInputStreamTest, AssignmentTakesTheConnectionAndKeepsItsOwnTimeout) {
    TcpPair other;
    SocketInputStream source(other.client.fd());
    source.setTimeout(77);
    input.setTimeout(10'000);
    input = source;
    EXPECT_EQ(10'000, input.getTimeout());
    other.server.sendAll("a");
    EXPECT_EQ('a', input.read());
}

TEST_F(SocketInputStreamTest, AssignmentWithoutDescriptorsIsAnError) {
    SocketInputStream target;
    const LimitedDescriptors none(static_cast<rlim_t>(nextDescriptor()));
    EXPECT_EQ(kPrefix +
                  "SocketInputStream& SocketInputStream::operator=(const SocketInputStream&)"
                  "Too many open files",
              messageOf<SocketException>([&] { target = input; }));
}

TEST_F(SocketInputStreamTest, AStopEventEndsAWaitingRead) {
    Event stop;
    input.setInterrupt(&stop);
    BlockedCall read([&] { return messageOf<SocketException>([&] { input.read(); }); });
    EXPECT_FALSE(read.ended());
    stop.set();
    EXPECT_EQ(kPrefix + "void SocketInputStream::wait_for_data()Interrupted system call",
              read.result());
}

TEST_F(SocketInputStreamTest, AStopEventEndsAReadThatHasATimeout) {
    Event stop;
    input.setInterrupt(&stop);
    input.setTimeout(300'000);
    BlockedCall read([&] { return messageOf<SocketException>([&] { readBlock(4); }); });
    EXPECT_FALSE(read.ended());
    stop.set();
    EXPECT_EQ(kPrefix + "void SocketInputStream::wait_for_data()Interrupted system call",
              read.result());
}

TEST_F(SocketInputStreamTest, AStopEventGoesBeforeDataAndIsOverWhenCleared) {
    Event stop;
    input.setInterrupt(&stop);
    peer.sendAll("a");
    awaitBytes(1);
    stop.set();
    EXPECT_THROW(input.read(), SocketException);
    stop.clear();
    EXPECT_EQ('a', input.read());
}

}  // namespace
}  // namespace teskd::test
