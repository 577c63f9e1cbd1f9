#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

#include "core/LogSource.h"
#include "core/Thread.h"
#include "support/Deadline.h"
#include "support/ProcInfo.h"
#include "support_src/FailingThreads.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using Lines = std::vector<LogEntry>;
using Body = std::function<void(Thread&)>;

class Worker : public Thread {
  public:
    explicit Worker(Body body) : body_(std::move(body)) {}
    Worker(const std::string& name, Body body) : Thread(name), body_(std::move(body)) {}
    Worker(const Worker&) = default;
    ~Worker() noexcept(false) override {
        if (onDestruction) onDestruction();
    }

    void run() override { body_(*this); }

    std::function<void()> onDestruction;

  private:
    Body body_;
};

class SharingWorker : public Thread {
  public:
    explicit SharingWorker(LogSource& log) : Thread("T", log) {}
    ~SharingWorker() noexcept(false) override = default;
    void run() override {}
};

// The size of the process in KiB, summed from the map of its memory: of an emulated one, other
// files tell the emulator's.
std::size_t addressSpace() {
    std::ifstream map("/proc/self/maps");
    std::uint64_t size = 0;
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    char dash = 0;
    std::string rest;
    while (map >> std::hex >> from >> dash >> to && std::getline(map, rest)) size += to - from;
    return static_cast<std::size_t>(size / 1024);
}

const Body nothing = [](Thread&) {};
const Body untilStopped = [](Thread& thread) {
    while (thread.isRunning()) std::this_thread::yield();
};

TEST(Thread, RunsItsBodyOnAThreadOfItsOwn) {
    std::thread::id where;
    Worker worker([&](Thread&) { where = std::this_thread::get_id(); });
    EXPECT_EQ(0, worker.start());
    worker.join();
    EXPECT_NE(std::thread::id(), where);
    EXPECT_NE(std::this_thread::get_id(), where);
}

TEST(Thread, IsRunningFromStartUntilTheBodyHasEnded) {
    std::latch end(1);
    Worker worker([&](Thread&) { end.wait(); });
    EXPECT_FALSE(worker.isRunning());
    worker.start();
    EXPECT_TRUE(worker.isRunning());
    end.count_down();
    worker.join();
    EXPECT_FALSE(worker.isRunning());
}

TEST(Thread, StopClearsTheFlagAndNothingElse) {
    std::latch end(1);
    std::atomic<bool> ended = false;
    Worker worker([&](Thread&) {
        end.wait();
        ended = true;
    });
    worker.start();
    worker.stop();
    EXPECT_FALSE(worker.isRunning());
    EXPECT_FALSE(ended);
    end.count_down();
    worker.join();
    EXPECT_TRUE(ended);
}

TEST(Thread, ABodyThatLooksAtTheFlagEndsAfterStop) {
    Worker worker(untilStopped);
    worker.start();
    worker.stop();
    worker.join();
}

TEST(Thread, StopInterruptsTheBody) {
    struct Sleeper : Thread {
        void run() override { woken.wait(); }
        void interrupt() override { woken.count_down(); }
        std::latch woken{1};
    } sleeper;
    sleeper.start();
    sleeper.stop();
    sleeper.join();
}

TEST(Thread, LogsItsEnd) {
    const LogRecorder log;
    Worker worker("T", nothing);
    worker.start();
    worker.join();
    EXPECT_EQ((Lines{{181, "Thread 'T' Terminated"}}), log.lines());
}

TEST(Thread, ThatIsStartedAgainAndAgainLogsAFewEndsASecond) {
    const LogRecorder log;
    const auto start = std::chrono::steady_clock::now();
    Worker worker("T", nothing);
    for (int i = 0; i < 50; ++i) {
        worker.start();
        worker.join();
    }
    const auto seconds = static_cast<std::size_t>(
        std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count());
    EXPECT_GE(log.count({181, "Thread 'T' Terminated"}), 4U);
    EXPECT_LE(log.count({181, "Thread 'T' Terminated"}), 4U * (seconds + 1));
}

TEST(Thread, ThatIsHandedASourceLogsItsEndThere) {
    const LogRecorder log;
    LogSource none(0);
    SharingWorker worker(none);
    worker.start();
    worker.join();
    EXPECT_EQ(Lines{}, log.lines());
    EXPECT_TRUE(none.hasUnreported());
}

TEST(Thread, WithoutANameItIsUnknown) {
    const LogRecorder log;
    Worker worker(nothing);
    worker.start();
    worker.join();
    EXPECT_EQ((Lines{{181, "Thread '<unknown>' Terminated"}}), log.lines());
}

TEST(Thread, AnEscapingExceptionIsLoggedBeforeTheEnd) {
    const LogRecorder log;
    Worker worker("T", [](Thread&) { throw IOException("x"); });
    worker.start();
    worker.join();
    EXPECT_EQ((Lines{{180, "Unandled Exception 'IOException: x' in thread: 'T'"},
                     {181, "Thread 'T' Terminated"}}),
              log.lines());
    EXPECT_FALSE(worker.isRunning());
}

