// Lists of addresses and networks, and who is on them.

#include <gtest/gtest.h>
#include <string>

#include "net/AddressList.h"

namespace teskd::test {
namespace {

bool contains(const std::string& list, std::uint32_t address) {
    const auto parsed = AddressList::parse(list);
    EXPECT_TRUE(parsed.has_value()) << list;
    return parsed && parsed->contains(address);
}

struct Edge {
    const char* list;
    std::uint32_t first;  // on the list, and none before it
    std::uint32_t last;   // on the list, and none behind it
};

constexpr Edge kEdges[] = {
    {"10.0.0.7", 0x0A000007, 0x0A000007},
    {"10.0.0.7/32", 0x0A000007, 0x0A000007},
    {"10.0.0.6/31", 0x0A000006, 0x0A000007},
    {"10.0.0.7/31", 0x0A000006, 0x0A000007},
    {"192.168.1.0/24", 0xC0A80100, 0xC0A801FF},
    {"192.168.1.77/24", 0xC0A80100, 0xC0A801FF},
    {"192.168.0.0/23", 0xC0A80000, 0xC0A801FF},
    {"172.16.0.0/12", 0xAC100000, 0xAC1FFFFF},
    {"128.0.0.0/1", 0x80000000, 0xFFFFFFFF},
    {"1.2.3.4/1", 0x00000000, 0x7FFFFFFF},
    {"0.0.0.0/0", 0x00000000, 0xFFFFFFFF},
    {"255.255.255.255/0", 0x00000000, 0xFFFFFFFF},
    {"0.0.0.0", 0x00000000, 0x00000000},
    {"255.255.255.255", 0xFFFFFFFF, 0xFFFFFFFF},
    {" ,; 10.0.0.7 ;, ", 0x0A000007, 0x0A000007},
    {"10.0.0.0/9,10.128.0.0/9", 0x0A000000, 0x0AFFFFFF},
    {"10.0.0.9 10.0.0.7;10.0.0.8", 0x0A000007, 0x0A000009},
    {"10.0.0.0/8 10.1.0.0/16 10.1.0.5", 0x0A000000, 0x0AFFFFFF},
};

TEST(AddressListTest, HoldsWhatItNamesAndNothingBesides) {
    for (const auto& [list, first, last] : kEdges) {
        EXPECT_TRUE(contains(list, first)) << list;
        EXPECT_TRUE(contains(list, last)) << list;
        EXPECT_TRUE(contains(list, first + (last - first) / 2)) << list;
        EXPECT_EQ(first == 0, contains(list, first == 0 ? 0 : first - 1)) << list;
        const bool isHighest = last == 0xFFFFFFFF;
        EXPECT_EQ(isHighest, contains(list, isHighest ? last : last + 1)) << list;
    }
}

TEST(AddressListTest, EveryPrefixHoldsAsManyAddressesAsItHasBitsLeft) {
    for (unsigned prefix = 1; prefix <= 32; ++prefix) {
        const std::string list = "85.85.85.85/" + std::to_string(prefix);  // bits 0101...
        const std::uint32_t bit = std::uint32_t{1} << (32 - prefix);
        EXPECT_TRUE(contains(list, 0x55555555 ^ (bit - 1))) << list;
        EXPECT_FALSE(contains(list, 0x55555555 ^ bit)) << list;
        EXPECT_FALSE(contains(list, 0x55555555 ^ bit ^ (bit - 1))) << list;
    }
}

TEST(AddressListTest, AGapBetweenTwoNetworksIsNotOnTheList) {
    const std::string list = "192.168.1.0/24,10.0.0.7, 192.168.3.0/24;10.0.0.9";
    for (const std::uint32_t on : {0x0A000007U, 0x0A000009U, 0xC0A80180U, 0xC0A803FFU}) {
        EXPECT_TRUE(contains(list, on)) << on;
    }
    for (const std::uint32_t off : {0x00000000U, 0x0A000008U, 0xC0A80200U, 0xC0A80400U}) {
        EXPECT_FALSE(contains(list, off)) << off;
    }
}

struct Mistake {
    const char* list;
    const char* item;
};

constexpr Mistake kMistakes[] = {
    {"", ""},
    {" ", ""},
    {",;, ", ""},
    {"*", "*"},
    {"localhost", "localhost"},
    {"10.0.0", "10.0.0"},
    {"10.0.0.256", "10.0.0.256"},
    {"10.0.0.07", "10.0.0.07"},
    {"10.0.0.1.2", "10.0.0.1.2"},
    {"10.0.0.1:5001", "10.0.0.1:5001"},
    {"10.0.0.1-10.0.0.9", "10.0.0.1-10.0.0.9"},
    {"0x0A000007", "0x0A000007"},
    {"::1", "::1"},
    {"10.0.0.0/", "10.0.0.0/"},
    {"10.0.0.0/33", "10.0.0.0/33"},
    {"10.0.0.0/-1", "10.0.0.0/-1"},
    {"10.0.0.0/+8", "10.0.0.0/+8"},
    {"10.0.0.0/08", "10.0.0.0/08"},
    {"10.0.0.0/8x", "10.0.0.0/8x"},
    {"10.0.0.0/8/8", "10.0.0.0/8/8"},
    {"10.0.0.0/4294967304", "10.0.0.0/4294967304"},
    {"10.0.0.0/255.0.0.0", "10.0.0.0/255.0.0.0"},
    {"/8", "/8"},
    {"10.0.0.0 /8", "/8"},
    {"10.0.0.7\r", "10.0.0.7\r"},
    {"10.0.0.7\t10.0.0.8", "10.0.0.7\t10.0.0.8"},
    {"10.0.0.7,10.0.0.8,all,none", "all"},
    {"\"10.0.0.7\"", "\"10.0.0.7\""},
};

TEST(AddressListTest, OneItemThatIsNeitherAddressNorNetworkSpoilsTheList) {
    for (const auto& [list, item] : kMistakes) {
        EXPECT_FALSE(AddressList::parse(list).has_value()) << list;
        EXPECT_EQ(item, AddressList::firstMistake(list)) << list;
    }
}

TEST(AddressListTest, AGoodListHasNoMistake) {
    for (const Edge& edge : kEdges) EXPECT_EQ("", AddressList::firstMistake(edge.list));
}

TEST(AddressListTest, AZeroByteEndsNoItem) {
    const std::string list("10.0.0.7\0", 9);
    EXPECT_FALSE(AddressList::parse(list).has_value());
}

TEST(AddressListTest, AListOfAMegabyteIsSearchedToItsEnd) {
    std::string list;
    for (unsigned n = 0; list.size() < 1'000'000; ++n) {
        list += std::to_string(100 - n / 32768) + "." + std::to_string(n / 128 % 256) + "." +
                std::to_string(n % 128 * 2) + ".1,";
    }
    const auto parsed = AddressList::parse(list);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_TRUE(parsed->contains(0x64000001));  // 100.0.0.1
    EXPECT_TRUE(parsed->contains(0x62000001));  // 98.0.0.1
    EXPECT_FALSE(parsed->contains(0x64000101));
}

TEST(AddressListTest, NobodyIsOnAListThatWasNotParsed) {
    EXPECT_FALSE(AddressList().contains(0));
    EXPECT_FALSE(AddressList().contains(0x7F000001));
    EXPECT_FALSE(AddressList().contains(0xFFFFFFFF));
}

TEST(AddressListTest, LoopbackIsTheWholeNetworkOf127) {
    for (const std::uint32_t own : {0x7F000000U, 0x7F000001U, 0x7FFFFFFFU}) {
        EXPECT_TRUE(AddressList::isLoopback(own));
    }
    for (const std::uint32_t other : {0x7EFFFFFFU, 0x80000000U, 0x0A000007U, 0x00000000U}) {
        EXPECT_FALSE(AddressList::isLoopback(other));
    }
}

}  // namespace
}  // namespace teskd::test
