// Frames of many threads on one connection.

#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "core/Event.h"
#include "core/LogSource.h"
#include "dorn/FrameWriter.h"
#include "net/Poll.h"
#include "net/Socket.h"
#include "support/Bytes.h"
#include "support/Listener.h"
#include "support_src/FailingNew.h"
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
    }
    ~FrameWriterTest() noexcept override = default;
    // The connection's own thread: sends until nothing is left or the host was given up.
    void sendAll(FrameWriter& writer) const { sendAll(writer, connection_); }
    static void sendAll(FrameWriter& writer, const Socket& connection) {
        while (writer.sendQueued() > 0) {
            Poll::wait(connection.getDescriptor(), POLLOUT, writer.nextCheck(), nullptr);
        }
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
    Event wake_;
    HostMemory memory_{HostLimits(0)};
    HostMemory::Account account_{memory_, wake_};
    FrameWriter writer_{connection_, wake_, account_, LogSource::unlimited(), 100ms};
};

TEST_F(FrameWriterTest, SendsFramesInTheirOrder) {
    writer_.write(std::string("one"));
    writer_.write("two", 3);
    EXPECT_EQ("onetwo", pair_.client.readExactly(6));
}

TEST_F(FrameWriterTest, FramesOfManyThreadsNeverMix) {
    constexpr std::size_t kSize = 3000;
    constexpr int kFrames = 10;
    FrameWriter patient(connection_, wake_, account_, LogSource::unlimited(), 60s);
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'i'; ++letter) {
        threads.emplace_back([&patient, letter] {
            for (int i = 0; i < kFrames; ++i) patient.write(std::string(kSize, letter));
        });
    }
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            const short events = patient.sendQueued() > 0 ? POLLOUT : 0;
            Poll::wait(events == 0 ? -1 : connection_.getDescriptor(), events,
                       teskd::Deadline::after(1ms), nullptr);
        }
    });
    std::size_t counts[8] = {};
    for (int i = 0; i < 8 * kFrames; ++i) {
        const std::string frame = pair_.client.readExactly(kSize, 60s);
        EXPECT_EQ(std::string(kSize, frame.front()), frame);
        ++counts[frame.front() - 'a'];
    }
    done = true;
    sender.join();
    for (std::thread& thread : threads) thread.join();
    for (const std::size_t count : counts) EXPECT_EQ(kFrames, static_cast<int>(count));
    EXPECT_EQ(0U, failures());
}

