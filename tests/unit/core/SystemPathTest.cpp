#include <cstdlib>
#include <gtest/gtest.h>

#include "core/SystemPath.h"
#include "support_src/UnitEnvironment.h"

namespace teskd::test {
namespace {

// Puts the variable back, whatever the test did to it.
class SystemPath : public testing::Test {
    const PrivateRoot restored_;
};

TEST_F(SystemPath, IsTheAbsolutePathWhenNoRootIsSet) {
    ::unsetenv("TESKD_ROOT");
    EXPECT_EQ("/etc/tesk_v2.ini", systemPath("/etc/tesk_v2.ini"));
}

TEST_F(SystemPath, LiesBehindTheRoot) {
    ::setenv("TESKD_ROOT", "/somewhere/else", 1);
    EXPECT_EQ("/somewhere/else/config/", systemPath("/config/"));
}

TEST_F(SystemPath, AnEmptyRootChangesNothing) {
    ::setenv("TESKD_ROOT", "", 1);
    EXPECT_EQ("/tmp/dump_map.ini", systemPath("/tmp/dump_map.ini"));
}

}  // namespace
}  // namespace teskd::test
