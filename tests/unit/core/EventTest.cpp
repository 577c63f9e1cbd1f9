#include <atomic>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "core/Event.h"
#include "core/Exception.h"
#include "support/Deadline.h"
#include "support/ProcInfo.h"
#include "support/UniqueFd.h"

namespace teskd::test {
namespace {

bool readable(const Event& event, int milliseconds = 0) {
    pollfd wanted{event.descriptor(), POLLIN, 0};
    return ::poll(&wanted, 1, milliseconds) == 1 && (wanted.revents & POLLIN) != 0;
}

TEST(Event, StartsClear) {
    const Event event;
    EXPECT_FALSE(event.isSet());
    EXPECT_FALSE(readable(event));
}

TEST(Event, StaysSetUntilCleared) {
    Event event;
    event.set();
    EXPECT_TRUE(event.isSet());
    EXPECT_TRUE(readable(event));
    EXPECT_TRUE(readable(event));
    event.clear();
    EXPECT_FALSE(event.isSet());
    EXPECT_FALSE(readable(event));
}

TEST(Event, CanBeSetAgain) {
    Event event;
    event.set();
    event.clear();
    event.set();
    EXPECT_TRUE(event.isSet());
    EXPECT_TRUE(readable(event));
}

TEST(Event, SettingItOftenNeverBlocks) {
    Event event;
    for (int i = 0; i < 100'000; ++i) event.set();
    EXPECT_TRUE(readable(event));
    event.clear();
    EXPECT_FALSE(readable(event));
}

TEST(Event, OpenedWhenAwaitedItHasNoDescriptorBefore) {
    const std::size_t before = openDescriptors(::getpid());
    Event event(Event::Opening::WHEN_AWAITED);
    event.set();
    event.clear();
    EXPECT_EQ(before, openDescriptors(::getpid()));
    EXPECT_FALSE(readable(event));
    EXPECT_EQ(before + 1, openDescriptors(::getpid()));
    const int descriptor = event.descriptor();
    event.set();
    EXPECT_TRUE(readable(event));
    EXPECT_EQ(descriptor, event.descriptor());
}

TEST(Event, OpenedWhenAwaitedItShowsWhatWasSetBefore) {
    Event event(Event::Opening::WHEN_AWAITED);
    event.set();
    EXPECT_TRUE(readable(event));
    event.clear();
    EXPECT_FALSE(readable(event));
}

TEST(Event, WakesEverybodyWhoPolls) {
    Event event;
    std::atomic<int> woken = 0;
    const auto pollLong = [&] {
        if (readable(event, static_cast<int>(kPatience.count()))) ++woken;
    };
    std::thread first(pollLong);
    std::thread second(pollLong);
    event.set();
    first.join();
    second.join();
    EXPECT_EQ(2, woken);
}

TEST(Event, SettingAndClearingAtOnceLeavesFlagAndDescriptorInAgreement) {
    Event event;
    const Deadline enough(std::chrono::seconds(10));  // a busy machine gets through fewer rounds
    for (int round = 0; round < 3000 && !enough.passed(); ++round) {
        std::atomic<int> ready = 0;
        const auto line = [&] {
            ++ready;
            while (ready < 2) std::this_thread::yield();
        };
        std::thread clearer([&] {
            line();
            event.clear();
        });
        line();
        event.set();
        clearer.join();
        ASSERT_EQ(event.isSet(), readable(event)) << "round " << round;
        event.clear();
    }
}

TEST(Event, GivesItsDescriptorsBack) {
    const std::size_t before = openDescriptors(::getpid());
    { const Event event; }
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

TEST(Event, OutOfDescriptorsIsAnIOException) {
    EXPECT_NO_THROW(Event());
    rlimit limit{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    const UniqueFd next(::dup(0));
    rlimit none = limit;
    none.rlim_cur = static_cast<rlim_t>(next.get());
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    EXPECT_THROW(Event(), IOException);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace
}  // namespace teskd::test
