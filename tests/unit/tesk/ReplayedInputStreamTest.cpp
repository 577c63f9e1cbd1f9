#include <gtest/gtest.h>

#include "support_src/ScriptedInputStream.h"
#include "tesk/ReplayedInputStream.h"

namespace teskd::test {
namespace {

TEST(ReplayedInputStream, ReadsWhatWasPutBackFirst) {
    ScriptedInputStream inner{"cd"};
    ReplayedInputStream stream(inner);
    stream.replay("b");
    stream.replay(
        "\xFF"
        "a");
    EXPECT_EQ(0xFF, stream.read());
    char buffer[8] = {};
    EXPECT_EQ(1, stream.read(buffer, 1));
    EXPECT_EQ('a', buffer[0]);
    EXPECT_EQ(1, stream.read(buffer, 8));
    EXPECT_EQ('b', buffer[0]);
    EXPECT_EQ(2, stream.read(buffer, 8));
    EXPECT_EQ(-1, stream.read());
}

}  // namespace
}  // namespace teskd::test
