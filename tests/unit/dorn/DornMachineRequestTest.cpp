// What all requests to machines share: whom they reach, and the answers of several machines.

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "HostLink.h"
#include "core/Exception.h"
#include "dorn/DornMachineRequest.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "dorn/DornPacketType3.h"
#include "dorn/DornPacketType4.h"
#include "dorn/DornPacketType5.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support/Deadline.h"
#include "support_src/ByteSink.h"
#include "support_src/LogRecorder.h"
#include "support_src/MachinePark.h"
#include "support_src/RecordingListener.h"
#include "tesk/TeskController.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kEveryMachine = bytes("00");

// Target count and sequence number of an answer of type 1 or 5.
std::string counts(const Frame& frame) {
    return frame.body.size() < 10 ? "" : frame.body.substr(8, 2);
}

// The request is answered with one frame, which says that it failed.
void expectFailed(HostClient& host, int type, const std::string& body) {
    host.request(static_cast<std::uint8_t>(type), body, 7, 8);
    const Frame answer = host.readFrame();
    EXPECT_EQ(0xAB, answer.kind) << type;
    EXPECT_EQ(type, answer.type);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_BYTES("", answer.body);
    EXPECT_TRUE(answer.checksumOk);
}

// How long a request of this type waits for its machine, in milliseconds.
template <class Type>
std::uint32_t timeoutOf() {
    struct Opened : Type {
        std::uint32_t timeout() const { return this->decode(std::string(64, '\0')).timeout; }
    };
    return PacketHandle<Opened>(new Opened)->timeout();
}

