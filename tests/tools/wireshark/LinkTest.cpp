// Which answers belong to which request, and where frames are looked for.

#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "support/HostClient.h"
#include "wireshark/Samples.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

using Side = CaptureFile::Side;

constexpr Side kHost{1, 40000};
constexpr Side kOtherHost{1, 40001};
constexpr Side kGateway{2, 5001};
constexpr Side kNotifier{2, 41000};
constexpr Side kServer{3, 5001};

std::string frame(std::uint8_t type, const std::string& body, std::uint32_t identifier,
                  std::uint8_t kind = 0x81) {
    return Frame{.kind = kind, .type = type, .identifierB = identifier, .body = body}.encode();
}

// The answer to a request of type 2 or 3 without entries.
std::string page(int number, int pages) {
    return "21.03.25" + std::string{static_cast<char>(pages), static_cast<char>(number)} +
           name11("15.03.21") + bytes("00 00");
}

const std::vector<std::string> kLinks = {"dorn.request_in", "dorn.answer_in", "dorn.time"};

std::string answers(std::size_t request, const char* time) {
    return "dorn.request_in=" + std::to_string(request) + " dorn.time=" + time;
}

TEST(Links, AnswersAreLinkedToTheirRequestsByIdentifiersAndTimed) {
    const std::string version(30, 'v');
    CaptureFile capture;
    capture.tcp(kHost, kGateway, frame(7, "", 1) + frame(7, "", 2));                // 1
    capture.tcp(kOtherHost, kGateway, frame(7, "", 2));                             // 2
    capture.tcp(kGateway, kHost, frame(7, version, 2));                             // 3
    capture.tcp(kGateway, kHost, frame(7, version, 1));                             // 4
    capture.tcp(kGateway, kOtherHost, frame(7, version, 2));                        // 5
    capture.tcp(kHost, kGateway, frame(3, bytes("00 01 00 02") + name11("A"), 5));  // 6
    capture.tcp(kGateway, kHost, frame(3, page(1, 2), 5));                          // 7
    capture.tcp(kGateway, kHost, frame(3, page(2, 2), 5));                          // 8
    capture.tcp(kHost, kGateway, frame(3, bytes("00 01 00 02") + name11("A"), 5));  // 9
    capture.tcp(kGateway, kHost, frame(3, "", 5, 0xFE));                            // 10
    capture.tcp(kGateway, kHost, frame(7, version, 9));                             // 11
    capture.udp(kNotifier, kServer, frame(0xFE, aamsBody(1, "-AB"), 1));            // 12
    capture.udp(kServer, kNotifier, frame(0xFE, aamsBody(1, "-240131235959"), 1));  // 13

    // Twice, as a window does that shows one packet after it has seen all.
    for (const std::vector<std::string>& readings : {std::vector<std::string>{}, {"-2"}}) {
        const Shown shown = tshark(capture, kLinks, readings);
        EXPECT_EQ(readings.empty() ? "" : "dorn.answer_in=4|3", shown.line(1));
        EXPECT_EQ(readings.empty() ? "" : "dorn.answer_in=5", shown.line(2));
        EXPECT_EQ(answers(1, "0.002000000"), shown.line(3));
        EXPECT_EQ(answers(1, "0.003000000"), shown.line(4));
        EXPECT_EQ(answers(2, "0.003000000"), shown.line(5));
        EXPECT_EQ(readings.empty() ? "" : "dorn.answer_in=7", shown.line(6));
        EXPECT_EQ(answers(6, "0.001000000"), shown.line(7));
        EXPECT_EQ(answers(6, "0.002000000"), shown.line(8));
        EXPECT_EQ(answers(9, "0.001000000"), shown.line(10));
        EXPECT_EQ("", shown.line(11));
        EXPECT_EQ(answers(12, "0.001000000"), shown.line(13));
    }
}

TEST(Links, AMachineThatDoesNotAnswerLeavesTheOthersAnswersTheirRequest) {
    const auto counters = [](int number) {
        return "21.03.25" + std::string{3, static_cast<char>(number), 1} + name11("15.03.21") +
               std::string(21, '\0');
    };
    CaptureFile capture;
    capture.tcp(kHost, kGateway, frame(1, bytes("00"), 1));  // 1
    capture.tcp(kGateway, kHost, frame(1, counters(1), 1));  // 2
    capture.tcp(kGateway, kHost, frame(1, "", 1, 0xFE));     // 3
    capture.tcp(kGateway, kHost, frame(1, counters(2), 1));  // 4
    capture.tcp(kHost, kGateway, frame(1, bytes("00"), 1));  // 5
    capture.tcp(kGateway, kHost, frame(1, "", 1, 0xFD));     // 6

    const Shown shown = tshark(capture, kLinks);

    EXPECT_EQ(answers(1, "0.001000000"), shown.line(2));
    EXPECT_EQ(answers(1, "0.002000000"), shown.line(3));
    EXPECT_EQ(answers(1, "0.003000000"), shown.line(4));
    EXPECT_EQ(answers(5, "0.001000000"), shown.line(6));
}

