#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <thread>

#include "core/Event.h"
#include "net/SendsNothing.h"
#include "net/SocketOutputStream.h"
#include "support/Bytes.h"
#include "support/Listener.h"
#include "support_src/BlockedCall.h"
#include "support_src/LimitedDescriptors.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kPrefix = "IOException: SocketException: ";
const std::string kWriteByte = "virtual void SocketOutputStream::write(int)";
const std::string kWriteBlock = "virtual void SocketOutputStream::write(const char*, size_t)";
const std::string kClosed =
    kPrefix + "SocketConnectionClosedException: SocketConnectionClosedException";

// More than the buffers of a connection hold.
std::string manyBytes() {
    std::string many(std::size_t{32} * 1024 * 1024, '\0');
    for (std::size_t i = 0; i < many.size(); ++i) many[i] = static_cast<char>(i % 251);
    return many;
}

class SocketOutputStreamTest : public testing::Test {
  protected:
    TcpPair pair;
    Connection& peer = pair.server;
    SocketOutputStream output{pair.client.fd()};
};

TEST_F(SocketOutputStreamTest, WritesTheLowEightBitsOfANumber) {
    for (const int number : {0, 127, 255, 256 + 65, -1}) output.write(number);
    EXPECT_BYTES(bytes("00 7F FF 41 FF"), peer.readExactly(5));
}

TEST_F(SocketOutputStreamTest, WritesBlocksAndStringsAtOnce) {
    output.write("abc", 3);
    EXPECT_EQ("abc", peer.readExactly(3));
    output.write(bytes("00 0A FF"));
    EXPECT_BYTES(bytes("00 0A FF"), peer.readExactly(3));
    output.flush();
    output.write("", 0);
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SocketOutputStreamTest, WritesAllBytesOverAsManyCallsAsTheyNeed) {
    const std::string many = manyBytes();
    BlockedCall write([&] {
        output.write(many);
        return std::string("written");
    });
    EXPECT_FALSE(write.ended());
    EXPECT_TRUE(many == peer.readExactly(many.size()));
    EXPECT_EQ("written", write.result());
}

TEST_F(SocketOutputStreamTest, APeerThatHasGoneIsAClosedConnection) {
    peer.reset();
    ASSERT_TRUE(pair.client.closedByPeer());  // takes the error of the reset
    EXPECT_EQ(kClosed, messageOf<SocketConnectionClosedException>([&] { output.write('a'); }));
    EXPECT_EQ(kClosed, messageOf<SocketConnectionClosedException>([&] { output.write("abc"); }));
}

// The first write after an orderly end is answered with a reset, the ones after that fail.
TEST_F(SocketOutputStreamTest, APeerThatHasClosedIsAClosedConnectionSoon) {
    peer.close();
    EXPECT_EQ(kClosed, messageOf<SocketConnectionClosedException>([&] {
                  const Deadline deadline;
                  while (!deadline.passed()) {
                      output.write('a');
                      std::this_thread::yield();
                  }
              }));
}

TEST_F(SocketOutputStreamTest, AClosedConnectionRaisesNoSignal) {
    static volatile std::sig_atomic_t raised = 0;
    const auto before = std::signal(SIGPIPE, [](int) { raised = 1; });
    peer.reset();
    ASSERT_TRUE(pair.client.closedByPeer());
    EXPECT_THROW(output.write('a'), SocketConnectionClosedException);
    std::signal(SIGPIPE, before);
    EXPECT_EQ(0, raised);
}

TEST_F(SocketOutputStreamTest, AResetConnectionIsAnError) {
    peer.reset();
    ASSERT_TRUE(eventually([&] {
        pollfd hangup{pair.client.fd(), POLLIN, 0};
        return ::poll(&hangup, 1, 0) == 1;
    }));
    EXPECT_EQ(kPrefix + kWriteByte + "Connection reset by peer",
              messageOf<SocketException>([&] { output.write('a'); }));
}

TEST_F(SocketOutputStreamTest, AWriteOfNothingIsAnError) {
    {
        const SendsNothing once;
        EXPECT_EQ(kPrefix + kWriteByte + "Nothing was written",
                  messageOf<SocketException>([&] { output.write('a'); }));
    }
    const SendsNothing once;
    EXPECT_EQ(kPrefix + kWriteBlock + "Nothing was written",
              messageOf<SocketException>([&] { output.write("abc"); }));
}

TEST_F(SocketOutputStreamTest, AClosedStreamFailsInEveryOperation) {
    output.close();
    EXPECT_EQ(kPrefix + kWriteByte + "Bad file descriptor",
              messageOf<SocketException>([&] { output.write('a'); }));
    EXPECT_EQ(kPrefix + kWriteBlock + "Bad file descriptor",
              messageOf<SocketException>([&] { output.write("abc"); }));
    EXPECT_EQ(kPrefix + "virtual void SocketOutputStream::close()Bad file descriptor",
              messageOf<SocketException>([&] { output.close(); }));
}

TEST_F(SocketOutputStreamTest, ClosingItLeavesTheSocketsDescriptorOpen) {
    output.close();
    pair.client.sendAll("a");
    EXPECT_EQ("a", peer.readExactly(1));
}

