#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

#include "core/BrokenPipe.h"

namespace teskd::test {
namespace {

class BrokenPipeTest : public testing::Test {
  protected:
    BrokenPipeTest() { ::sigaction(SIGPIPE, nullptr, &before_); }
    ~BrokenPipeTest() noexcept override { ::sigaction(SIGPIPE, &before_, nullptr); }

  private:
    struct sigaction before_ {};
};

TEST_F(BrokenPipeTest, WritingToAPipeWithoutAReaderFails) {
    std::signal(SIGPIPE, SIG_DFL);
    surviveBrokenPipes();
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    ::close(ends[0]);
    EXPECT_EQ(-1, ::write(ends[1], "x", 1));
    EXPECT_EQ(EPIPE, errno);
    ::close(ends[1]);
}

// An ignored signal stays ignored in a program that the process becomes, a handled one does not.
TEST_F(BrokenPipeTest, TheSignalIsHandledAndNotIgnored) {
    std::signal(SIGPIPE, SIG_IGN);
    surviveBrokenPipes();
    struct sigaction action {};
    ::sigaction(SIGPIPE, nullptr, &action);
    EXPECT_NE(SIG_IGN, action.sa_handler);
    EXPECT_NE(SIG_DFL, action.sa_handler);
}

}  // namespace
}  // namespace teskd::test