// Of several frames in a packet, each counts by itself.
TEST(Links, FiltersFindARequestWithoutAnswerAndARefusalBesideOthers) {
    const std::string version(30, 'v');
    CaptureFile capture;
    capture.tcp(kHost, kGateway, frame(7, "", 1) + frame(7, "", 2));
    capture.tcp(kGateway, kHost, frame(7, version, 1));
    capture.tcp(kHost, kGateway, frame(7, "", 3) + frame(5, bytes("01") + name11("A") + "v", 4));
    capture.tcp(kGateway, kHost, frame(7, version, 3) + frame(5, "", 4, 0xFD));

    const std::vector<std::string> fields = {"dorn.unanswered", "dorn.refused"};
    const Shown shown = tshark(capture, fields, {"-2"});

    EXPECT_EQ("dorn.unanswered=1", shown.line(1));
    EXPECT_EQ("", shown.line(2));
    EXPECT_EQ("", shown.line(3));
    EXPECT_NE("", shown.at(4, "dorn.refused"));
    EXPECT_EQ(0U, tshark(capture, fields).values("dorn.unanswered").size());
}

// The gateway sets its clock, and may be where the capture is made.
TEST(Links, AnAnswerBeforeItsRequestHasATimeBelowZero) {
    CaptureFile capture;
    capture.setClock(5000);
    capture.tcp(kHost, kGateway, frame(7, "", 1));
    capture.setClock(4500);
    capture.tcp(kGateway, kHost, frame(7, std::string(30, 'v'), 1));
    capture.tcp(kHost, kGateway, frame(7, "", 2));
    capture.setClock(2250);
    capture.tcp(kGateway, kHost, frame(7, std::string(30, 'v'), 2));

    const Shown shown = tshark(capture, kLinks);

    EXPECT_EQ(answers(1, "-0.500000000"), shown.line(2));
    EXPECT_EQ(answers(3, "-2.251000000"), shown.line(4));
}

// A dialogue on ports that are nobody's default.
CaptureFile& elsewhere(CaptureFile& capture) {
    const Side gateway{2, 46001};
    const Side server{3, 46002};
    capture.tcp(kHost, gateway, frame(7, "", 1));
    capture.tcp(gateway, kHost, frame(7, std::string(30, 'v'), 1));
    capture.udp(kNotifier, server, frame(0xFE, aamsBody(2, "-AB"), 1));
    capture.udp(server, kNotifier, frame(0xFE, aamsBody(2, "-5!1!1!1"), 1));
    capture.tcp(kHost, Side{4, 46003}, "113~0008");
    capture.tcp(kHost, kGateway, frame(7, "", 1));
    return capture;
}

const std::vector<std::string> kFound = {"dorn.request", "dorn.answer", "aams.period", "tesk.id"};

TEST(LinksOnPorts, FramesAreFoundByTheirLooksOnOtherPorts) {
    CaptureFile capture;
    const Shown shown = tshark(elsewhere(capture), kFound);
    EXPECT_EQ("dorn.request=1", shown.line(1));
    EXPECT_EQ("dorn.answer=1", shown.line(2));
    EXPECT_EQ("dorn.request=1", shown.line(3));
    EXPECT_EQ("aams.period=5 dorn.answer=1", shown.line(4));
    EXPECT_EQ("", shown.line(5));
    EXPECT_EQ("dorn.request=1", shown.line(6));
}

TEST(LinksOnPorts, PreferencesSayWhichPortsAreWhose) {
    CaptureFile capture;
    const Shown shown = tshark(elsewhere(capture), kFound,
                               {"-o", "dorn.tcp_ports:46001", "-o", "dorn.udp_ports:46002", "-o",
                                "tesk.tcp_ports:2100,46003"});
    EXPECT_EQ("dorn.request=1", shown.line(1));
    EXPECT_EQ("dorn.answer=1", shown.line(2));
    EXPECT_EQ("dorn.request=1", shown.line(3));
    EXPECT_EQ("aams.period=5 dorn.answer=1", shown.line(4));
    EXPECT_EQ("tesk.id=113", shown.line(5));
}

}  // namespace
}  // namespace teskd::test
