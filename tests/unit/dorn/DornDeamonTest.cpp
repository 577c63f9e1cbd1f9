// The listener for host connections.

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <semaphore>
#include <string>
#include <unistd.h>
#include <vector>

#include "DeamonFixture.h"
#include "support/ProcInfo.h"
#include "support_src/AtThreadStart.h"
#include "support_src/FailingNew.h"
#include "support_src/FailingThreads.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class DornDeamonTest : public DeamonFixture {
  protected:
    // Lines about an address that cannot be listened on.
    std::size_t complaints() const {
        std::size_t count = 0;
        for (const LogEntry& entry : log_.lines()) {
            if (entry.text.starts_with("Cannot listen on ")) ++count;
        }
        return count;
    }
};

LogEntry cannotListen(std::uint16_t port, const std::string& why) {
    return {180, "Cannot listen on 127.0.0.1:" + std::to_string(port) +
                     ": IOException: SocketException: BindException: virtual void "
                     "ServerSocket::bind()" +
                     why};
}

TEST_F(DornDeamonTest, HasItsName) {
    start(freeTcpPort());
    EXPECT_EQ("DornDeamon", deamon().getName());
}

TEST_F(DornDeamonTest, WithoutEndpointsItSaysSoAndEndsAtOnce) {
    configure("", "5001");
    start();
    deamon().awaitEnd();
    EXPECT_THAT(log_.lines(),
                testing::ElementsAre(
                    testing::Field(&LogEntry::text, testing::HasSubstr("listening on nothing; ")),
                    LogEntry{181, "Thread 'DornDeamon' Terminated"}));
}

TEST_F(DornDeamonTest, ServesEveryHostThatConnects) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    HostClient one(port);
    HostClient two(port);
    HostClient three(port);
    expectServed(three);
    expectServed(one);
    expectServed(two);
}

TEST_F(DornDeamonTest, AHostThatReconnectsIsServedAgain) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    for (int i = 0; i < 20; ++i) expectServed(port);
}

TEST_F(DornDeamonTest, ListensOnEveryEndpoint) {
    const std::uint16_t one = freeTcpPort();
    const std::uint16_t two = freeTcpPort();
    configure("127.0.0.1,127.0.0.1", std::to_string(one) + "," + std::to_string(two));
    start();
    expectServed(one);
    expectServed(two);
}

// Two hosts wait when the stop comes amid the acceptance of the first of them.
TEST_F(DornDeamonTest, AHostThatWaitsWhenItStopsIsNotAccepted) {
    constexpr int kFirstHost = 2;  // behind the listener's own
    const std::uint16_t one = freeTcpPort();
    const std::uint16_t two = freeTcpPort();
    configure("127.0.0.1,127.0.0.1", std::to_string(one) + "," + std::to_string(two));
    std::vector<Connection> waiting;
    const AtThreadStart threads([&](int n) {
        if (n == kFirstHost) {
            waiting.push_back(Connection::to(one));
            waiting.push_back(Connection::to(two));
        } else if (n == kFirstHost + 1) {
            deamon().stop();
        }
    });
    start();
    const Connection first = Connection::connectEventually(one);
    deamon().awaitEnd();
    EXPECT_EQ(kFirstHost + 1, threads.count());
}

TEST_F(DornDeamonTest, AnAddressInUseIsLoggedOnceAndTakenWhenItIsFree) {
    std::optional<Listener> other(std::in_place);
    const std::uint16_t port = other->port();
    start(port);
    const LogEntry problem = cannotListen(port, "Address already in use");
    ASSERT_TRUE(log_.waitFor(problem));
    // Two more attempts, by the second.
    EXPECT_FALSE(eventually([&] { return log_.count(problem) > 1; }, 2500ms));
    other.reset();
    const Clock::time_point freed = Clock::now();
    expectServed(port);
    EXPECT_LE(Clock::now() - freed, 8s);
}

TEST_F(DornDeamonTest, AnAddressInUseKeepsTheOthersFromNothing) {
    const Listener other;
    const std::uint16_t port = freeTcpPort();
    configure("127.0.0.1,127.0.0.1", std::to_string(other.port()) + "," + std::to_string(port));
    start();
    ASSERT_TRUE(log_.waitFor(cannotListen(other.port(), "Address already in use")));
    expectServed(port);
}

