// Frames of many threads on one connection.

#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "dorn/FrameWriter.h"
#include "net/Socket.h"
#include "support/Bytes.h"
#include "support/Listener.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

class FrameWriterTest : public testing::Test {
  protected:
    FrameWriterTest() {
        constexpr int narrow = 4096;
        ::setsockopt(pair_.server.fd(), SOL_SOCKET, SO_SNDBUF, &narrow, sizeof narrow);
        ::setsockopt(pair_.client.fd(), SOL_SOCKET, SO_RCVBUF, &narrow, sizeof narrow);
        connection_.setDescriptor(::dup(pair_.server.fd()));
        connection_.getOutputStream().setTimeout(100);
    }
    std::size_t failures() const {
        std::size_t count = 0;
        for (const LogEntry& entry : log_.lines()) {
            if (entry.priority == 180 && entry.text.starts_with("Exception was received: "))
                ++count;
        }
        return count;
    }

    LogRecorder log_;
    TcpPair pair_;
    Socket connection_{AF_INET, SOCK_STREAM, 0};
    FrameWriter writer_{connection_};
};

TEST_F(FrameWriterTest, SendsFramesInTheirOrder) {
    writer_.write(std::string("one"));
    writer_.write("two", 3);
    EXPECT_EQ("onetwo", pair_.client.readExactly(6));
}

TEST_F(FrameWriterTest, FramesOfManyThreadsNeverMix) {
    constexpr std::size_t kSize = 3000;
    constexpr int kFrames = 50;
    connection_.getOutputStream().setTimeout(60000);
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'i'; ++letter) {
        threads.emplace_back([this, letter] {
            for (int i = 0; i < kFrames; ++i) writer_.write(std::string(kSize, letter));
        });
    }
    std::size_t counts[8] = {};
    for (int i = 0; i < 8 * kFrames; ++i) {
        const std::string frame = pair_.client.readExactly(kSize, 60s);
        EXPECT_EQ(std::string(kSize, frame.front()), frame);
        ++counts[frame.front() - 'a'];
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::size_t count : counts) EXPECT_EQ(kFrames, static_cast<int>(count));
    EXPECT_EQ(0U, failures());
}

TEST_F(FrameWriterTest, OnlyOneThreadWaitsForASlowPeer) {
    connection_.getOutputStream().setTimeout(60000);
    const std::string large(2'000'000, 'L');
    std::thread waiting([&] { writer_.write(large); });
    ASSERT_TRUE(pair_.client.readableWithin(kPatience));
    writer_.write(std::string("small"));  // returns although nobody reads
    EXPECT_TRUE(large + "small" == pair_.client.readExactly(large.size() + 5, 60s));
    waiting.join();
}

TEST_F(FrameWriterTest, APeerThatDoesNotReadIsGivenUpAfterTheSendTimeOut) {
    writer_.write(std::string(2'000'000, 'L'));
    EXPECT_EQ(1U, failures());
    EXPECT_EQ(1U, log_.count({180,
                              "Exception was received: IOException: SocketException: virtual void "
                              "SocketOutputStream::write(const char*, size_t)Connection timed "
                              "out"}));
    EXPECT_LT(pair_.client.readUntilClosed().size(), 2'000'000U);
}

TEST_F(FrameWriterTest, AfterAFailureNothingIsSentAndNothingMoreIsLogged) {
    writer_.write(std::string(2'000'000, 'L'));
    writer_.write(std::string("later"));
    writer_.write(std::string("later"));
    EXPECT_EQ(1U, failures());
    EXPECT_EQ(std::string::npos, pair_.client.readUntilClosed().find("later"));
}

TEST_F(FrameWriterTest, APeerThatHasGoneIsLoggedOnce) {
    pair_.client.reset();
    ASSERT_TRUE(pair_.server.closedByPeer());
    writer_.write(std::string("one"));
    writer_.write(std::string("two"));
    EXPECT_EQ(1U, failures());
}

}  // namespace
}  // namespace teskd::test
