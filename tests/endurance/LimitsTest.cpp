// What the daemon does with the limits it is given, and at them.

#include <gtest/gtest.h>

#include "endurance/Endurance.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

rlimit descriptorLimit(pid_t pid) {
    rlimit limit{};
    EXPECT_EQ(0, ::prlimit(pid, RLIMIT_NOFILE, nullptr, &limit));
    return limit;
}

TEST(Limits, TheDaemonRaisesItsDescriptorLimitToTheHighestAllowed) {
    Gateway gateway;
    {
        const Limit low(0, RLIMIT_NOFILE, 256);
        gateway.start();
    }
    const rlimit limit = descriptorLimit(gateway.daemon().pid());
    EXPECT_EQ(descriptorLimit(0).rlim_max, limit.rlim_max);
    EXPECT_EQ(limit.rlim_max, limit.rlim_cur);
    report("descriptor_limit", static_cast<double>(limit.rlim_cur), "descriptors");
    HostClient host = gateway.host();
    expectVersion(host);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
