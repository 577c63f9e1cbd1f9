#include <gtest/gtest.h>
#include <sys/resource.h>

#include "core/DescriptorLimit.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

rlimit present() {
    rlimit limit{};
    EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    return limit;
}

TEST(DescriptorLimitTest, RaisesTheProcesssOwnLimitToTheHighestAllowed) {
    const LogRecorder log;
    const rlimit before = present();
    const rlimit low{100, before.rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &low));
    raiseDescriptorLimit();
    EXPECT_EQ(before.rlim_max, present().rlim_cur);
    EXPECT_EQ(before.rlim_max, present().rlim_max);
    EXPECT_TRUE(log.lines().empty());
}

TEST(DescriptorLimitTest, ALimitThatIsTheHighestAlreadyStays) {
    const LogRecorder log;
    const rlimit highest{present().rlim_max, present().rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &highest));
    raiseDescriptorLimit();
    EXPECT_EQ(highest.rlim_max, present().rlim_cur);
    EXPECT_TRUE(log.lines().empty());
}

TEST(DescriptorLimitTest, TellsTheProcesssOwnLimitAsItIsNow) {
    const rlimit few{100, present().rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
    EXPECT_EQ(100U, descriptorLimit());
    raiseDescriptorLimit();
    EXPECT_EQ(few.rlim_max, descriptorLimit());
}

}  // namespace
}  // namespace teskd::test