TEST(Thread, AnEscapingForeignExceptionIsLoggedWithoutItsText) {
    const LogRecorder log;
    Worker worker("T", [](Thread&) { throw std::runtime_error("x"); });
    worker.start();
    worker.join();
    EXPECT_EQ((Lines{{180, "Unandled Exception in thread: 'T'"}, {181, "Thread 'T' Terminated"}}),
              log.lines());
}

TEST(Thread, AnythingElseThrownIsLoggedTheSameWay) {
    const LogRecorder log;
    Worker worker([](Thread&) { throw 42; });
    worker.start();
    worker.join();
    EXPECT_EQ((Lines{{180, "Unandled Exception in thread: '<unknown>'"},
                     {181, "Thread '<unknown>' Terminated"}}),
              log.lines());
}

TEST(Thread, TheFlagIsClearedBeforeTheEndIsLogged) {
    const LogRecorder log;
    Worker worker("T", nothing);
    worker.setAutoDelete();
    worker.start();
    ASSERT_TRUE(log.waitFor({181, "Thread 'T' Terminated"}));
    EXPECT_FALSE(worker.isRunning());
    worker.awaitEnd();
}

TEST(Thread, MayBeStartedAgainAfterItsEnd) {
    int runs = 0;
    Worker worker([&](Thread& thread) {
        EXPECT_TRUE(thread.isRunning());
        ++runs;
    });
    for (int i = 0; i < 3; ++i) {
        worker.start();
        worker.join();
    }
    EXPECT_EQ(3, runs);
}

TEST(Thread, TheEndOfAnEarlierRunDoesNotStopALaterOne) {
    const LogRecorder log;
    std::atomic<int> runs = 0;
    std::latch endFirst(1);
    Worker worker("T", [&](Thread& thread) {
        if (runs++ == 0) {
            endFirst.wait();
        } else {
            untilStopped(thread);
        }
    });
    worker.setAutoDelete();  // detached: both runs end without a join
    worker.start();
    EXPECT_TRUE(eventually([&] { return runs == 1; }));
    worker.stop();
    worker.start();
    EXPECT_TRUE(eventually([&] { return runs == 2; }));
    endFirst.count_down();
    ASSERT_TRUE(log.waitFor({181, "Thread 'T' Terminated"}));
    EXPECT_TRUE(worker.isRunning());
    worker.stop();
    worker.awaitEnd();
    EXPECT_EQ(2U, log.count({181, "Thread 'T' Terminated"}));
}

TEST(Thread, AwaitEndReturnsAtOnceWithoutAThread) {
    Worker worker(nothing);
    worker.awaitEnd();
    worker.start();
    worker.join();
    worker.awaitEnd();
}

TEST(Thread, AFailedCreationIsTheResultOfStartAndTheFlagStays) {
    const LogRecorder log;
    Worker worker(nothing);
    {
        const FailingThreads noThreads(1);
        EXPECT_EQ(EAGAIN, worker.start());
    }
    EXPECT_TRUE(worker.isRunning());
    EXPECT_EQ(Lines{}, log.lines());
    worker.awaitEnd();
    EXPECT_EQ(0, worker.start());
    worker.join();
    EXPECT_FALSE(worker.isRunning());
}

TEST(Thread, WithoutAThreadThereIsNothingToJoinToCancelOrToSignal) {
    Worker worker(nothing);
    {
        const FailingThreads noThreads(1);
        worker.start();
    }
    worker.join();
    worker.cancel();
    EXPECT_EQ(ESRCH, worker.kill(SIGUSR1));
    EXPECT_FALSE(worker.isRunning());
}

TEST(Thread, KillSendsASignalToItsThread) {
    std::latch ready(1);
    int received = 0;
    Worker worker([&](Thread&) {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        ready.count_down();
        const timespec patience{10, 0};
        received = sigtimedwait(&signals, nullptr, &patience);
    });
    worker.start();
    ready.wait();
    EXPECT_EQ(0, worker.kill(SIGUSR1));
    worker.join();
    EXPECT_EQ(SIGUSR1, received);
}

// A thread that is cancelled in a call of the system unwinds through a signal, which the
// controller's emulator does not lay out so that it could.
#if !defined(__powerpc__)
TEST(Thread, CancelEndsAThreadThatIsBlocked) {
    Worker worker([](Thread&) {
        for (;;) ::pause();
    });
    worker.start();
    worker.cancel();
    EXPECT_FALSE(worker.isRunning());
    worker.join();
    worker.awaitEnd();
}
#endif

TEST(Thread, CancelEndsAThreadThatIsAboutToBlock) {
    std::atomic<bool> cancelled = false;
    Worker worker([&](Thread&) {
        while (!cancelled) std::this_thread::yield();
        for (;;) ::pause();
    });
    worker.start();
    worker.cancel();
    cancelled = true;
    EXPECT_FALSE(worker.isRunning());
    worker.join();
    worker.awaitEnd();
}