TEST_F(SocketOutputStreamTest, AClosedStreamCannotBeAssigned) {
    const SocketOutputStream closed;
    EXPECT_EQ(kPrefix +
                  "SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream&)"
                  "Bad file descriptor",
              messageOf<SocketException>([&] { output = closed; }));
}

TEST_F(SocketOutputStreamTest, AssignmentWithoutDescriptorsIsAnError) {
    SocketOutputStream target;
    const LimitedDescriptors none(static_cast<rlim_t>(nextDescriptor()));
    EXPECT_EQ(kPrefix +
                  "SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream&)"
                  "Too many open files",
              messageOf<SocketException>([&] { target = output; }));
}

TEST_F(SocketOutputStreamTest, ACopyWritesToTheSameConnection) {
    SocketOutputStream copy(output);
    output.close();
    copy.write("a");
    EXPECT_EQ("a", peer.readExactly(1));
}

TEST_F(SocketOutputStreamTest, APeerThatNeverReadsIsGivenTheTimeoutAndNoMore) {
    const std::string many = manyBytes();
    output.setTimeout(300);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kPrefix + kWriteBlock + "Connection timed out",
              messageOf<SocketException>([&] { output.write(many); }));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(300ms, waited);
    EXPECT_GE(8s, waited);
    EXPECT_EQ(kPrefix + kWriteByte + "Connection timed out",
              messageOf<SocketException>([&] { output.write('a'); }));
}

TEST_F(SocketOutputStreamTest, APeerThatReadsALittleNowAndThenDoesNotGetMoreTime) {
    output.setTimeout(300);
    BlockedCall write(
        [&] { return messageOf<SocketException>([&] { output.write(manyBytes()); }); });
    const Deadline deadline;
    while (!write.endsWithin(20ms) && !deadline.passed()) {
        try {
            peer.readExactly(10'000, 100ms);
        } catch (const Timeout&) {
            // There is less, for the writer is late.
        }
    }
    EXPECT_EQ(kPrefix + kWriteBlock + "Connection timed out", write.result());
}

TEST_F(SocketOutputStreamTest, ADeadlineIsOneForAllWrites) {
    const std::string many = manyBytes();
    output.setTimeout(60'000);
    output.setDeadline(teskd::Deadline::after(2s));
    output.write("abc");
    EXPECT_EQ("abc", peer.readExactly(3));
    EXPECT_EQ(kPrefix + kWriteBlock + "Connection timed out",
              messageOf<SocketException>([&] { output.write(many); }));
    EXPECT_LT(0U, peer.readAvailable().size());
    EXPECT_EQ(kPrefix + kWriteByte + "Connection timed out",
              messageOf<SocketException>([&] { output.write('a'); }));
}

TEST_F(SocketOutputStreamTest, ATimeoutMayBeShorterThanTheDeadline) {
    output.setTimeout(200);
    output.setDeadline(teskd::Deadline::after(1h));
    EXPECT_EQ(kPrefix + kWriteBlock + "Connection timed out",
              messageOf<SocketException>([&] { output.write(manyBytes()); }));
}

TEST_F(SocketOutputStreamTest, ACopyHasTheSameDeadline) {
    output.setDeadline(teskd::Deadline::passed());
    SocketOutputStream copy(output);
    EXPECT_EQ(kPrefix + kWriteByte + "Connection timed out",
              messageOf<SocketException>([&] { copy.write('a'); }));
    copy.setDeadline(teskd::Deadline::never());
    copy.write('a');
    EXPECT_EQ("a", peer.readExactly(1));
}

TEST_F(SocketOutputStreamTest, WritesWithoutWaitingWhatTheSystemTakes) {
    EXPECT_EQ(3U, output.writeAvailable("abc", 3));
    EXPECT_EQ("abc", peer.readExactly(3));
    const std::string many = manyBytes();
    const std::size_t taken = output.writeAvailable(many.data(), many.size());
    EXPECT_LT(0U, taken);
    EXPECT_GT(many.size(), taken);
    EXPECT_TRUE(many.substr(0, taken) == peer.readExactly(taken));
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SocketOutputStreamTest, AFullConnectionTakesNothingAndThatIsNoError) {
    const std::string many = manyBytes();
    EXPECT_TRUE(eventually([&] { return output.writeAvailable(many.data(), many.size()) == 0; }));
}

TEST_F(SocketOutputStreamTest, ErrorsAreTheSameWithoutWaiting) {
    peer.reset();
    ASSERT_TRUE(pair.client.closedByPeer());  // takes the error of the reset
    EXPECT_EQ(kClosed,
              messageOf<SocketConnectionClosedException>([&] { output.writeAvailable("abc", 3); }));
    output.close();
    EXPECT_EQ(kPrefix + kWriteBlock + "Bad file descriptor",
              messageOf<SocketException>([&] { output.writeAvailable("abc", 3); }));
}

TEST_F(SocketOutputStreamTest, AStopEventEndsAWaitingWrite) {
    Event stop;
    output.setInterrupt(&stop);
    BlockedCall write(
        [&] { return messageOf<SocketException>([&] { output.write(manyBytes()); }); });
    EXPECT_FALSE(write.endsWithin(50ms));
    stop.set();
    EXPECT_EQ(kPrefix + kWriteBlock + "Interrupted system call", write.result());
}

}  // namespace
}  // namespace teskd::test