TEST(DornMachineRequestTest, AMachineHasFiveMinutesForAListAndTenSecondsForTheRest) {
    EXPECT_EQ(10'000U, timeoutOf<DornPacketType1>());
    EXPECT_EQ(300'000U, timeoutOf<DornPacketType2>());
    EXPECT_EQ(300'000U, timeoutOf<DornPacketType3>());
    EXPECT_EQ(300'000U, timeoutOf<DornPacketType4>());
    EXPECT_EQ(10'000U, timeoutOf<DornPacketType5>());
}

TEST(DornMachineRequestTest, ThreeMachinesAnswerInThreeNumberedFrames) {
    HostLink link(3);
    link.host().request(1, kEveryMachine, 7, 8);
    std::set<std::string> seen;
    for (int i = 0; i < 3; ++i) {
        const Frame answer = link.host().readFrame();
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(7U, answer.identifierA);
        EXPECT_EQ(8U, answer.identifierB);
        EXPECT_EQ(43U, answer.body.size());
        seen.insert(counts(answer));
    }
    EXPECT_EQ((std::set{bytes("03 01"), bytes("03 02"), bytes("03 03")}), seen);
}

TEST(DornMachineRequestTest, WithoutMachinesEveryMachineIsAnsweredWithFD) {
    HostLink link;
    for (const int type : {1, 4, 5}) {
        link.host().request(static_cast<std::uint8_t>(type), std::string(13, '\0'), 7, 8);
        const Frame answer = link.host().readFrame();
        EXPECT_BYTES(bytes("FF FD 02"), answer.header.substr(0, 3));
        EXPECT_EQ(type, answer.type);
        EXPECT_EQ(1U, answer.length);
        EXPECT_EQ(8U, answer.identifierB);
        EXPECT_TRUE(answer.checksumOk);
    }
}

TEST(DornMachineRequestTest, AMachineThatNeverAnsweredIsNotKnownEvenByItsFixedName) {
    const KeptConfig config;
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", "9");
    const unsigned long before = packet_counter;
    {
        HostLink link;
        link.host().request(1, bytes("01") + "SlotMachine_9");
        EXPECT_EQ(0xFD, link.host().readFrame().kind);
    }
    EXPECT_EQ(before, packet_counter);
}

TEST(DornMachineRequestTest, OnlyKnownMachinesAreAskedAndCounted) {
    HostLink link(3);
    link.machine(2).setFaults({.closeAfter = 5});
    link.host().request(1, bytes("01") + "ZA000000002");
    EXPECT_EQ(0xAB, link.host().readFrame().kind);
    link.machine(2).clearFaults();
    link.machine(2).journal().clear();

    link.host().request(1, kEveryMachine);
    std::set<std::string> seen{counts(link.host().readFrame()), counts(link.host().readFrame())};
    EXPECT_EQ((std::set{bytes("02 01"), bytes("02 02")}), seen);
    EXPECT_TRUE(link.machine(2).journal().requests().empty());

    link.host().request(1, bytes("01") + "ZA000000002");
    EXPECT_EQ(0xFD, link.host().readFrame().kind);
}

TEST(DornMachineRequestTest, RegularAnswersAfterAFailureAreRegularAgain) {
    HostLink link(2);
    link.machine(1).setFaults({.delay = 1s});
    link.machine(2).setFaults({.closeAfter = 5});
    link.host().request(1, kEveryMachine, 7, 8);

    const Frame failed = link.host().readFrame();
    EXPECT_EQ(0xAB, failed.kind);
    EXPECT_EQ(1U, failed.length);
    EXPECT_EQ(8U, failed.identifierB);
    const Frame regular = link.host().readFrame();
    EXPECT_EQ(0x81, regular.kind);
    EXPECT_BYTES(bytes("02 01"), counts(regular));
    EXPECT_EQ(43U, regular.body.size());
}

// Takes twelve seconds: the answer time-out is ten.
TEST(DornMachineRequestTest, SlowARegularAnswerAfterATimeOutIsRegularAgain) {
    HostLink link(2);
    const auto other = link.connect();
    link.machine(1).setFaults({.delay = 6s});
    link.machine(2).setFaults({.silent = true});
    other->request(1, bytes("01") + "ZA000000001");
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    const auto start = std::chrono::steady_clock::now();
    link.host().request(1, kEveryMachine, 7, 8);

    const Frame timedOut = link.host().readFrame(30s);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 10s);
    EXPECT_EQ(0xFE, timedOut.kind);
    EXPECT_EQ(1U, timedOut.length);
    EXPECT_EQ(8U, timedOut.identifierB);
    const Frame regular = link.host().readFrame(30s);
    EXPECT_EQ(0x81, regular.kind);
    EXPECT_BYTES(bytes("02 01"), counts(regular));
    EXPECT_EQ(0x81, other->readFrame().kind);
}

TEST(DornMachineRequestTest, EveryFailingMachineIsAnsweredWithAFrameOfItsOwn) {
    for (const int type : {1, 4, 5}) {
        HostLink link(3);
        for (std::size_t n = 1; n <= 3; ++n) link.machine(n).setFaults({.closeAfter = 3});
        link.host().request(static_cast<std::uint8_t>(type), std::string(13, '\0'));
        for (int i = 0; i < 3; ++i) {
            const Frame answer = link.host().readFrame();
            EXPECT_EQ(0xAB, answer.kind);
            EXPECT_EQ(type, answer.type);
            EXPECT_BYTES("", answer.body);
        }
    }
}

TEST(DornMachineRequestTest, RequestsToOneMachineAreFailedInEveryType) {
    const std::string name = "ZA000000001";
    const std::pair<int, std::string> requests[] = {
        {1, bytes("01") + name},
        {2, "CNT00001CNT99999" + name},
        {3, bytes("00 05 01 00") + name},
        {4, std::string(16, '0') + bytes("01") + name},
        {5, bytes("01") + name + bytes("72")},
        {6, name + bytes("00 00 00 00") + "120~0008"},
    };
    for (const auto& [type, body] : requests) {
        HostLink link(1);
        link.machine(1).setFaults({.closeAfter = 3});
        expectFailed(link.host(), type, body);
    }
}

// A serial-port server takes what follows such a byte for a command.
TEST(DornMachineRequestTest, ATextWithACommandByteThatIsNoPairFailsUnwritten) {
    const std::string name = "ZA000000001";
    const std::pair<int, std::string> requests[] = {
        {2, bytes("FF") + "NT00001CNT99999" + name},
        {2, "CNT0000" + bytes("FF FF") + "NT99999" + name},  // the separator goes between them
        {2, "CNT00001CNT9999" + bytes("FF") + name},
        {4, "CNT0000" + bytes("FF FF") + "NT99999" + bytes("01") + name},
        {4, "CNT00001CNT9" + bytes("FF FF FF 00 01") + name},
        {6, name + bytes("00 00 00 00 FF FA")},
        {6, name + bytes("00 00 00 00") + "120~000A~" + bytes("FF")},
        {6, name + bytes("00 00 00 00") + "120~000C~" + bytes("FF FF FF")},
        {6, name + bytes("00 00 00 00") + "120~000C~" + bytes("FF 0A FF")},
    };
    HostLink link(1);
    const LogRecorder log;
    for (const auto& [type, body] : requests) {
        expectFailed(link.host(), type, body);
    }
    EXPECT_EQ("", link.machine(1).journal().dataReceived());
    EXPECT_LE(1U, log.count({181,
                             "A request for 'ZA000000001' was refused: it has a byte FF that is "
                             "not one of a pair"}));
    link.host().request(1, bytes("01") + name);
    EXPECT_EQ(0x81, link.host().readFrame().kind);
}

TEST(DornMachineRequestTest, ATextWithACommandByteForEveryMachineFailsOnce) {
    HostLink link(3);
    const LogRecorder log;
    link.host().request(4, "CNT0000" + bytes("FF"));
    EXPECT_EQ(0xAB, link.host().readFrame().kind);
    link.host().request(7, "");
    EXPECT_EQ(7, link.host().readFrame().type);
    const std::vector<LogEntry> lines = log.lines();
    EXPECT_EQ(1, std::count_if(lines.begin(), lines.end(), [](const LogEntry& line) {
                  return line.text.find("was refused") != std::string::npos;
              }));
}

TEST(DornMachineRequestTest, PairsOfTheCommandByteGoOutAsTheyCame) {
    const std::string name = "ZA000000001";
    HostLink link(1);
    tesksim::Journal& journal = link.machine(1).journal();
    const std::pair<const char*, const char*> texts[] = {
        {"FF FF", "FF"},
        {"FF FF FF FF", "FF FF"},
        {"FF FF 30 FF FF", "FF 30 FF"},
        {"0D FF FF", "0D 0A FF"},
    };
    for (const auto& [pairs, received] : texts) {
        journal.clear();
        link.host().request(6, name + bytes("00 00 00 00") + bytes(pairs) + "120~0008");
        EXPECT_EQ(0x81, link.host().readFrame().kind) << pairs;
        ASSERT_TRUE(journal.waitForAcknowledgements(1));
        EXPECT_BYTES(bytes(received) + "120~0008150~000C~120", journal.dataReceived()) << pairs;
    }
}

TEST(DornMachineRequestTest, ATrailerMakesTheConstantTwoInNumberedAnswers) {
    for (const int type : {1, 5}) {
        HostLink link(1);
        link.machine(1).setCodeId("ZN000000001");
        for (const int id : {113, 114}) {
            link.machine(1).answers().set(id, {.body = "1", .trailer = std::string(268, 't')});
        }
        Frame request{.constant = 0x77,
                      .type = static_cast<std::uint8_t>(type),
                      .body = bytes("00") + std::string(11, '\0') + bytes("72")};
        link.host().send(request);
        EXPECT_EQ(0x02, link.host().readFrame().constant) << type;
    }
}

TEST(DornMachineRequestTest, WithoutATrailerTheConstantIsTheRequests) {
    HostLink link(1);
    Frame request{.constant = 0x77, .type = 1, .body = kEveryMachine};
    link.host().send(request);
    EXPECT_EQ(0x77, link.host().readFrame().constant);
}

TEST(DornMachineRequestTest, TheHeaderOfTheRequestComesBackWithEveryAnswer) {
    HostLink link(1);
    Frame request{.type = 1,
                  .station = bytes("11 22 33 44 55 66"),
                  .reserved = bytes("A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"),
                  .identifierA = 0xFFFFFFFF,
                  .identifierB = 0x80000001};
    for (const std::string& body : {kEveryMachine, bytes("01"), std::string()}) {
        request.body = body;
        link.host().send(request);
        const Frame answer = link.host().readFrame();
        EXPECT_BYTES(bytes("11 22 33 44 55 66"
                           "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
                           "FF FF FF FF  80 00 00 01"),
                     answer.header.substr(8));
    }
}

// The code goes to and fro between them while the requests go out.
TEST(DornMachineRequestTest, TwoMachinesThatClaimOneCodeIdAreEachAskedOnceByEveryRequest) {
    constexpr std::size_t kRequests = 50;
    HostLink link(2);
    link.machine(2).setCodeId("ZA000000001");
    for (std::size_t i = 0; i < kRequests; ++i) link.host().request(1, kEveryMachine);
    for (std::size_t i = 0; i < 2 * kRequests; ++i) {
        EXPECT_EQ(0x81, link.host().readFrame().kind);
    }
    EXPECT_EQ(kRequests, link.machine(1).journal().requests().size());
    EXPECT_EQ(kRequests, link.machine(2).journal().requests().size());
}

// A request whose answer cannot be made of what the machine said.
class RequestWithoutEncoding : public DornMachineRequest {
  public:
    RequestWithoutEncoding() : DornMachineRequest(1) {}

  protected:
    Question decode(std::string) const override {
        Question question;
        question.every_machine = true;
        question.id = 113;
        return question;
    }
    std::vector<std::string> encode(const TeskPacket&, Progress&) const override {
        throw OutOfBoundException("beyond the answer");
    }
};

TEST(DornMachineRequestTest, AnAnswerThatCannotBeEncodedIsAnsweredAsFailedAndTheLineGoesOn) {
    const unsigned long before = packet_counter;
    MachinePark park(1);
    park.makeAllKnown();
    RecordingListener listener;
    ByteSink sink;
    {
        const PacketHandle<RequestWithoutEncoding> request(new RequestWithoutEncoding);
        request->addListener(&listener);
        request->offer_to_controller(park.controller());
        ASSERT_TRUE(eventually([&] { return !listener.outcomes().empty(); }));
        const Outcome failed{"error", request.pointer(), "Out-Of-Bound: beyond the answer"};
        EXPECT_EQ(std::vector{failed}, listener.outcomes());
        request->write(sink);
    }
    EXPECT_BYTES(bytes("FF AB"), sink.bytes.substr(0, 2));
    EXPECT_TRUE(eventually([&] { return packet_counter == before; }));
    EXPECT_TRUE(park.controller().is_connected("ZA000000001"));
}

TEST(DornMachineRequestTest, ARequestLeftWhenTheMachinesAreShutDownFails) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().request(4, "");
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    link.park().shutDown();
    EXPECT_EQ(0xAB, link.host().readFrame().kind);
}

}  // namespace
}  // namespace teskd::test
