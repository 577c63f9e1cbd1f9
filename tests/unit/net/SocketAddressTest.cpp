#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include "net/SocketAddress.h"
#include "support/Bytes.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

// Port and host, behind the family in two bytes, the higher one first; the system takes it in the
// machine's own order.
std::string inetBytes(const SocketAddress& address) {
    const auto family = static_cast<char>(address.get()->sa_family);
    return std::string{'\0', family} +
           std::string(reinterpret_cast<const char*>(address.get()) + 2, 6);
}

sockaddr_storage inet(const char* host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host, &address.sin_addr);
    sockaddr_storage storage{};
    std::memcpy(&storage, &address, sizeof address);
    return storage;
}

struct Sample {
    const char* text;
    const char* host;
    const char* bytes;  // family, port, host
};

TEST(SocketAddress, ReadsHostAndPort) {
    const Sample samples[] = {
        {"1.2.3.4:23", "1.2.3.4", "00 02  00 17  01 02 03 04"},
        {"10.0.0.1:0", "10.0.0.1", "00 02  00 00  0A 00 00 01"},
        {"127.0.0.1:65535", "127.0.0.1", "00 02  FF FF  7F 00 00 01"},
        {"127.0.0.1:258", "127.0.0.1", "00 02  01 02  7F 00 00 01"},
    };
    for (const Sample& sample : samples) {
        const SocketAddress address(sample.text);
        EXPECT_EQ(sample.host, address.getHost());
        EXPECT_BYTES(bytes(sample.bytes), inetBytes(address)) << sample.text;
    }
}

TEST(SocketAddress, ThePortIsReadAsFarAsItIsANumberAndNotChecked) {
    const Sample samples[] = {
        {"1.2.3.4:", "1.2.3.4", "00 02  00 00  01 02 03 04"},
        {"1.2.3.4:telnet", "1.2.3.4", "00 02  00 00  01 02 03 04"},
        {"1.2.3.4:23x", "1.2.3.4", "00 02  00 17  01 02 03 04"},
        {"1.2.3.4: 23", "1.2.3.4", "00 02  00 17  01 02 03 04"},
        {"1.2.3.4:65559", "1.2.3.4", "00 02  00 17  01 02 03 04"},
        {"1.2.3.4:-1", "1.2.3.4", "00 02  FF FF  01 02 03 04"},
    };
    for (const Sample& sample : samples) {
        EXPECT_BYTES(bytes(sample.bytes), inetBytes(SocketAddress(sample.text))) << sample.text;
    }
}

TEST(SocketAddress, AnUnreadableHostIsAllZero) {
    for (const char* text : {"300.1.1.1:23", "localhost:23", "1.2.3:23", " 1.2.3.4:23", ":23"}) {
        EXPECT_BYTES(bytes("00 02 00 17 00 00 00 00"), inetBytes(SocketAddress(text))) << text;
    }
}

TEST(SocketAddress, TheLastColonSeparates) {
    const SocketAddress address("a:b:23");
    EXPECT_EQ("a:b", address.getHost());
    EXPECT_BYTES(bytes("00 02 00 17 00 00 00 00"), inetBytes(address));
}

TEST(SocketAddress, AHostWithASlashIsOfTheOtherFamily) {
    EXPECT_EQ(AF_INET6, SocketAddress("/:23").get()->sa_family);
    EXPECT_EQ(AF_INET6, SocketAddress("1.2.3.4/8:23").get()->sa_family);
    EXPECT_BYTES(bytes("00 0A 00 17"), inetBytes(SocketAddress("::1/:23")).substr(0, 4));
}

TEST(SocketAddress, WithoutAColonThereIsNoHost) {
    for (const char* text : {"", "10.0.0.1", "localhost"}) {
        EXPECT_EQ(std::string("IOException: SocketException: UnknownHostException: ") + text,
                  messageOf<UnknownHostException>([&] { SocketAddress{text}; }));
    }
}

TEST(SocketAddress, AnyHostKeepsThePort) {
    SocketAddress address("*:5001");
    EXPECT_EQ("*", address.getHost());
    address.useAnyHost();
    EXPECT_EQ("0.0.0.0", address.getHost());
    EXPECT_BYTES(bytes("00 02 13 89 00 00 00 00"), inetBytes(address));
}

TEST(SocketAddress, TheTextEndsInTheLowEightBitsOfThePort) {
    EXPECT_EQ("10.0.0.1:A", SocketAddress::toText(inet("10.0.0.1", 65), "s"));
    EXPECT_EQ("10.0.0.1:A", SocketAddress::toText(inet("10.0.0.1", 321), "s"));
    EXPECT_EQ("192.168.0.200:\xFF", SocketAddress::toText(inet("192.168.0.200", 65535), "s"));
    EXPECT_EQ(std::string("0.0.0.0:\0", 9), SocketAddress::toText(inet("0.0.0.0", 256), "s"));
}

TEST(SocketAddress, TheTextOfTheOtherFamilyIsBuiltTheSameWay) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(321);
    address.sin6_addr = in6addr_loopback;
    sockaddr_storage storage{};
    std::memcpy(&storage, &address, sizeof address);
    EXPECT_EQ("::1:A", SocketAddress::toText(storage, "s"));
}

TEST(SocketAddress, AnAddressOfAnotherFamilyHasNoText) {
    sockaddr_storage storage{};
    storage.ss_family = AF_UNIX;
    EXPECT_EQ("IOException: SocketException: Unknown Address Family",
              messageOf<SocketException>([&] { SocketAddress::toText(storage, "s"); }));
}

}  // namespace
}  // namespace teskd::test
