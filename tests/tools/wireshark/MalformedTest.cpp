// What is no frame, no AAMS text or no message of a slot machine.

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "support/Bytes.h"
#include "wireshark/Samples.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

using Side = CaptureFile::Side;

constexpr Side kHost{1, 40000};
constexpr Side kGateway{2, 5001};
constexpr Side kMachine{3, 2100};
constexpr Side kServer{4, 5001};
constexpr std::uint32_t kSeed = 20240131;

// All expert items that call something malformed, of one packet.
std::string complaints(const Shown& shown, std::size_t packet) {
    return shown.at(packet, "dorn.malformed") + shown.at(packet, "aams.malformed") +
           shown.at(packet, "tesk.malformed");
}

const std::vector<std::string> kComplaints = {"dorn.malformed", "aams.malformed", "tesk.malformed"};

TEST(Malformed, ADatagramThatEndsBeforeItsFrameDoesIsMarkedWhereverItEnds) {
    CaptureFile capture;
    std::size_t packets = 0;
    for (const Sample& sample : samples()) {
        const std::string data = sample.frame().encode();
        for (std::size_t size = 1; size < data.size(); ++size) {
            packets = capture.udp(kHost, kServer, data.substr(0, size));
        }
    }

    const Shown shown = tshark(capture, {"dorn.malformed", "dorn.junk", "dorn.kind"});

    ASSERT_EQ(packets, shown.packets());
    for (std::size_t packet = 1; packet <= packets; ++packet) {
        ASSERT_NE("", shown.at(packet, "dorn.malformed")) << packet;
        ASSERT_EQ("", shown.at(packet, "dorn.kind")) << packet;
    }
}

// A type 4 request may be short, and some requests end with text of any length.
bool mayEndAnywhere(const Sample& sample) {
    return sample.road == Road::Request && sample.type != 2 && sample.type != 3 && sample.type != 5;
}

TEST(Malformed, ABodyThatEndsTooEarlyIsMarkedAndItsFrameShownAllTheSame) {
    CaptureFile capture;
    std::vector<std::string> expected;
    for (const Sample& sample : samples()) {
        const bool text = sample.type == kAamsFrame;
        if (!text && mayEndAnywhere(sample)) continue;
        for (std::size_t size = text ? 1 : 0; size < sample.body.size(); ++size) {
            Frame frame = sample.frame();
            frame.body.resize(size);
            sample.send(capture, frame.encode());
            expected.push_back(std::string(sample.name) + " of " + std::to_string(size) + " bytes");
        }
    }

    std::vector<std::string> fields = kComplaints;
    fields.push_back("dorn.checksum.status");
    const Shown shown = tshark(capture, fields);

    ASSERT_EQ(expected.size(), shown.packets());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NE("", complaints(shown, i + 1)) << expected[i];
        EXPECT_EQ("1", shown.at(i + 1, "dorn.checksum.status")) << expected[i];
    }
}

TEST(Malformed, ABodyWithAnyByteChangedIsNeverALuaError) {
    CaptureFile capture;
    std::size_t packets = 0;
    for (const Sample& sample : samples()) {
        for (std::size_t at = 0; at < std::min<std::size_t>(sample.body.size(), 150); ++at) {
            for (const char byte : {'x', '-', '~', '\xFF'}) {
                Frame frame = sample.frame();
                frame.body[at] = byte;
                packets = sample.send(capture, frame.encode());
            }
        }
    }

    const Shown shown = tshark(capture, {"dorn.checksum.status"});

    ASSERT_EQ(packets, shown.packets());
    EXPECT_EQ(packets, shown.values("dorn.checksum.status").size());
}

// More fields than Wireshark lets a packet have.
TEST(Malformed, APageOfMillionsOfValuesIsShownInPart) {
    std::string entry = "CNTTOTIN" + bytes("FF FF");
    entry.resize(entry.size() + 5 * 0xFFFF);
    Frame frame{.type = 2,
                .body = "21.03.25" + bytes("01 01") + std::string(11, '0') + bytes("00 09")};
    for (int i = 0; i < 9; ++i) frame.body += entry;
    const std::string data = frame.encode();
    CaptureFile capture;
    std::size_t packet = 0;
    for (std::size_t at = 0; at < data.size(); at += 60000) {
        packet = capture.tcp(kGateway, kHost, std::string_view(data).substr(at, 60000));
    }

    const Shown shown = tshark(capture, {"dorn.checksum.status", "dorn.page", "dorn.malformed"});

    EXPECT_EQ("dorn.checksum.status=1 dorn.page=1", shown.line(packet));
    EXPECT_EQ("not all fields are shown", shown.at(packet, kExpertMessage));
}

// Each of the messages is one byte, as it seems to the reader, and their only length is at the end.
TEST(Malformed, ALengthFarFromItsMessageIsNotSearchedForAgainAndAgain) {
    Frame frame{.type = kAamsFrame};
    std::string readings = "-AB-00-4";
    while (readings.size() < 1000000) readings += "-a-b";
    frame.body = aamsBody(502, readings + "~1~");
    const std::string data = frame.encode();
    CaptureFile capture;
    std::size_t packet = 0;
    for (std::size_t at = 0; at < data.size(); at += 60000) {
        packet = capture.tcp(kGateway, kHost, std::string_view(data).substr(at, 60000));
    }

    const Shown shown = tshark(capture, {"dorn.checksum.status"});

    EXPECT_EQ("dorn.checksum.status=1", shown.line(packet));
    EXPECT_EQ("a machine's message without a length", shown.at(packet, kExpertMessage));
}

