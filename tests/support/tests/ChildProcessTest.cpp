#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

TEST(ChildProcess, IsStuckWhileNobodyReadsItsOutput) {
    ChildProcess program({.command = {"sh", "-c", "sleep 0.2; exec head -c 100000 /dev/zero >&2"}});
    program.leaveOutputUnread();
    EXPECT_FALSE(program.waitForExit(700ms));
    program.readOutputAgain();
    ASSERT_TRUE(program.waitForExit());
    EXPECT_EQ(100000U, program.standardError().size());
}

}  // namespace
}  // namespace teskd::test
