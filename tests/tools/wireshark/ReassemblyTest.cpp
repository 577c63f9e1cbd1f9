// Frames and the segments of a connection, which have their ends where they like.

#include <gtest/gtest.h>

#include "wireshark/Samples.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

using Side = CaptureFile::Side;

constexpr std::uint16_t kDornPort = 5001;
constexpr std::uint16_t kFirstPort = 10000;

// A road over TCP, on a connection of its own.
void sendCut(CaptureFile& capture, const Sample& sample, std::size_t cut, std::uint16_t port) {
    const Side host{1, port};
    const Side gateway{2, kDornPort};
    const bool asks = sample.road == Road::Request;
    const std::string data = sample.frame().encode();
    for (const std::string& segment : {data.substr(0, cut), data.substr(cut)}) {
        capture.tcp(asks ? host : gateway, asks ? gateway : host, segment);
    }
}

TEST(Reassembly, AFrameInTwoSegmentsShowsTheSameWhereverItIsCut) {
    CaptureFile capture;
    std::vector<std::string> expected;
    std::uint16_t port = kFirstPort;
    for (const Sample& sample : samples()) {
        if (!sample.overTcp()) continue;
        for (std::size_t cut = 1; cut < sample.frame().encode().size(); cut += 3) {
            sendCut(capture, sample, cut, port++);
            expected.push_back(sample.shown);
        }
    }

    const Shown shown = tshark(capture, bodyFields());

    ASSERT_EQ(expected.size() * 2, shown.packets());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ("", shown.line(2 * i + 1));
        EXPECT_EQ(expected[i], shown.line(2 * i + 2));
    }
}

TEST(Reassembly, SeveralFramesInASegmentAndOneInManyAreAllShown) {
    const Side host{1, 40000};
    const Side gateway{2, kDornPort};
    const auto version = [](std::uint32_t identifier) {
        return Frame{.type = 7, .identifierB = identifier}.encode();
    };
    CaptureFile capture;
    capture.tcp(host, gateway, version(1) + version(2) + version(3).substr(0, 10));
    capture.tcp(host, gateway, version(3).substr(10) + version(4));
    for (const char byte : version(5)) capture.tcp(host, gateway, std::string(1, byte));

    const Shown shown = tshark(capture, {"dorn.identifier_b", "dorn.checksum.status"});

    EXPECT_EQ("1|2", shown.at(1, "dorn.identifier_b"));
    EXPECT_EQ("3|4", shown.at(2, "dorn.identifier_b"));
    ASSERT_EQ(2 + version(5).size(), shown.packets());
    for (std::size_t packet = 3; packet < shown.packets(); ++packet) {
        EXPECT_EQ("", shown.line(packet));
    }
    EXPECT_EQ("dorn.checksum.status=1 dorn.identifier_b=5", shown.line(shown.packets()));
}

}  // namespace
}  // namespace teskd::test