TEST_F(FrameWriterTest, NobodyWhoBringsAFrameWaitsForThePeer) {
    const std::string large(400'000, 'L');
    FrameWriter patient(connection_, wake_, account_, LogSource::unlimited(), 60s);
    patient.write(large);  // returns although nobody reads
    EXPECT_TRUE(wake_.isSet());
    patient.write(std::string("small"));
    std::thread sender([&] { sendAll(patient); });
    EXPECT_TRUE(large + "small" == pair_.client.readExactly(large.size() + 5, 60s));
    sender.join();
    EXPECT_EQ(0U, failures());
}

TEST_F(FrameWriterTest, WhatFitsIsSentWithoutTheConnectionsThread) {
    writer_.write(std::string("one"));
    EXPECT_FALSE(wake_.isSet());
    EXPECT_EQ(0U, writer_.sendQueued());
}

TEST_F(FrameWriterTest, APeerThatDoesNotReadIsGivenUpAfterTheSendTimeOut) {
    writer_.write(std::string(2'000'000, 'L'));
    EXPECT_EQ(0U, failures());
    sendAll(writer_);
    EXPECT_EQ(1U, log_.count({180,
                              "Exception was received: IOException: SocketException: virtual void "
                              "FrameWriter::write(const char*, size_t)Connection timed out"}));
    EXPECT_LT(pair_.client.readUntilClosed().size(), 2'000'000U);
}

TEST_F(FrameWriterTest, APeerThatReadsSlowlyIsNotGivenUp) {
    FrameWriter writer(connection_, wake_, account_, LogSource::unlimited(), 2s);
    writer.write(std::string(2'000'000, 'L'));
    std::size_t left = writer.sendQueued();
    while (left > 1'500'000) {
        pair_.client.readExactly(20'000, kPatience);
        left = writer.sendQueued();
    }
    EXPECT_EQ(0U, failures());
}

// Behind a full receive buffer the peer's system opens its window in steps of many seconds, and
// until then takes and acknowledges nothing.
TEST_F(FrameWriterTest, APeerWhoseSystemAcknowledgesInJumpsIsNotGivenUp) {
    TcpPair wide;
    Socket connection(AF_INET, SOCK_STREAM, 0);
    connection.setDescriptor(::dup(wide.server.fd()));
    FrameWriter writer(connection, wake_, account_, LogSource::unlimited());
    writer.write(std::string(8'000'000, 'L'));
    std::thread sender([&] { sendAll(writer, connection); });
    for (int blocks = 0; blocks < 60; ++blocks) {  // 20 kB/s
        wide.client.readExactly(2000);
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_GT(writer.sendQueued(), 0U);
    EXPECT_EQ(0U, failures());
    wide.client.reset();
    sender.join();
}

// What the peer's system acknowledges counts, also while this end's buffer has no room to show for
// it.
TEST_F(FrameWriterTest, AcknowledgementsAloneKeepAPeer) {
    TcpPair wide;
    Socket connection(AF_INET, SOCK_STREAM, 0);
    connection.setDescriptor(::dup(wide.server.fd()));
    const std::string block(64 * 1024, 'L');
    std::size_t given = 0;
    while (Poll::wait(wide.server.fd(), POLLOUT, teskd::Deadline::passed(), nullptr) > 0) {
        given += connection.getOutputStream().writeAvailable(block.data(), block.size());
    }
    constexpr int narrow = 4096;  // from here on nothing is taken before nearly all is acknowledged
    ::setsockopt(wide.server.fd(), SOL_SOCKET, SO_SNDBUF, &narrow, sizeof narrow);
    FrameWriter writer(connection, wake_, account_, LogSource::unlimited(), 2s);
    writer.write(std::string(2'000'000, 'L'));
    const std::size_t step = given / 60;
    for (std::size_t taken = 0; taken < given / 2; taken += step) {
        wide.client.readExactly(step);
        Poll::wait(-1, 0, teskd::Deadline::after(100ms), nullptr);
        ASSERT_GT(writer.sendQueued(), 1'900'000U);
    }
    EXPECT_EQ(0U, failures());
}

// However large it is: only the answer behind it meets a peer that has let too much pile up.
TEST_F(FrameWriterTest, AnAnswerThatHasBegunIsTakenWhole) {
    FrameWriter writer(connection_, wake_, account_, LogSource::unlimited(), 60s);
    writer.beginAnswer();
    for (int i = 0; i < 6; ++i) writer.write(std::string(4'000'000, 'L'));
    EXPECT_EQ(0U, failures());
    EXPECT_LT(23'000'000U, writer.sendQueued());
    writer.beginAnswer();
    EXPECT_EQ(1U, log_.count({180,
                              "Exception was received: IOException: SocketException: The host does "
                              "not keep up"}));
    EXPECT_EQ(0U, writer.sendQueued());
    EXPECT_FALSE(account_.hasTooManyAnswers());
}

TEST_F(FrameWriterTest, OnlyAPeerThatLetsAnswersPileUpIsGivenUp) {
    TcpPair other;
    Socket connection(AF_INET, SOCK_STREAM, 0);
    connection.setDescriptor(::dup(other.server.fd()));
    HostMemory::Account account(memory_, wake_);
    FrameWriter reader(connection, wake_, account, LogSource::unlimited(), 60s);
    FrameWriter writer(connection_, wake_, account_, LogSource::unlimited(), 60s);
    writer.write(std::string(20'000'000, 'L'));
    reader.beginAnswer();
    reader.write(std::string("one"));
    EXPECT_EQ("one", other.client.readExactly(3));
    EXPECT_EQ(0U, failures());
}

// Two peers, neither of which reads.
class TwoFrameWriters : public FrameWriterTest {
  protected:
    TwoFrameWriters() { other_.setDescriptor(::dup(otherPair_.server.fd())); }
    ~TwoFrameWriters() noexcept override = default;

    TcpPair otherPair_;
    Socket other_{AF_INET, SOCK_STREAM, 0};
    Event otherWake_;
    HostMemory::Account otherAccount_{memory_, otherWake_};
    FrameWriter first_{connection_, wake_, account_, LogSource::unlimited(), 60s};
    FrameWriter second_{other_, otherWake_, otherAccount_, LogSource::unlimited(), 60s};
};

TEST_F(TwoFrameWriters, ThePeerForWhichMostWaitsIsGivenUpForAnothersAnswer) {
    first_.write(std::string(16'000'000, 'L'));
    wake_.clear();
    second_.beginAnswer();
    second_.write(std::string(15'000'000, 'L'));
    EXPECT_TRUE(wake_.isSet());
    EXPECT_EQ(0U, first_.sendQueued());
    EXPECT_EQ(1U, log_.count({180,
                              "Exception was received: IOException: SocketException: The host does "
                              "not keep up"}));
    EXPECT_GT(16'000'000U, pair_.client.readUntilClosed().size());
    EXPECT_LT(8'000'000U, second_.sendQueued());
    EXPECT_EQ(1U, failures());
}

TEST_F(TwoFrameWriters, APeerThatIsToBeGivenUpTakesNoMoreAnswers) {
    first_.write(std::string(16'000'000, 'L'));
    second_.write(std::string(15'000'000, 'L'));
    first_.write(std::string(16'000'000, 'L'));  // before its own thread has done anything
    EXPECT_EQ(0U, first_.sendQueued());
    EXPECT_EQ(1U, failures());
}

// It would take the next frame for the rest of this one.
TEST_F(FrameWriterTest, APeerIsGivenUpWhenThereIsNoMemoryForTheRestOfItsFrame) {
    const std::string frame(1'000'000, 'x');
    {
        const FailingNew fails(1);
        writer_.write(frame);
    }
    writer_.write(std::string("next"));
    EXPECT_EQ(0U, writer_.sendQueued());
    EXPECT_EQ(1U, log_.count({180, "Exception was received: std::bad_alloc"}));
    const std::string received = pair_.client.readUntilClosed();
    EXPECT_EQ(std::string(received.size(), 'x'), received);
    EXPECT_GT(frame.size(), received.size());
}

TEST_F(FrameWriterTest, APeerThatDoesNotReadIsGivenUpWithoutMemoryToSayWhy) {
    writer_.write(std::string(1'000'000, 'x'));
    std::size_t queued = 1;
    while (queued > 0) {
        Poll::wait(connection_.getDescriptor(), POLLOUT, writer_.nextCheck(), nullptr);
        const FailingNew fails(1);
        queued = writer_.sendQueued();
    }
    EXPECT_EQ(1U, log_.count({180, "Exception was received: std::bad_alloc"}));
}

TEST_F(FrameWriterTest, AfterAFailureNothingIsSentAndNothingMoreIsLogged) {
    writer_.write(std::string(2'000'000, 'L'));
    sendAll(writer_);
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
