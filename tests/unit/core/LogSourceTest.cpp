#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "core/LogSource.h"
#include "support/Deadline.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<LogEntry>;

LogEntry dropped(unsigned long lines) {
    return {181, std::to_string(lines) + " more lines were not logged"};
}

class LogSourceTest : public testing::Test {
  protected:
    // How many of so many lines are written.
    static int written(LogSource& source, int lines) {
        int count = 0;
        for (; lines > 0; --lines) count += source.notice("line") ? 1 : 0;
        return count;
    }
    // The result of a try that took less than a second: in a longer one the budget is renewed.
    template <class Try>
    static auto withinASecond(Try work) {
        for (;;) {
            const Clock::time_point start = Clock::now();
            const auto result = work();
            if (Clock::now() - start < std::chrono::seconds(1)) return result;
        }
    }
    // The lines in the log that the sources wrote about others.
    Lines counts() const {
        Lines lines = log.lines();
        std::erase(lines, LogEntry{181, "line"});
        return lines;
    }

    LogRecorder log;
};

TEST_F(LogSourceTest, WritesLinesOfEachPriority) {
    LogSource source;
    EXPECT_TRUE(source.warning("%s %d", "a", 1));
    EXPECT_TRUE(source.notice("%s", "100%s"));
    EXPECT_TRUE(source.info("c"));
    EXPECT_TRUE(source.debug("%zu", std::size_t{4}));
    EXPECT_EQ((Lines{{180, "a 1"}, {181, "100%s"}, {182, "c"}, {183, "4"}}), log.lines());
}

TEST_F(LogSourceTest, WritesALongLineWhole) {
    LogSource source;
    const std::string text(5000, 'x');
    EXPECT_TRUE(source.notice("<%s>", text.c_str()));
    EXPECT_EQ((Lines{{181, "<" + text + ">"}}), log.lines());
}

TEST_F(LogSourceTest, WritesAFewLinesAndNoMore) {
    EXPECT_EQ(4, withinASecond([] {
                  LogSource source;
                  return written(source, 100);
              }));
}

TEST_F(LogSourceTest, WritesAFewMoreInTheNextSecond) {
    LogSource source;
    const Clock::time_point start = Clock::now();
    while (source.notice("line")) continue;
    ASSERT_TRUE(eventually([&source] { return source.notice("line"); }));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
}

TEST_F(LogSourceTest, WritesAsManyAsItsBudgetAllows) {
    EXPECT_EQ(7, withinASecond([] {
                  LogSource source(7);
                  return written(source, 100);
              }));
}

TEST_F(LogSourceTest, WithoutALimitWritesEveryLine) {
    EXPECT_EQ(1000, written(LogSource::unlimited(), 1000));
    EXPECT_EQ(1000U, log.lines().size());
    EXPECT_FALSE(LogSource::unlimited().hasUnreported());
}

