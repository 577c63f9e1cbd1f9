#include <gtest/gtest.h>
#include <poll.h>

#include "net/SendBuffer.h"
#include "net/SendsNothing.h"
#include "net/SocketOutputStream.h"
#include "support/Listener.h"
#include "support_src/BlockedCall.h"
#include "support_src/FullConnection.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kPrefix = "IOException: SocketException: ";
const std::string kLost =
    kPrefix + "SocketConnectionClosedException: SocketConnectionClosedException";

class SendBufferTest : public testing::Test {
  protected:
    std::string lossOf(const std::function<void()>& call) {
        return messageOf<SocketConnectionClosedException>(call);
    }
    struct ShownBuffer : SendBuffer {
        using SendBuffer::pending;
        using SendBuffer::SendBuffer;
    };

    TcpPair pair;
    Connection& peer = pair.server;
    SocketOutputStream socket{pair.client.fd()};
    ShownBuffer output{socket};
};

TEST_F(SendBufferTest, NothingLeavesBeforeAFlush) {
    output.write('a');
    output.write("bc");
    EXPECT_FALSE(peer.readableWithin(20ms));
    output.flush();
    EXPECT_EQ("abc", peer.readExactly(3));
    output.flush();
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SendBufferTest, WhatTheSystemTakesAtOnceIsSentWithoutWaiting) {
    EXPECT_TRUE(output.flushAvailable());
    output.write("abc");
    EXPECT_TRUE(output.flushAvailable());
    EXPECT_EQ("abc", peer.readExactly(3));
    EXPECT_TRUE(output.flushAvailable());
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SendBufferTest, WhatTheSystemDoesNotTakeFollowsLaterInOrderAndOnce) {
    const std::string many = fill(output, pair.client.fd());
    EXPECT_FALSE(output.flushAvailable());
    output.write("end");
    BlockedCall read([&] { return peer.readExactly(many.size() + 3); });
    EXPECT_TRUE(eventually([&] { return output.flushAvailable(); }));
    EXPECT_TRUE(many + "end" == read.result());
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SendBufferTest, AFlushSendsWhatWasLeftOnce) {
    const std::string many = fill(output, pair.client.fd());
    BlockedCall flush([&] {
        output.flush();
        return std::string("flushed");
    });
    EXPECT_FALSE(flush.ended());
    EXPECT_TRUE(many == peer.readExactly(many.size()));
    EXPECT_EQ("flushed", flush.result());
    EXPECT_FALSE(peer.readableWithin(20ms));
}

// How much of it had left nobody knows, so nothing may follow.
TEST_F(SendBufferTest, AFlushThatFailedSendsNothingTwice) {
    const std::string many = fill(output, pair.client.fd());
    socket.setTimeout(100);
    EXPECT_EQ(kPrefix + "virtual void SocketOutputStream::write(const char*, size_t)" +
                  "Connection timed out",
              messageOf<SocketException>([&] { output.flush(); }));
    BlockedCall read([&] { return peer.readUntilClosed(); });
    EXPECT_EQ(kLost, lossOf([&] { output.flush(); }));
    output.write("more");
    EXPECT_EQ(kLost, lossOf([&] { output.flush(); }));
    EXPECT_EQ(kLost, lossOf([&] { output.flushAvailable(); }));
    output.close();
    pair.client.close();
    const std::string received = read.result();
    EXPECT_LT(0U, received.size());
    EXPECT_TRUE(many.starts_with(received));
}

TEST_F(SendBufferTest, AConnectionThatCouldNotBeSentToIsLost) {
    output.write("abc");
    {
        const SendsNothing once;
        EXPECT_EQ(kPrefix + "virtual void SocketOutputStream::write(const char*, size_t)" +
                      "Nothing was written",
                  messageOf<SocketException>([&] { output.flushAvailable(); }));
    }
    EXPECT_EQ(kLost, lossOf([&] { output.flushAvailable(); }));
    EXPECT_EQ(kLost, lossOf([&] { output.flush(); }));
    EXPECT_FALSE(peer.readableWithin(20ms));
}

TEST_F(SendBufferTest, APeerThatHasGoneIsALostConnection) {
    peer.reset();
    ASSERT_TRUE(pair.client.closedByPeer());  // takes the error of the reset
    output.write("abc");
    EXPECT_EQ(kLost, lossOf([&] { output.flushAvailable(); }));
    EXPECT_EQ(kLost, lossOf([&] { output.flush(); }));
}

TEST_F(SendBufferTest, KeepsNoMemoryOfWhatTheSystemTookWithoutWaiting) {
    output.write(std::string(10'000, 'x'));
    EXPECT_TRUE(output.flushAvailable());
    EXPECT_GE(4'096U, output.pending().capacity());
}

TEST_F(SendBufferTest, ClosingDropsWhatWasNotFlushed) {
    output.write("abc");
    output.close();
    pair.client.close();
    EXPECT_EQ("", peer.readUntilClosed());
}

}  // namespace
}  // namespace teskd::test
