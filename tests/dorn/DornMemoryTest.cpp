// What the requests and answers of hosts hold in memory, and who gives way when there is no more.

#include <gtest/gtest.h>
#include <malloc.h>
#include <string>

#include "HostLink.h"
#include "support/Bytes.h"
#include "support/Frame.h"

namespace teskd::test {
namespace {

constexpr std::size_t kMebibyte = 1'048'576;

// Bytes that the process has allocated; 0 where a sanitizer does the allocations.
std::size_t allocated() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::string request(std::uint8_t type, std::uint32_t id, const std::string& body = "") {
    Frame frame;
    frame.type = type;
    frame.identifierB = id;
    frame.body = body;
    return frame.encode();
}

// The connection has taken everything that was sent before.
void expectAllTaken(HostClient& host) {
    host.sendRaw(request(7, 4711));
    EXPECT_EQ(4711U, host.readFrame().identifierB);
}

TEST(DornMemoryTest, ARequestThatWaitsForAMachineKeepsNothingOfABodyThatIsDecoded) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    const std::string large =
        request(2, 1, std::string(16, '\0') + "ZA000000001" + std::string(kMebibyte, 'x'));
    expectAllTaken(link.host());
    const std::size_t before = allocated();
    for (int i = 0; i < 12; ++i) link.host().sendRaw(large);
    expectAllTaken(link.host());
    EXPECT_LT(allocated(), before + kMebibyte);
}

// The text of the message to the machine, and what it is written from.
TEST(DornMemoryTest, ARequestThatWaitsForAMachineKeepsItsTextOnce) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().sendRaw(request(2, 1, std::string(16, '\0') + "ZA000000001"));
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    const std::string large =
        request(6, 2, "ZA000000001" + std::string(4, '\0') + std::string(12 * kMebibyte, 'x'));
    const std::size_t before = allocated();
    link.host().sendRaw(large);
    expectAllTaken(link.host());
    EXPECT_LT(allocated(), before + 13 * kMebibyte);
}

}  // namespace
}  // namespace teskd::test
