#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "core/Event.h"
#include "net/Poll.h"
#include "support/Listener.h"
#include "support_src/BlockedCall.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

TEST(Poll, TellsWhatIsReady) {
    TcpPair pair;
    EXPECT_EQ(1, Poll::wait(pair.client.fd(), POLLOUT, teskd::Deadline::never(), nullptr));
    EXPECT_EQ(0, Poll::wait(pair.client.fd(), POLLIN, teskd::Deadline::after(20ms), nullptr));
    pair.server.sendAll("a");
    EXPECT_EQ(1, Poll::wait(pair.client.fd(), POLLIN, teskd::Deadline::never(), nullptr));
}

TEST(Poll, ADeadlineThatHasPassedEndsItAtOnce) {
    TcpPair pair;
    BlockedCall wait([&] {
        return std::to_string(
            Poll::wait(pair.client.fd(), POLLIN, teskd::Deadline::passed(), nullptr));
    });
    EXPECT_TRUE(wait.endsWithin(5s));
    pair.server.sendAll("a");  // lets go of one that waits
    EXPECT_EQ("0", wait.result());
}

TEST(Poll, ADescriptorThatIsNotOpenFails) {
    const int closed = ::dup(0);
    ::close(closed);
    errno = 0;
    EXPECT_EQ(-1, Poll::wait(closed, POLLIN, teskd::Deadline::after(10s), nullptr));
    EXPECT_EQ(EBADF, errno);
}

TEST(Poll, WithoutADescriptorItWaitsForTheTimeOrTheStopEvent) {
    Event stop;
    EXPECT_EQ(0, Poll::wait(-1, 0, teskd::Deadline::after(20ms), &stop));
    stop.set();
    EXPECT_EQ(-1, Poll::wait(-1, 0, teskd::Deadline::after(300s), &stop));
    EXPECT_EQ(EINTR, errno);
}

TEST(Poll, AStopEventGoesBeforeReadiness) {
    TcpPair pair;
    Event stop;
    stop.set();
    EXPECT_EQ(-1, Poll::wait(pair.client.fd(), POLLOUT, teskd::Deadline::never(), &stop));
    EXPECT_EQ(EINTR, errno);
}

// The time is not started anew by each signal, nor is the wait given up.
TEST(Poll, SignalsDoNotChangeTheTime) {
    struct sigaction handler {};
    handler.sa_handler = [](int) {};
    struct sigaction before {};
    ::sigaction(SIGUSR1, &handler, &before);
    TcpPair pair;
    std::atomic<pthread_t> waiter{::pthread_self()};
    const auto start = std::chrono::steady_clock::now();
    BlockedCall wait([&] {
        waiter = ::pthread_self();
        return std::to_string(
            Poll::wait(pair.client.fd(), POLLIN, teskd::Deadline::after(300ms), nullptr));
    });
    while (!wait.endsWithin(20ms)) ::pthread_kill(waiter, SIGUSR1);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ("0", wait.result());
    EXPECT_LE(300ms, waited);
    EXPECT_GE(5s, waited);
    ::sigaction(SIGUSR1, &before, nullptr);
}

// What is left of the time is less than nothing then, and no time without an end.
TEST(Poll, ASignalThatLastsBeyondTheTimeDoesNotProlongIt) {
    struct sigaction handler {};
    handler.sa_handler = [](int) { ::usleep(150'000); };
    struct sigaction before {};
    ::sigaction(SIGUSR1, &handler, &before);
    TcpPair pair;
    std::atomic<pthread_t> waiter{::pthread_self()};
    BlockedCall wait([&] {
        waiter = ::pthread_self();
        return std::to_string(
            Poll::wait(pair.client.fd(), POLLIN, teskd::Deadline::after(100ms), nullptr));
    });
    if (!wait.ended()) ::pthread_kill(waiter, SIGUSR1);
    EXPECT_TRUE(wait.endsWithin(5s));
    pair.server.sendAll("a");  // lets go of one that waits
    EXPECT_EQ("0", wait.result());
    ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace teskd::test
