#include <gtest/gtest.h>
#include <string>

#include "core/Log.h"
#include "support_src/FailingNew.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

TEST(Log, PrioritiesCarryTheFacility) {
    EXPECT_EQ(179, Log::ERROR);
    EXPECT_EQ(180, Log::WARNING);
    EXPECT_EQ(181, Log::NOTICE);
    EXPECT_EQ(182, Log::INFO);
    EXPECT_EQ(183, Log::DEBUG);
}

TEST(Log, FormatsTheLine) {
    const LogRecorder log;
    Log::write(180, "%s:%d '%c'", "place", 42, 'x');
    EXPECT_EQ((std::vector<LogEntry>{{180, "place:42 'x'"}}), log.lines());
}

TEST(Log, TextOfAPeerIsNeverAFormat) {
    const LogRecorder log;
    Log::write(Log::ERROR, "%s", "100%n %s %d");
    EXPECT_EQ((std::vector<LogEntry>{{179, "100%n %s %d"}}), log.lines());
}

TEST(Log, LongLinesAreNotCut) {
    const LogRecorder log;
    const std::string text(100'000, 'x');
    Log::write(Log::DEBUG, "<%s>", text.c_str());
    EXPECT_EQ((std::vector<LogEntry>{{183, "<" + text + ">"}}), log.lines());
}

TEST(Log, WithoutMemoryALongLineIsItsBareWords) {
    const LogRecorder log;
    const std::string text(100'000, 'x');
    {
        const FailingNew fails(1);
        Log::write(Log::WARNING, "<%s>", text.c_str());
    }
    EXPECT_EQ((std::vector<LogEntry>{{180, "<%s>"}}), log.lines());
}

}  // namespace
}  // namespace teskd::test
