#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "core/SystemLog.h"
#include "support/Deadline.h"
#include "support/LogSocket.h"
#include "support/TempDir.h"
#include "support/UniqueFd.h"
#include "support_src/LimitedDescriptors.h"

namespace teskd::test {
namespace {

using Clock = std::chrono::steady_clock;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr int kWarning = 180;

// A socket at the path that nobody reads unless the test does.
UniqueFd unreadSocket(const std::string& path, int type) {
    UniqueFd fd(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(0, ::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    return fd;
}

std::string receive(const UniqueFd& fd) {
    std::string bytes(65536, '\0');
    const ssize_t count = ::recv(fd.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

class SystemLogTest : public testing::Test {
  protected:
    static std::vector<std::jthread> fourThreads(const std::function<void()>& work) {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) threads.emplace_back(work);
        return threads;
    }
    std::string process() const { return std::to_string(::getpid()); }
    // Of every thread, so many lines, or fewer: a busy machine may hold the log's reader up for as
    // long as lines are waited for, so only a round that is shorter counts.
    void expectAllArrive(std::size_t threads, std::size_t lines) {
        for (;; lines = lines / 2 + 1) {
            LogSocket socket(path_);
            SystemLog log(path_.c_str());
            log.open("gateway", false);
            const auto start = Clock::now();
            {
                std::vector<std::jthread> writers;
                while (writers.size() < threads) {
                    writers.emplace_back([&] {
                        for (std::size_t i = 0; i < lines; ++i) log.write(kWarning, "line");
                    });
                }
            }
            if (Clock::now() - start >= SystemLog::PATIENCE) continue;
            EXPECT_TRUE(socket.waitForCount("line", threads * lines));
            EXPECT_EQ(0U, socket.count("lost"));
            return;
        }
    }

    TempDir directory_;
    const std::string path_ = directory_.path() / "log";
    SystemLog log_{path_.c_str()};
};

TEST_F(SystemLogTest, ARecordHasPriorityTimeIdentityProcessAndText) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.open("/usr/sbin/gateway", false);
    log_.write(kWarning, "100%s");
    EXPECT_THAT(receive(socket),
                MatchesRegex("<180>[A-Z][a-z][a-z] [ 1-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] "
                             "/usr/sbin/gateway\\[" +
                             process() + "\\]: 100%s"));
}

TEST_F(SystemLogTest, LinesBeforeTheOpeningBearTheProgramsName) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.write(kWarning, "early");
    EXPECT_THAT(receive(socket), HasSubstr(" core_tests[" + process() + "]: early"));
}

TEST_F(SystemLogTest, ALineAfterTheClosingConnectsAnew) {
    LogSocket socket(path_);
    log_.open("gateway", false);
    log_.close();
    log_.write(kWarning, "late");
    EXPECT_TRUE(socket.waitFor("late"));
}

TEST_F(SystemLogTest, StandardErrorHasACopyWhenAskedFor) {
    log_.open("gateway", true);
    testing::internal::CaptureStderr();
    log_.write(kWarning, "copied");
    EXPECT_EQ("gateway[" + process() + "]: copied\n", testing::internal::GetCapturedStderr());
}

TEST_F(SystemLogTest, ALongTextIsCut) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.write(kWarning, std::string(100'000, 'x').c_str());
    const std::string record = receive(socket);
    EXPECT_EQ(8192, std::count(record.begin(), record.end(), 'x'));
}

TEST_F(SystemLogTest, ALogOnAStreamHasEachRecordEndedByAZeroByte) {
    const UniqueFd listener = unreadSocket(path_, SOCK_STREAM);
    ASSERT_EQ(0, ::listen(listener.get(), 1));
    log_.open("gateway", false);
    log_.write(kWarning, "one");
    log_.write(kWarning, "two");
    const UniqueFd stream(::accept(listener.get(), nullptr, nullptr));
    std::string received;
    ASSERT_TRUE(eventually(
        [&] { return (received += receive(stream)).ends_with("two" + std::string(1, '\0')); }));
    EXPECT_THAT(received, HasSubstr("]: one" + std::string(1, '\0') + "<180>"));
}

TEST_F(SystemLogTest, LinesLostWithoutALogAreCountedOnceThereIsOne) {
    log_.open("gateway", false);
    log_.write(kWarning, "lost");
    log_.write(kWarning, "lost");
    LogSocket socket(path_);
    log_.write(kWarning, "kept");
    ASSERT_TRUE(socket.waitFor("kept"));
    EXPECT_EQ("<180> 2 lines were lost: the system log took none\n<180> kept\n", socket.dump());
}

TEST_F(SystemLogTest, NoLineIsLostWhenTheLogIsRestarted) {
    auto socket = std::make_unique<LogSocket>(path_);
    log_.open("gateway", false);
    log_.write(kWarning, "before");
    ASSERT_TRUE(socket->waitFor("before"));
    socket.reset();
    socket = std::make_unique<LogSocket>(path_);
    log_.write(kWarning, "after");
    ASSERT_TRUE(socket->waitFor("after"));
    EXPECT_EQ("<180> after\n", socket->dump());
}

// The wait is half a second; nothing else here may come near that many seconds.
TEST_F(SystemLogTest, AFullLogIsWaitedForOnlyOnce) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.open("gateway", false);
    const auto start = Clock::now();
    for (int i = 0; i < 1000; ++i) log_.write(kWarning, "line");
    const auto taken = Clock::now() - start;
    EXPECT_GE(taken, SystemLog::PATIENCE);
    EXPECT_LT(taken, 10 * SystemLog::PATIENCE);
    std::size_t kept = 0;
    while (!receive(socket).empty()) ++kept;
    ASSERT_LT(kept, 1000U);
    log_.write(kWarning, "after");
    EXPECT_THAT(receive(socket), HasSubstr(std::to_string(1000 - kept) + " lines were lost"));
    EXPECT_THAT(receive(socket), HasSubstr("]: after"));
}

// The line that is waited for is the one that is lost.
TEST_F(SystemLogTest, ASingleLostLineIsToldBeforeTheNext) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.open("gateway", false);
    std::size_t written = 0;
    std::size_t kept = 0;
    while (written == kept) {  // else a busy machine was slow, and nothing is lost
        auto start = Clock::now();
        for (; Clock::now() - start < SystemLog::PATIENCE; ++written) {
            start = Clock::now();
            log_.write(kWarning, "line");
        }
        while (!receive(socket).empty()) ++kept;
    }
    ASSERT_EQ(kept + 1, written);
    log_.write(kWarning, "after");
    EXPECT_THAT(receive(socket), HasSubstr("1 lines were lost"));
    EXPECT_THAT(receive(socket), HasSubstr("]: after"));
}

TEST_F(SystemLogTest, ASlowLogLosesNothing) {
    expectAllArrive(1, 5000);
}

TEST_F(SystemLogTest, LinesOfManyThreadsAllArrive) {
    expectAllArrive(4, 500);
}

TEST_F(SystemLogTest, ThreadsLogOnWhileTheLogComesAndGoes) {
    log_.open("gateway", false);
    std::atomic<bool> over{false};
    {
        const auto writers = fourThreads([&] {
            while (!over) log_.write(kWarning, "line");
        });
        for (int i = 0; i < 20; ++i) {
            LogSocket socket(path_);
            EXPECT_TRUE(socket.waitFor("line"));
        }
        over = true;
    }
    LogSocket socket(path_);
    log_.write(kWarning, "last");
    EXPECT_TRUE(socket.waitFor("last"));
}

// Each line would wait for most of half a second, without an end.
TEST_F(SystemLogTest, ALogThatTakesALineNowAndThenIsWaitedForTwoSecondsAtMost) {
    const UniqueFd socket = unreadSocket(path_, SOCK_DGRAM);
    log_.open("gateway", false);
    std::atomic<bool> over{false};
    std::jthread reader([&] {
        while (!over) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            receive(socket);
        }
    });
    const auto start = Clock::now();
    for (int i = 0; i < 200; ++i) log_.write(kWarning, "line");
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    over = true;
}

TEST_F(SystemLogTest, AFullStreamDoesNotHoldTheDaemonUp) {
    const UniqueFd listener = unreadSocket(path_, SOCK_STREAM);
    ASSERT_EQ(0, ::listen(listener.get(), 1));
    log_.open("gateway", false);
    const std::string text(8000, 'x');
    const auto start = Clock::now();
    for (int i = 0; i < 1000; ++i) log_.write(kWarning, text.c_str());
    EXPECT_LT(Clock::now() - start, 10 * SystemLog::PATIENCE);
}

TEST_F(SystemLogTest, LinesGetOutWhenNoDescriptorIsLeft) {
    LogSocket socket(path_);
    log_.open("gateway", false);
    const LimitedDescriptors none(static_cast<rlim_t>(nextDescriptor()));
    log_.write(kWarning, "no descriptors");
    EXPECT_TRUE(socket.waitFor("no descriptors"));
}

}  // namespace
}  // namespace teskd::test
