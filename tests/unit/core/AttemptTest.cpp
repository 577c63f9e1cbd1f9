#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "core/Attempt.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

TEST(Attempt, TellsThatTheWorkIsDone) {
    const LogRecorder log;
    bool done = false;
    EXPECT_TRUE(attempt("It cannot be done", [&] { done = true; }));
    EXPECT_TRUE(done);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Attempt, LogsWhateverTheWorkThrows) {
    const LogRecorder log;
    EXPECT_FALSE(attempt("One", [] { throw Exception("of ours"); }));
    EXPECT_FALSE(attempt("Two", [] { throw std::runtime_error("of the library's"); }));
    EXPECT_EQ((std::vector<LogEntry>{{180, "One: of ours"}, {180, "Two: of the library's"}}),
              log.lines());
}

TEST(Attempt, HandsOverWhateverTheWorkThrows) {
    std::string problem;
    const auto failed = [&](const Exception& e) { problem += e.text(); };
    EXPECT_FALSE(attemptOr([] { throw IOException("of ours"); }, failed));
    EXPECT_FALSE(attemptOr([] { throw std::runtime_error(", of the library's"); }, failed));
    EXPECT_TRUE(attemptOr([] {}, failed));
    EXPECT_EQ("IOException: of ours, of the library's", problem);
}

// A cancelled thread's is one.
TEST(Attempt, LetsAForeignExceptionPass) {
    EXPECT_THROW(attempt("It cannot be done", [] { throw 1; }), int);
}

}  // namespace
}  // namespace teskd::test
