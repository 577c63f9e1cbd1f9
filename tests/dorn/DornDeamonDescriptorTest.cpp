// The listener when the process has no descriptors left.

#include <chrono>
#include <exception>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "DeamonFixture.h"
#include "support/UniqueFd.h"

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
    // Whether the connection was closed, with a warning, instead of served.
    bool wasRefused(HostClient& host) const {
        try {
            EXPECT_EQ(5U, host.readFrame().identifierB);
            return false;
        } catch (const std::exception&) {
            EXPECT_TRUE(eventually([this] { return warnings() > 0; }));
            return true;
        }
    }
    std::uint16_t port() const { return port_; }

  private:
    const std::uint16_t port_ = freeTcpPort();
};

TEST_F(DornDeamonDescriptorTest, AFailingAcceptIsLoggedOnceASecondAndTheHostServedLater) {
    const Clock::time_point start = Clock::now();
    auto none = std::make_unique<NoDescriptors>();
    none->giveBack(1);
    HostClient host(port());
    ASSERT_TRUE(eventually([this] { return warnings() >= 3; }));
    EXPECT_GE(Clock::now() - start, 1900ms);
    EXPECT_TRUE(log_.waitForText("Too many open files"));
    none.reset();
    expectServed(host);
    EXPECT_LE(warnings(), 4U);
}

TEST_F(DornDeamonDescriptorTest, StopsPromptlyBetweenTwoAttempts) {
    auto none = std::make_unique<NoDescriptors>();
    none->giveBack(1);
    const HostClient host(port());
    ASSERT_TRUE(eventually([this] { return warnings() >= 1; }));
    EXPECT_TRUE(endsWithin(900ms));
}

// Takes a second for every descriptor that a connection needs.
TEST_F(DornDeamonDescriptorTest, SlowWhicheverDescriptorIsMissingTheListenerGoesOn) {
    for (std::size_t spare = 0; spare < 20; ++spare) {
        log_.clear();
        NoDescriptors none;
        none.giveBack(1 + spare);
        HostClient host(port());
        host.request(7, "", 0, 5);
        ASSERT_TRUE(
            eventually([&] { return warnings() > 0 || host.connection().readableWithin(1ms); }));
        if (warnings() > 0 || wasRefused(host)) continue;
        EXPECT_GE(spare, 3U);
        return;
    }
    FAIL() << "twenty descriptors are not enough for a connection";
}

}  // namespace
}  // namespace teskd::test