TEST(Thread, ACopyHasTheNameButNoThread) {
    const LogRecorder log;
    std::latch end(1);
    Worker source("T", [&](Thread&) { end.wait(); });
    source.start();
    Worker copy(source);
    EXPECT_TRUE(source.isRunning());
    EXPECT_FALSE(copy.isRunning());
    EXPECT_FALSE(copy.isHeapAllocated());
    end.count_down();
    source.join();
    copy.start();
    copy.join();
    EXPECT_EQ(2U, log.count({181, "Thread 'T' Terminated"}));
}

TEST(Thread, ASelfDeletingHeapThreadIsDestroyedAfterItsBody) {
    const LogRecorder log;
    std::atomic<bool> ended = false;
    std::atomic<bool> endedBefore = false;
    std::atomic<bool> destroyed = false;
    auto* const worker = new Worker("T", [&](Thread&) { ended = true; });
    worker->onDestruction = [&] {
        endedBefore = ended.load();
        destroyed = true;
    };
    worker->setAutoDelete();
    EXPECT_EQ(0, worker->start());
    EXPECT_TRUE(eventually([&] { return destroyed.load(); }));
    EXPECT_TRUE(endedBefore);
    EXPECT_EQ((Lines{{181, "Thread 'T' Terminated"}}), log.lines());
}

TEST(Thread, AHeapThreadWithoutTheMarkStays) {
    std::atomic<bool> destroyed = false;
    auto worker = std::unique_ptr<Worker>(new Worker(nothing));
    worker->onDestruction = [&] { destroyed = true; };
    worker->setAutoDelete();
    worker->clearAutoDelete();
    worker->start();
    worker->join();
    EXPECT_FALSE(destroyed);
    worker.reset();
    EXPECT_TRUE(destroyed);
}

TEST(Thread, AMarkedThreadThatIsNotOnTheHeapStays) {
    std::atomic<bool> destroyed = false;
    static Worker worker(nothing);
    worker.onDestruction = [&] { destroyed = true; };
    worker.setAutoDelete();
    worker.start();
    worker.awaitEnd();
    EXPECT_FALSE(destroyed);
    EXPECT_FALSE(worker.isRunning());
    worker.start();  // still a whole object
    worker.awaitEnd();
    worker.onDestruction = nullptr;
}

TEST(Thread, AThousandSelfDeletingThreadsLeaveNoThreadBehind) {
    std::atomic<int> destroyed = 0;
    for (int i = 0; i < 1000; ++i) {
        auto* const worker = new Worker(nothing);
        worker->onDestruction = [&] { ++destroyed; };
        worker->setAutoDelete();
        ASSERT_EQ(0, worker->start());
    }
    EXPECT_TRUE(eventually([&] { return destroyed == 1000; }));
    EXPECT_TRUE(eventually([] { return threadCount(::getpid()) <= 2; }));  // a sanitizer has one
}

// KiB of address space that 300 runs take which nobody joins. A joinable thread keeps its stack of
// some MiB until it is joined; a detached one does not.
// Each run begins when the thread of the one before is gone: two at once take another arena of
// malloc's.
std::size_t spaceTakenByRunsOf(Thread& thread) {
    std::thread([] {}).join();  // the thread sanitizer has a thread of its own from the first on
    const std::size_t threads = threadCount(::getpid());
    const auto runTimes = [&](int times) {
        for (int i = 0; i < times; ++i) {
            EXPECT_EQ(0, thread.start());
            thread.awaitEnd();
            EXPECT_TRUE(eventually([&] { return threadCount(::getpid()) <= threads; }));
        }
    };
    runTimes(20);
    const std::size_t before = addressSpace();
    runTimes(300);
    return addressSpace() - std::min(before, addressSpace());
}

constexpr std::size_t kManyStacks = 100 * Thread::STACK_SIZE / 1024;  // KiB

TEST(Thread, ItsStackHasTheSizeThatIsMeantForIt) {
    std::size_t size = 0;
    Worker worker([&](Thread&) {
        pthread_attr_t attributes;
        ASSERT_EQ(0, pthread_getattr_np(pthread_self(), &attributes));
        void* start = nullptr;
        EXPECT_EQ(0, pthread_attr_getstack(&attributes, &start, &size));
        EXPECT_EQ(0, pthread_attr_destroy(&attributes));
    });
    ASSERT_EQ(0, worker.start());
    worker.join();
    EXPECT_EQ(Thread::STACK_SIZE, size);
}

TEST(Thread, AMarkedThreadThatIsNotOnTheHeapIsDetached) {
    Worker worker(nothing);
    worker.setAutoDelete();
    EXPECT_LT(spaceTakenByRunsOf(worker), kManyStacks);
}

TEST(Thread, ACopyIsMarkedLikeItsSource) {
    Worker source(nothing);
    source.setAutoDelete();
    Worker copy(source);
    EXPECT_LT(spaceTakenByRunsOf(copy), kManyStacks);
}

}  // namespace
}  // namespace teskd::test