TEST_F(DornDeamonTest, AnAddressThatIsNotThisMachinesIsLoggedAndTheOthersServe) {
    const std::uint16_t port = freeTcpPort();
    configure("192.0.2.1,127.0.0.1", "1," + std::to_string(port));
    start();
    expectServed(port);
    EXPECT_TRUE(log_.waitForText("Cannot listen on 192.0.2.1:1: "));
}

TEST_F(DornDeamonTest, AConnectionWhoseThreadCannotStartIsClosedWithAWarning) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    const std::size_t before = openDescriptors(::getpid());
    {
        const FailingThreads fail(1);
        HostClient host(port);
        EXPECT_TRUE(host.connection().closedByPeer());
    }
    EXPECT_TRUE(log_.waitFor(
        {180, "Cannot start a thread for a connection: Resource temporarily unavailable"}));
    EXPECT_TRUE(eventually([&] { return openDescriptors(::getpid()) <= before; }));
    expectServed(port);
}

// At each allocation for it, while the next one waits to be accepted.
TEST_F(DornDeamonTest, AHostThatIsAcceptedAndThenFailsCostsTheNextOneNothing) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    std::atomic<std::size_t> first = 0;
    std::atomic<int> hosts = 0;
    std::atomic<bool> failed = true;
    std::optional<FailingNew> fail;  // the listener's thread's
    std::binary_semaphore begun(0);
    std::binary_semaphore othersWait(0);
    const AtThreadStart eachHost([&](int) {
        ++hosts;
        if (hosts == 1) {
            begun.release();
            othersWait.acquire();
            fail.emplace(first);
        } else if (hosts == 2) {
            failed = FailingNew::hasFailed();
            fail.reset();
        }
    });
    while (failed) {
        ++first;
        hosts = 0;
        HostClient before(port);
        begun.acquire();
        HostClient unlucky(port);
        HostClient next(port);
        othersWait.release();
        expectServed(next);
    }
    EXPECT_TRUE(endsWithin(10s));
}

TEST_F(DornDeamonTest, ARestartListensAtOnceBesideOldConnections) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    Connection::connectEventually(port).close();
    HostClient host(port);
    expectServed(host);
    // The daemon closes first, so its end of the old connection waits out its time.
    EXPECT_TRUE(endsWithin(5s));
    host.close();
    start(port);
    expectServed(port);
    EXPECT_EQ(0U, complaints());  // a second attempt would have followed one
}

TEST_F(DornDeamonTest, StopsWhileNobodyConnects) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    EXPECT_TRUE(endsWithin(5s));
    EXPECT_THROW(Connection::to(port), std::system_error);
}

TEST_F(DornDeamonTest, StopsWithItsConnections) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    Connection::connectEventually(port).close();
    HostClient idle(port);
    HostClient served(port);
    expectServed(served);
    EXPECT_TRUE(endsWithin(5s));
    EXPECT_EQ("", idle.connection().readUntilClosed());
    EXPECT_EQ("", served.connection().readUntilClosed());
}

TEST_F(DornDeamonTest, StopsWhileItWaitsForAnAddress) {
    const Listener other;
    start(other.port());
    ASSERT_TRUE(log_.waitForText("Cannot listen on"));
    EXPECT_TRUE(endsWithin(5s));
}

TEST_F(DornDeamonTest, StopsRightAfterItsStart) {
    for (int i = 0; i < 20; ++i) {
        start(freeTcpPort());
        EXPECT_TRUE(endsWithin(5s));
    }
}

TEST_F(DornDeamonTest, LeavesNoDescriptorBehind) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    endsWithin(5s);
    const std::size_t before = openDescriptors(::getpid());
    start(port);
    for (int i = 0; i < 50; ++i) expectServed(port);
    endsWithin(5s);
    EXPECT_TRUE(eventually([&] { return openDescriptors(::getpid()) == before; }));
}

}  // namespace
}  // namespace teskd::test
