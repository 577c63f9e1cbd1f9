// Several machines answer several hosts at the same moment, on threads of their own.

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "HostLink.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

constexpr std::size_t kMachines = 8;
constexpr std::uint32_t kRequests = 40;

// The last sequence number by request.
using Numbers = std::map<std::uint32_t, int>;

// Expects the frames of each request in the order of their numbers.
Numbers readNumbers(HostClient& host, std::size_t frames) {
    Numbers numbers;
    for (std::size_t i = 0; i < frames; ++i) {
        const Frame frame = host.readFrame(std::chrono::seconds(60));
        EXPECT_TRUE(frame.checksumOk);
        EXPECT_EQ(0x81, frame.kind);
        EXPECT_EQ(43U, frame.body.size());
        EXPECT_EQ(kMachines, static_cast<std::size_t>(frame.body.at(8)));
        EXPECT_EQ(++numbers[frame.identifierB], int{frame.body.at(9)});
    }
    return numbers;
}

void expectAllNumbered(const Numbers& numbers) {
    EXPECT_EQ(kRequests, numbers.size());
    for (const auto& [request, last] : numbers) {
        EXPECT_EQ(kMachines, static_cast<std::size_t>(last)) << "request " << request;
    }
}

TEST(DornStressTest, EveryRequestIsAnsweredInTheOrderOfTheSequenceNumbers) {
    HostLink link(kMachines);
    const auto other = link.connect();
    for (std::uint32_t id = 0; id < kRequests; ++id) {
        link.host().request(1, bytes("00"), 1, id);
        other->request(1, bytes("00"), 2, id);
    }
    expectAllNumbered(readNumbers(link.host(), kRequests * kMachines));
    expectAllNumbered(readNumbers(*other, kRequests * kMachines));
}

TEST(DornStressTest, PagesOfSeveralMachinesAreNumberedThrough) {
    HostLink link(kMachines);
    std::string payload = "A~00:00:0";
    for (int i = 1; i < 300; ++i) payload += "~A~00:00:0";
    for (std::size_t n = 1; n <= kMachines; ++n) link.machine(n).answers().setBody(117, payload);
    for (int round = 0; round < 5; ++round) {
        link.host().request(4, "");
        std::set<int> numbers;
        int highestTotal = 0;
        for (std::size_t i = 0; i < 2 * kMachines; ++i) {
            const Frame page = link.host().readFrame();
            EXPECT_TRUE(page.checksumOk);
            highestTotal = std::max(highestTotal, int{page.body.at(8)});
            numbers.insert(page.body.at(9));
        }
        EXPECT_EQ(2 * kMachines, numbers.size());
        EXPECT_EQ(1, *numbers.begin());
        EXPECT_EQ(16, *numbers.rbegin());
        EXPECT_EQ(16, highestTotal);
    }
}

TEST(DornStressTest, HostsThatVanishWhileAllMachinesAnswerLeaveNothingBehind) {
    HostLink link(kMachines);
    for (int round = 0; round < 10; ++round) {
        const auto host = link.connect();
        for (std::uint32_t id = 0; id < 5; ++id) host->request(1, bytes("00"), 1, id);
        host->readFrame();
        if (round % 2 == 0) {
            host->connection().reset();
        } else {
            host->close();
        }
    }
    link.host().close();
    EXPECT_TRUE(link.allEnded(std::chrono::seconds(60)));
}

}  // namespace
}  // namespace teskd::test
