#include <gtest/gtest.h>

#include "dorn/HostInputStream.h"

namespace teskd::test {
namespace {

// Hands out at most two bytes at a time, and always has more.
class Trickle : public InputStream {
  public:
    using InputStream::read;
    int read(char* buffer, int len) override {
        const int n = len < 2 ? len : 2;
        for (int i = 0; i < n; ++i) buffer[i] = 'x';
        return n;
    }
    unsigned available() override { return 7; }
};

TEST(HostInputStream, WaitsBeforeEachRead) {
    Trickle trickle;
    int waits = 0;
    HostInputStream host(trickle, [&waits] { ++waits; });
    char buffer[4];
    EXPECT_EQ(host.read(buffer, 4), 2);
    EXPECT_EQ(host.read(buffer, 4), 2);
    EXPECT_EQ(waits, 2);
}

TEST(HostInputStream, HasNothingAvailableBehindAReadThatLeftRoom) {
    Trickle trickle;
    HostInputStream host(trickle, [] {});
    char buffer[4];
    EXPECT_EQ(host.available(), 7U);
    EXPECT_EQ(host.read(buffer, 4), 2);
    EXPECT_EQ(host.available(), 0U);
}

TEST(HostInputStream, AsksWhatIsAvailableBehindAReadThatTookAllItsRoom) {
    Trickle trickle;
    HostInputStream host(trickle, [] {});
    char buffer[4];
    EXPECT_EQ(host.read(buffer, 4), 2);
    EXPECT_EQ(host.read(buffer, 2), 2);
    EXPECT_EQ(host.available(), 7U);
}

}  // namespace
}  // namespace teskd::test
