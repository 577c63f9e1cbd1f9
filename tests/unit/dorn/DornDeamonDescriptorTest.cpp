// The listener when the process has no descriptors left.

#include <chrono>
#include <exception>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "DeamonFixture.h"
#include "support/OneOfAFew.h"
#include "support/UniqueFd.h"
#include "support_src/LimitedDescriptors.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Takes every descriptor that the process may still have, with a limit that makes them few.
class NoDescriptors {
  public:
    NoDescriptors() {
        EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before_));
        rlimit few = before_;
        few.rlim_cur = 200;
        EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
        takeAll();
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }

    void giveBack(std::size_t count) {
        for (; count > 0; --count) taken_.pop_back();
    }
    void takeAll() {
        for (;;) {
            UniqueFd fd(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            if (!fd.valid()) return;
            taken_.push_back(std::move(fd));
        }
    }

  private:
    rlimit before_{};
    std::vector<UniqueFd> taken_;
};

class DornDeamonDescriptorTest : public DeamonFixture {
  protected:
    void SetUp() override {
        start(port_);
        expectServed(port_);
        deamon().await_connections();
    }
    std::size_t warnings() const {
        std::size_t count = 0;
        for (const LogEntry& entry : log_.lines()) {
            if (entry.priority == 180 && entry.text.starts_with("Cannot accept a connection: "))
                ++count;
        }
        return count;
    }
    // So many as each second allows.
    static std::size_t mostWarningsSince(Clock::time_point start) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(Clock::now() - start);
        constexpr std::size_t kMost = 4;
        return kMost * (1U + static_cast<std::size_t>(seconds.count()));
    }
    // Whether the connection was closed instead of served.
    static bool isTurnedAway(HostClient& host) {
        try {
            EXPECT_EQ(5U, host.readFrame().identifierB);
            return false;
        } catch (const Timeout&) {
            ADD_FAILURE() << "neither served nor turned away";
            return true;
        } catch (const std::exception&) {
            return true;
        }
    }
    std::uint16_t port() const { return port_; }

  private:
    const std::uint16_t port_ = freeTcpPort();
};

TEST_F(DornDeamonDescriptorTest, WithoutDescriptorsHostsAreTurnedAwayAndFewLinesSayWhy) {
    std::optional<NoDescriptors> none(std::in_place);
    none->giveBack(1);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 20; ++i) {
        HostClient host(port());
        EXPECT_TRUE(host.connection().closedByPeer());
    }
    EXPECT_LT(Clock::now() - start, 15s);  // and not a second for each
    EXPECT_TRUE(log_.waitForText("Too many open files"));
    const std::size_t lines = warnings();
    EXPECT_GE(lines, 1U);
    EXPECT_LE(lines, mostWarningsSince(start));
    none.reset();
    expectServed(port());
}

// A limit below the number of every free descriptor: not even the one in reserve is any good. The
// host's socket is there already.
class WaitingHost {
  public:
    explicit WaitingHost(std::uint16_t port, rlim_t limit = 3)
        : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        limit_.emplace(limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(0, ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                               sizeof address));
    }
    // Lifts the limit.
    Connection connection() {
        limit_.reset();
        return Connection(std::move(socket_));
    }

  private:
    UniqueFd socket_;
    std::optional<LimitedDescriptors> limit_;
};

void expectServedLater(WaitingHost& waiting) {
    Connection host = waiting.connection();
    Frame request{.type = 7};
    host.sendAll(request.encode());
    EXPECT_EQ('\xFF', host.readExactly(1).front());
}

TEST_F(DornDeamonDescriptorTest, AHostThatCannotEvenBeTurnedAwayIsServedLater) {
    const Clock::time_point start = Clock::now();
    WaitingHost waiting(port());
    ASSERT_TRUE(eventually([this] { return warnings() >= 2; }));
    expectServedLater(waiting);
    const std::size_t lines = warnings();
    EXPECT_LE(lines, mostWarningsSince(start));
}

// The system refuses to poll more entries than the limit, so the listener cannot even wait.
TEST_F(DornDeamonDescriptorTest, WhileItCannotPollItTriesOnceASecondAndServesLater) {
    const Clock::time_point start = Clock::now();
    WaitingHost waiting(port(), 1);
    ASSERT_TRUE(log_.waitFor({180,
                              "Cannot accept a connection: IOException: SocketException: static "
                              "void Socket::select(std::list<Socket*, std::allocator<Socket*> >&, "
                              "std::list<Socket*, std::allocator<Socket*> >&, "
                              "std::list<Socket*, std::allocator<Socket*> >&, timeval*)Invalid "
                              "argument"}));
    ASSERT_TRUE(eventually([this] { return warnings() >= 3; }));
    EXPECT_GE(Clock::now() - start, 1900ms);
    expectServedLater(waiting);
}

TEST_F(DornDeamonDescriptorTest, StopsPromptlyBetweenTwoAttempts) {
    EXPECT_TRUE(oneOfAFew([this] {
        start(port());
        expectServed(port());
        deamon().await_connections();
        log_.clear();
        const WaitingHost waiting(port());
        EXPECT_TRUE(eventually([this] { return warnings() >= 1; }));
        return endsWithin(900ms);
    }));
}

TEST_F(DornDeamonDescriptorTest, WhicheverDescriptorIsMissingTheHostIsTurnedAwayAndTheNextServed) {
    for (std::size_t spare = 0; spare < 20; ++spare) {
        NoDescriptors none;
        none.giveBack(1 + spare);
        HostClient host(port());
        try {
            host.request(7, "", 0, 5);
        } catch (const std::system_error&) {
            // Closed already.
        }
        if (isTurnedAway(host)) continue;
        EXPECT_GE(spare, 3U);
        EXPECT_GE(warnings(), 1U);
        return;
    }
    FAIL() << "twenty descriptors are not enough for a connection";
}

}  // namespace
}  // namespace teskd::test