TEST(Malformed, WhatAFrameHasWrongIsNamed) {
    Frame frame{.type = 7};
    const std::string good = frame.encode();
    const auto changed = [&](std::size_t at, const char* digits) {
        std::string data = good;
        const std::string with = bytes(digits);
        return data.replace(at, with.size(), with);
    };
    Frame kind = frame;
    kind.kind = 0xFE;
    Frame type = frame;
    type.type = 9;
    type.body = "?";
    Frame longer = frame;
    longer.type = 8;
    longer.body = bytes("00 00");
    CaptureFile capture;
    capture.udp(kServer, kHost, changed(42, "99"));
    capture.udp(kServer, kHost, changed(4, "00 00 00 00"));
    capture.udp(kServer, kHost, changed(4, "FF FF FF FF"));
    capture.udp(kServer, kHost, changed(0, "FE"));
    capture.udp(kServer, kHost, changed(1, "82"));
    for (const std::uint8_t byte : std::initializer_list<std::uint8_t>{0xFE, 0xAB, 0xFD}) {
        kind.kind = byte;
        capture.udp(kServer, kHost, kind.encode());
    }
    capture.udp(kServer, kHost, type.encode());
    capture.udp(kServer, kHost, longer.encode());
    capture.udp(kServer, kHost, good + "more");

    const Shown shown = tshark(capture, {kInfo});
    const auto message = [&](std::size_t packet) { return shown.at(packet, "_ws.expert.message"); };

    EXPECT_EQ("30 bytes are missing|Bad checksum", message(1));
    EXPECT_EQ("this is no frame", message(2));
    EXPECT_EQ("this is no frame", message(3));
    EXPECT_EQ("this is no frame", message(4));
    EXPECT_EQ("this is no frame", message(5));
    EXPECT_EQ("Timed out", message(6));
    EXPECT_EQ("Failed", message(7));
    EXPECT_EQ("None of the machines is known", message(8));
    EXPECT_EQ("None of the machines is known: Software version answer [0 0]", shown.at(8, kInfo));
    EXPECT_EQ("a type that does not exist", message(9));
    EXPECT_EQ("1 bytes are left over", message(10));
    EXPECT_EQ("30 bytes are missing|this is no frame", message(11));
}

TEST(Malformed, APacketThatWasNotCapturedWholeIsNoFaultOfTheSenders) {
    Frame frame{.type = 7};
    CaptureFile capture(90);
    capture.tcp(kHost, kGateway, frame.encode());
    capture.udp(kHost, kServer, frame.encode());
    capture.tcp(kMachine, kHost, "118~0100~210315~ZA42~00~" + std::string(232, ' '));

    const Shown shown = tshark(capture, {});

    EXPECT_EQ("a frame that was not captured whole", shown.at(1, kExpertMessage));
    EXPECT_EQ("", shown.at(2, kExpertMessage));
    EXPECT_EQ("a message that was not captured whole", shown.at(3, kExpertMessage));
}

// Bytes that anything may be made of: random ones, and samples with some bytes changed.
class Noise {
  public:
    std::string next() { return below(2) == 0 ? random(below(300) + 1) : changedSample(); }

    std::string changedMessage() { return changed(kMessage, 2); }

    // A good header and checksum around anything.
    std::string framed() {
        return Frame{.type = static_cast<std::uint8_t>(below(9) == 8 ? kAamsFrame : below(8) + 1),
                     .body = below(2) == 0 ? random(below(200)) : changed(someSample().body, 3)}
            .encode();
    }

    std::size_t below(std::size_t limit) { return generator_() % limit; }

  private:
    const Sample& someSample() { return samples()[below(samples().size())]; }

    std::string random(std::size_t size) {
        std::string data;
        while (data.size() < size) data += static_cast<char>(below(256));
        return data;
    }

    std::string changed(std::string data, std::size_t times) {
        while (!data.empty() && times-- > 0)
            data[below(data.size())] = static_cast<char>(below(256));
        return data;
    }

    std::string changedSample() { return changed(someSample().frame().encode(), below(6)); }

    std::mt19937 generator_{kSeed};
};

TEST(Malformed, RandomBytesAreNeverALuaError) {
    Noise noise;
    CaptureFile capture;
    std::size_t packets = 0;
    for (std::uint8_t i = 0; i < 200; ++i) {
        // A connection each, as what follows bytes without sense has none.
        const Side host{i, 40000};
        for (const std::string& data : {noise.framed(), noise.next()}) {
            capture.tcp(host, kGateway, data);
            capture.tcp(kGateway, host, data);
            capture.udp(host, kServer, data);
            capture.udp(kServer, host, data);
        }
        for (const std::string& data : {noise.changedMessage(), noise.next()}) {
            capture.tcp(host, kMachine, data);
            packets = capture.tcp(kMachine, host, data);
        }
    }

    EXPECT_EQ(packets, tshark(capture, kComplaints, {"-2"}).packets());
}

}  // namespace
}  // namespace teskd::test