TEST_F(LogSourceTest, LinesOfStandardErrorCountOnTheBudgetToo) {
    LogSource source;
    LogSource none(0);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(source.standardError("code: ", "1"));
    EXPECT_FALSE(none.standardError("code: ", "2"));
    EXPECT_EQ("code: 1\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(Lines{}, log.lines());
    EXPECT_TRUE(none.hasUnreported());
}

TEST_F(LogSourceTest, ReportsTheDroppedLinesBeforeTheNextOne) {
    LogSource source;
    while (source.notice("line")) continue;
    unsigned long tries = 0;
    ASSERT_TRUE(eventually([&] {
        ++tries;
        return source.notice("next");
    }));
    EXPECT_EQ((Lines{dropped(tries), {181, "next"}}), counts());
}

TEST_F(LogSourceTest, ReportsNothingWhenNothingWasDropped) {
    {
        LogSource source;
        EXPECT_EQ(4, written(source, 4));
        EXPECT_FALSE(source.hasUnreported());
        source.report();
    }
    EXPECT_EQ(Lines{}, counts());
}

TEST_F(LogSourceTest, ReportsOnceTheSecondIsOver) {
    LogSource source(0);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(0, written(source, 10));
    EXPECT_TRUE(source.hasUnreported());
    ASSERT_TRUE(eventually([&] {
        source.report();
        return !source.hasUnreported();
    }));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    source.report();
    EXPECT_EQ(Lines{dropped(10)}, counts());
}

TEST_F(LogSourceTest, ReportsAtItsEndWhatWasDropped) {
    {
        LogSource source(0);
        written(source, 9);
    }
    EXPECT_EQ(Lines{dropped(9)}, counts());
}

TEST_F(LogSourceTest, NamesTheKindOfTheDroppedLines) {
    {
        LogSource source(0, "odd lines");
        written(source, 2);
    }
    EXPECT_EQ((Lines{{181, "2 more odd lines were not logged"}}), counts());
}

// A log that keeps no debug lines does not get their count either, and one that keeps warnings
// alone gets the count of those.
TEST_F(LogSourceTest, TheCountHasThePriorityOfTheMostUrgentLineThatItCounts) {
    {
        LogSource source(0);
        source.debug("line");
        source.debug("line");
    }
    {
        LogSource source(0);
        source.debug("line");
        source.info("line");
        source.debug("line");
    }
    {
        LogSource source(0);
        source.notice("line");
        source.warning("line");
        source.info("line");
    }
    EXPECT_EQ((Lines{{183, "2 more lines were not logged"},
                     {182, "3 more lines were not logged"},
                     {180, "3 more lines were not logged"}}),
              log.lines());
}

TEST_F(LogSourceTest, TheNextCountDoesNotKeepThePriorityOfTheLastOne) {
    LogSource source(0);
    source.warning("line");
    ASSERT_TRUE(eventually([&source] {
        source.report();
        return !source.hasUnreported();
    }));
    source.debug("line");
    ASSERT_TRUE(eventually([&source] {
        source.report();
        return !source.hasUnreported();
    }));
    EXPECT_EQ((Lines{{180, "1 more lines were not logged"}, {183, "1 more lines were not logged"}}),
              log.lines());
}

TEST_F(LogSourceTest, AParentThatTakesACountOverTakesItsPriorityOver) {
    {
        LogSource parent(0);
        {
            LogSource child(0, parent);
            child.warning("line");
            child.debug("line");
        }
        parent.debug("line");
    }
    EXPECT_EQ((Lines{{180, "3 more lines were not logged"}}), log.lines());
}

TEST_F(LogSourceTest, ChildrenShareTheBudgetOfTheirParent) {
    EXPECT_EQ((std::vector{4, 2}), withinASecond([] {
                  LogSource parent(6);
                  LogSource first(4, parent);
                  LogSource second(4, parent);
                  const int writtenFirst = written(first, 4);
                  return std::vector{writtenFirst, written(second, 4)};
              }));
}

TEST_F(LogSourceTest, AChildLeavesTheRestOfItsParentsBudgetToOthers) {
    EXPECT_EQ((std::vector{4, 2}), withinASecond([] {
                  LogSource parent(6);
                  LogSource child(4, parent);
                  const int writtenByChild = written(child, 100);
                  return std::vector{writtenByChild, written(parent, 100)};
              }));
}

TEST_F(LogSourceTest, EachDroppedLineOfAChildIsCountedOnceByItOrByItsParent) {
    {
        LogSource parent(0);
        {
            LogSource child(4, parent);
            EXPECT_EQ(0, written(child, 10));
        }
        EXPECT_EQ(Lines{}, counts());
    }
    EXPECT_EQ(Lines{dropped(10)}, counts());
}

TEST_F(LogSourceTest, CountsEveryLineOfManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kLines = 20000;
    std::atomic<unsigned long> counted{0};
    {
        LogSource parent(6);
        LogSource child(5, parent);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&counted, &source = i % 2 == 0 ? parent : child] {
                counted += static_cast<unsigned long>(written(source, kLines));
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    for (const LogEntry& entry : counts()) counted += std::stoul(entry.text);
    EXPECT_EQ(static_cast<unsigned long>(kThreads * kLines), counted.load());
}

}  // namespace
}  // namespace teskd::test
