#include <atomic>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <vector>

#include "core/Event.h"
#include "core/LogSource.h"
#include "net/ClientAndPeer.h"
#include "net/FullBacklog.h"
#include "support/Bytes.h"
#include "support_src/BlockedCall.h"
#include "support_src/FullConnection.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordedOutputStream.h"
#include "support_src/Thrown.h"
#include "telnet/HeldSend.h"
#include "telnet/Telnet.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

const std::string kOffers = bytes("FF FB 03  FF FB 2C");
const std::string kAgreement = bytes("FF FD 2C");

// A telnet client and the serial-port server at its other end.
struct Line {
    // A data byte at the end of what the server sends first saves the second that it is given.
    void connect(const std::string& greeting) {
        BlockedCall connect([this] {
            telnet->connect();
            return std::string();
        });
        server = listener.accept();
        server.sendAll(greeting);
        connect.result();
    }
    // A client that may set the line. Both sides have nothing left to read.
    void agree() {
        connect(kAgreement + "!");
        EXPECT_EQ('!', telnet->getInputStream().read());
        telnet->getOutputStream().flush();
        EXPECT_BYTES(kOffers + bytes("FF FB 2C"), server.readExactly(9));
    }
    // A client to whose offers nobody has answered.
    void offer() {
        connect("!");
        EXPECT_EQ('!', telnet->getInputStream().read());
        EXPECT_BYTES(kOffers, server.readExactly(6));
    }
    // What the client has to say to the server's commands.
    std::string answerTo(const std::string& commands) {
        server.sendAll(commands + ".");
        EXPECT_EQ('.', telnet->getInputStream().read());
        telnet->getOutputStream().write("#");
        telnet->getOutputStream().flush();
        std::string answer;
        while (!answer.ends_with('#')) answer += server.readExactly(1);
        answer.pop_back();
        return answer;
    }
    // Writes until the server's side takes no more; what was written.
    std::string fill() { return test::fill(telnet->getOutputStream(), telnet->getDescriptor()); }

    Listener listener;
    std::optional<Telnet> telnet{std::in_place, localAddress(listener.port()),
                                 LogSource::unlimited()};
    Connection server;
};

TEST(TelnetConnect, OffersToSuppressGoAheadAndToControlTheLine) {
    Line line;
    line.connect("!");
    EXPECT_BYTES(bytes("FF FB 03  FF FB 2C"), line.server.readExactly(6));
    EXPECT_FALSE(line.server.readableWithin(50ms));
}

TEST(TelnetConnect, ADataByteEndsTheWaitAndStaysInTheStream) {
    Line line;
    line.connect(kAgreement + "abc");
    EXPECT_EQ('a', line.telnet->getInputStream().read());
    EXPECT_EQ('b', line.telnet->getInputStream().read());
    EXPECT_EQ('c', line.telnet->getInputStream().read());
}

TEST(TelnetConnect, GivesASilentServerASecond) {
    Line line;
    const auto start = std::chrono::steady_clock::now();
    line.connect("");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_LE(1000ms, waited);
    EXPECT_GE(6s, waited);
    EXPECT_TRUE(line.telnet->isConnected());
}

TEST(TelnetConnect, AServerThatKeepsSendingCommandsGetsNoMoreThanThatSecond) {
    Line line;
    BlockedCall connect([&] {
        line.telnet->connect();
        return std::string("connected");
    });
    Connection server = line.listener.accept();
    const Deadline deadline;
    while (!connect.endsWithin(20ms) && !deadline.passed()) server.sendAll(bytes("FF F1"));
    EXPECT_EQ("connected", connect.result());
}

TEST(TelnetConnect, KeepsTheReadTimeout) {
    Line line;
    line.telnet->getInputStream().setTimeout(77);
    line.connect("!");
    EXPECT_EQ(77, line.telnet->getInputStream().getTimeout());
}

TEST(TelnetConnect, AServerThatClosesAtOnceHasAgreedToNothing) {
    Line line;
    BlockedCall connect([&] {
        line.telnet->connect();
        return std::string("connected");
    });
    Connection server = line.listener.accept();
    EXPECT_BYTES(kOffers, server.readExactly(6));
    server.close();
    EXPECT_EQ("connected", connect.result());
    EXPECT_EQ(-1, line.telnet->getInputStream().read());
    EXPECT_THROW(line.telnet->set_baudrate(9600), TelnetFeatureNotAvailableException);
}

TEST(TelnetConnect, SendsWithoutDelayAndKeepsTheConnectionAlive) {
    Line line;
    line.connect("!");
    int value = 0;
    line.telnet->getsockopt(TCP_NODELAY, value);
    EXPECT_EQ(1, value);
    value = 0;
    socklen_t size = sizeof value;
    ::getsockopt(line.telnet->getDescriptor(), SOL_SOCKET, SO_KEEPALIVE, &value, &size);
    EXPECT_EQ(1, value);
    line.telnet->getsockopt(TCP_USER_TIMEOUT, value);
    EXPECT_EQ(120'000, value);
}

TEST(TelnetConnect, ARefusalIsAnError) {
    const std::string address = localAddress(freeTcpPort());
    Telnet telnet(address, LogSource::unlimited());
    EXPECT_EQ("IOException: SocketException: ConnectException: Connection refused: " + address,
              messageOf<ConnectException>([&] { telnet.connect(); }));
}

TEST(TelnetConnect, AStopEventEndsAConnectThatNobodyAnswers) {
    const FullBacklog full;
    Event stop;
    Telnet telnet(localAddress(full.port()), LogSource::unlimited());
    telnet.setInterrupt(&stop);
    BlockedCall connect([&] { return messageOf<ConnectException>([&] { telnet.connect(); }); });
    EXPECT_FALSE(connect.ended());
    stop.set();
    EXPECT_EQ("IOException: SocketException: ConnectException: Interrupted system call: " +
                  telnet.getAddress(),
              connect.result());
}

TEST(TelnetConnect, AStopEventEndsTheWaitForTheServersNegotiation) {
    Line line;
    Event stop;
    line.telnet->setInterrupt(&stop);
    BlockedCall connect(
        [&] { return messageOf<SocketException>([&] { line.telnet->connect(); }); });
    Connection server = line.listener.accept();
    server.readExactly(6);
    stop.set();
    EXPECT_EQ(
        "IOException: SocketException: "
        "void SocketInputStream::wait_for_data()Interrupted system call",
        connect.result());
}

std::vector<std::string> refusalsOfEverySetting(Telnet& telnet) {
    using Refusal = TelnetFeatureNotAvailableException;
    return {messageOf<Refusal>([&] { telnet.set_baudrate(9600); }),
            messageOf<Refusal>([&] { telnet.set_datasize(8); }),
            messageOf<Refusal>([&] { telnet.set_parity(1); }),
            messageOf<Refusal>([&] { telnet.set_stopsize(1); }),
            messageOf<Refusal>([&] { telnet.set_control(1); })};
}
const std::vector<std::string> kRefusals = {"TelnetFeatureNotAvailableException: SET-BAUDRATE",
                                            "TelnetFeatureNotAvailableException: SET-DATASIZE",
                                            "TelnetFeatureNotAvailableException: SET-PARITY",
                                            "TelnetFeatureNotAvailableException: SET-STOPSIZE",
                                            "TelnetFeatureNotAvailableException: SET-CONTROL"};

TEST(TelnetSettings, AServerThatNeverAgreesLetsNothingBeSet) {
    Line line;
    line.offer();
    EXPECT_EQ(kRefusals, refusalsOfEverySetting(*line.telnet));
    EXPECT_EQ("", line.answerTo(""));
}

TEST(TelnetSettings, AServerThatOnlyAgreesToOtherOptionsLetsNothingBeSet) {
    Line line;
    line.offer();
    line.answerTo(bytes("FF FD 03 FF FD 00 FF FB 2C"));
    EXPECT_EQ(kRefusals, refusalsOfEverySetting(*line.telnet));
}

TEST(TelnetSettings, AnAgreementThatIsWithdrawnIsNoneAnyMore) {
    Line line;
    line.agree();
    line.telnet->set_baudrate(9600);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0  FF FC 2C"),
                 line.answerTo(bytes("FF FE 2C")));
    EXPECT_EQ(kRefusals, refusalsOfEverySetting(*line.telnet));
}

TEST(TelnetSettings, TextsHaveTheValuesThatTheConfigurationGivesThem) {
    EXPECT_EQ(4, Telnet::string_to_number("SPACE"));
    EXPECT_EQ(3, Telnet::string_to_number("CTS/RTS"));
    EXPECT_EQ(19200, Telnet::string_to_number("19200"));
    EXPECT_THROW(Telnet::string_to_number("space"), TelnetFeatureNotAvailableException);
}

TEST(TelnetSettings, EachIsACommandOfItsOwn) {
    Line line;
    line.agree();
    line.telnet->set_baudrate(9600);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), line.answerTo(""));
    line.telnet->set_datasize(8);
    EXPECT_BYTES(bytes("FF FA 2C 02 08 FF F0"), line.answerTo(""));
    line.telnet->set_parity(3);
    EXPECT_BYTES(bytes("FF FA 2C 03 03 FF F0"), line.answerTo(""));
    line.telnet->set_stopsize(2);
    EXPECT_BYTES(bytes("FF FA 2C 04 02 FF F0"), line.answerTo(""));
    line.telnet->set_control(1);
    EXPECT_BYTES(bytes("FF FA 2C 05 01 FF F0"), line.answerTo(""));
}

TEST(TelnetSettings, TheBaudRateIsUnsignedAndBigEndian) {
    Line line;
    line.agree();
    line.telnet->set_baudrate(0xFE1234FF);
    EXPECT_BYTES(bytes("FF FA 2C 01 FE 12 34 FF FF FF F0"), line.answerTo(""));
}

TEST(TelnetSettings, AValueThatIsALineEndGoesOutAsOne) {
    Line line;
    line.agree();
    line.telnet->set_datasize(10);
    EXPECT_BYTES(bytes("FF FA 2C 02 0D 0A FF F0"), line.answerTo(""));
    line.telnet->set_datasize(13);
    EXPECT_BYTES(bytes("FF FA 2C 02 0D 0A FF F0"), line.answerTo(""));
    line.telnet->set_baudrate(0x0A0D0A00);
    EXPECT_BYTES(bytes("FF FA 2C 01 0D 0A 0D 0A 00 FF F0"), line.answerTo(""));
    line.telnet->set_baudrate(0x000D000D);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 0D 00 0D 0A FF F0"), line.answerTo(""));
}

TEST(TelnetSettings, AValueThatIsTheCommandByteIsDoubled) {
    Line line;
    line.agree();
    line.telnet->set_datasize(255);
    EXPECT_BYTES(bytes("FF FA 2C 02 FF FF FF F0"), line.answerTo(""));
    line.telnet->set_parity(255);
    EXPECT_BYTES(bytes("FF FA 2C 03 FF FF FF F0"), line.answerTo(""));
    line.telnet->set_stopsize(255);
    EXPECT_BYTES(bytes("FF FA 2C 04 FF FF FF F0"), line.answerTo(""));
    line.telnet->set_control(255);
    EXPECT_BYTES(bytes("FF FA 2C 05 FF FF FF F0"), line.answerTo(""));
    line.telnet->set_baudrate(0xFFFFFFFF);
    EXPECT_BYTES(bytes("FF FA 2C 01 FF FF FF FF FF FF FF FF FF F0"), line.answerTo(""));
}

// One server command and what it is answered with.
struct Exchange {
    const char* command;
    const char* answer;
};

void expectExchanges(std::initializer_list<Exchange> exchanges) {
    Line line;
    line.offer();
    for (const Exchange& exchange : exchanges) {
        EXPECT_BYTES(bytes(exchange.answer), line.answerTo(bytes(exchange.command)))
            << exchange.command;
    }
}

TEST(TelnetNegotiation, LineControlIsAgreedAndWithdrawn) {
    expectExchanges({{"FF FE 2C", ""},
                     {"FF FD 2C", "FF FB 2C"},
                     {"FF FD 2C", ""},
                     {"FF FE 2C", "FF FC 2C"},
                     {"FF FE 2C", ""},
                     {"FF FD 2C", "FF FB 2C"}});
}

TEST(TelnetNegotiation, SuppressGoAheadIsAgreedAndWithdrawn) {
    expectExchanges({{"FF FE 03", ""},
                     {"FF FD 03", "FF FB 03"},
                     {"FF FD 03", ""},
                     {"FF FE 03", "FF FC 03"},
                     {"FF FE 03", ""}});
}

TEST(TelnetNegotiation, BinaryIsAgreedAndWithdrawn) {
    expectExchanges({{"FF FE 00", ""},
                     {"FF FD 00", "FF FB 00"},
                     {"FF FD 00", ""},
                     {"FF FE 00", "FF FC 00"},
                     {"FF FE 00", ""}});
}

TEST(TelnetNegotiation, EveryOtherOptionIsRefused) {
    expectExchanges({{"FF FD 01", "FF FC 01"},
                     {"FF FD 2D", "FF FC 2D"},
                     {"FF FD FE", "FF FC FE"},
                     {"FF FE 01", "FF FC 01"},
                     {"FF FE 18", "FF FC 18"},
                     {"FF FB 01", "FF FE 01"},
                     {"FF FB 2D", "FF FE 2D"}});
}

TEST(TelnetNegotiation, ARequestForAnotherOptionIsRefusedOnce) {
    expectExchanges({{"FF FD 01", "FF FC 01"},
                     {"FF FD 01", ""},
                     {"FF FE 01", "FF FC 01"},
                     {"FF FE 01", ""},
                     {"FF FD 01", ""},
                     {"FF FE 02", "FF FC 02"},
                     {"FF FD 02", "FF FC 02"},
                     {"FF FD FF", "FF FC FF"},
                     {"FF FD FF FF FE 02", ""}});
}

TEST(TelnetNegotiation, TheServersOffersAreTakenUpWhereSupported) {
    expectExchanges({{"FF FB 00", "FF FD 00"},
                     {"FF FB 03", "FF FD 03"},
                     {"FF FB 2C", "FF FD 2C"},
                     {"FF FC 03", "FF FE 03"},
                     {"FF FC 01", "FF FE 01"}});
}

TEST(TelnetNegotiation, AnOfferThatIsRepeatedIsAnsweredOnce) {
    expectExchanges({{"FF FB 03", "FF FD 03"},
                     {"FF FB 03", ""},
                     {"FF FC 03", "FF FE 03"},
                     {"FF FC 03", ""},
                     {"FF FB 03", "FF FD 03"},
                     {"FF FB 01", "FF FE 01"},
                     {"FF FC 01", ""}});
}

// How a peer answers each three-byte command.
std::string answersOf(const std::string& commands, std::string (*answer)(const std::string&)) {
    std::string answers;
    for (std::size_t at = 0; at + 3 <= commands.size(); at += 3) {
        answers += answer(commands.substr(at, 3));
    }
    return answers;
}

// A server that begins with these verbs for every option, and then answers every answer.
int roundsUntilSilence(const std::vector<const char*>& verbs,
                       std::string (*answer)(const std::string&)) {
    Line line;
    line.offer();
    std::string commands;
    for (const char* const verb : verbs) {
        for (const char* const option : {"00", "01", "03", "2C"}) {
            commands += bytes(verb) + bytes(option);
        }
    }
    int rounds = 0;
    while (!commands.empty() && rounds < 100) {
        commands = answersOf(line.answerTo(commands), answer);
        ++rounds;
    }
    return rounds;
}

const std::vector<const char*> kOfferEverything = {"FF FB", "FF FD"};
const std::vector<const char*> kRefuseEverything = {"FF FC", "FF FE"};

TEST(TelnetNegotiation, APeerThatAgreesToEverythingIsNotAnsweredForEver) {
    const auto answer = [](const std::string& command) {
        const std::map<char, const char*> agreements = {
            {'\xFB', "FF FD"}, {'\xFC', "FF FE"}, {'\xFD', "FF FB"}, {'\xFE', "FF FC"}};
        return bytes(agreements.at(command[1])) + command[2];
    };
    EXPECT_GE(5, roundsUntilSilence(kOfferEverything, answer));
    EXPECT_GE(5, roundsUntilSilence(kRefuseEverything, answer));
}

TEST(TelnetNegotiation, APeerThatRefusesEverythingIsNotAnsweredForEver) {
    const auto answer = [](const std::string& command) {
        const bool offer = command[1] == '\xFB' || command[1] == '\xFC';
        return bytes(offer ? "FF FE" : "FF FC") + command[2];
    };
    EXPECT_GE(5, roundsUntilSilence(kOfferEverything, answer));
    EXPECT_GE(5, roundsUntilSilence(kRefuseEverything, answer));
}

TEST(TelnetNegotiation, APeerThatRepeatsEverythingIsNotAnsweredForEver) {
    const auto answer = [](const std::string& command) { return command; };
    EXPECT_GE(5, roundsUntilSilence(kOfferEverything, answer));
    EXPECT_GE(5, roundsUntilSilence(kRefuseEverything, answer));
}

TEST(TelnetNegotiation, CommandsThatArriveByteByByteAreWhole) {
    Line line;
    line.offer();
    line.server.sendByteByByte(bytes("FF FD 2C FF FB 03") + "a");
    EXPECT_EQ('a', line.telnet->getInputStream().read());
    EXPECT_BYTES(bytes("FF FB 2C FF FD 03"), line.answerTo(""));
}

TEST(TelnetInput, ACommandRightBehindAnAnswerDoesNotHoldTheAnswer) {
    for (const char* const command : {"FF F1", "FF FD 2C", "FF FA 2C 6B 00 FF F0", "FF FA 2C"}) {
        Line line;
        line.offer();
        line.server.sendAll("answer" + bytes(command));
        ASSERT_TRUE(eventually([&] {
            return line.telnet->getInputStream().available() == 6 + bytes(command).size();
        }));
        std::string block(100, '?');
        EXPECT_EQ(6, line.telnet->getInputStream().read(block.data(), 100)) << command;
        EXPECT_EQ("answer", block.substr(0, 6)) << command;
    }
}

// The budget stands for a reader that has given up; the server goes on sending.
// The system counts the calls that read, of the whole process.
unsigned long readingCalls() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    unsigned long value = 0;
    while (counters >> name >> value) {
        if (name == "syscr:") return value;
    }
    ADD_FAILURE() << "the system does not count";
    return 0;
}

TEST(TelnetInput, BytesThatAreReadOneByOneDoNotCostASystemCallEach) {
    constexpr unsigned long kSize = 1000;
    Line line;
    line.agree();
    line.server.sendAll(std::string(kSize, 'x'));
    const unsigned long before = readingCalls();
    for (unsigned long i = 0; i < kSize; ++i) {
        ASSERT_EQ('x', line.telnet->getInputStream().read());
    }
    EXPECT_LT(readingCalls() - before, kSize / 10);
}

TEST(TelnetInput, AFloodAfterATimeoutDoesNotHoldTheDroppingOfIt) {
    Line line;
    line.offer();
    line.telnet->getInputStream().setTimeout(1);
    EXPECT_THROW(line.telnet->getInputStream().read(), SocketTimeoutException);
    line.telnet->getInputStream().setTimeout(0);
    std::atomic<bool> dropped = false;
    BlockedCall flood([&] {
        const std::string bytes(65536, 'x');
        const Deadline deadline;
        while (!dropped && !deadline.passed()) line.server.sendAll(bytes);
        return std::string(deadline.passed() ? "dropping does not end" : "");
    });
    EXPECT_TRUE(eventually([&] { return line.telnet->getInputStream().available() > 0; }));
    EXPECT_LT(0U, line.telnet->getInputStream().takeArrived().size());
    dropped = true;
    EXPECT_TRUE(eventually([&] {
        line.telnet->getInputStream().takeArrived();
        return flood.ended();
    }));
    EXPECT_EQ("", flood.result());
}

TEST(TelnetSubnegotiation, AServerThatAsksForTheSignatureGetsIt) {
    Line line;
    line.offer();
    EXPECT_BYTES(bytes("FF FA 2C 00") + "Telnet 1.0" + bytes("FF F0"),
                 line.answerTo(bytes("FF FA 2C 64 FF F0")));
    EXPECT_EQ("", line.telnet->getPeerSignature());
}

TEST(TelnetSubnegotiation, TheServersSignatureIsKept) {
    Line line;
    line.offer();
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C 64") + "server 2.0" + bytes("FF F0")));
    EXPECT_EQ("server 2.0", line.telnet->getPeerSignature());
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C 64") + "b" + bytes("FF F0")));
    EXPECT_EQ("b", line.telnet->getPeerSignature());
}

TEST(TelnetSubnegotiation, OtherLineControlIsLogged) {
    Line line;
    line.offer();
    const LogRecorder log;
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C 65 00 00 25 80 FF F0")));
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C C8 FF F0")));
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C 00 FF F0")));
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 2C FF F0")));
    EXPECT_EQ((std::vector<LogEntry>{{182, "Un-handle Telnet : COM_PORT_OPTION(101, 0x65)"},
                                     {182, "Un-handle Telnet : COM_PORT_OPTION(200, 0xc8)"},
                                     {182, "Un-handle Telnet : COM_PORT_OPTION(0, 0x00)"},
                                     {182, "Un-handle Telnet : COM_PORT_OPTION(0, 0x00)"}}),
              log.lines());
}

TEST(TelnetSubnegotiation, OtherOptionsAreLogged) {
    Line line;
    line.offer();
    const LogRecorder log;
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 18 01") + "abc" + bytes("FF F0")));
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 18 E0") + "%n%s" + bytes("FF F0")));
    EXPECT_BYTES("", line.answerTo(bytes("FF FA 03 64 FF F0")));
    EXPECT_EQ((std::vector<LogEntry>{
                  {182, "Un-handle Telnet subnegotiation: '1' with parameters: 'abc'"},
                  {182, "Un-handle Telnet subnegotiation: '224' with parameters: '%n%s'"},
                  {182, "Un-handle Telnet subnegotiation: '100' with parameters: ''"}}),
              log.lines());
}

TEST(TelnetFlusher, FlushesItsStream) {
    RecordedOutputStream output;
    Telnet::FlusherTimerTask flusher(output);
    EXPECT_EQ("FlusherTimerTask", flusher.getName());
    EXPECT_EQ(1000U, Telnet::FlusherTimerTask::DELAY);
    flusher.run();
    EXPECT_EQ(1, output.flushes);
}

// An output stream that has something left after its first attempts.
struct Reluctant : OutputStream {
    explicit Reluctant(int failures) : left(failures) {}
    bool flushAvailable() override {
        ++attempts;
        return left-- <= 0;
    }
    std::atomic<int> attempts = 0;
    std::atomic<int> left;
};

TEST(TelnetFlusher, TriesAgainASecondLaterWhileSomethingIsLeft) {
    Reluctant output(1);
    Telnet::FlusherTimerTask flusher(output);
    const auto start = std::chrono::steady_clock::now();
    Telnet::internalTimer().schedule(flusher, 0, 0);
    EXPECT_TRUE(eventually([&] { return flusher.isCancelled(); }));
    EXPECT_EQ(2, output.attempts);
    EXPECT_LE(900ms, std::chrono::steady_clock::now() - start);
    Telnet::internalTimer().cancel(flusher);
}

TEST(TelnetFlusher, DoesNotTryAgainAfterAnError) {
    struct Failing : OutputStream {
        bool flushAvailable() override { throw SocketException("gone"); }
    } output;
    Telnet::FlusherTimerTask flusher(output);
    EXPECT_THROW(flusher.run(), SocketException);
    EXPECT_EQ(0U, flusher.getPeriod());
}

TEST(TelnetFlusher, RunsOnTheInternalTimer) {
    EXPECT_EQ("Timer: Telnet Internal Timer", Telnet::internalTimer().getName());
}

// The moment before the first setting.
class Start {
  public:
    // Whether the flusher cannot have come yet. A thread that is later than that begins anew.
    bool isBeforeFlush() const { return std::chrono::steady_clock::now() - time_ < 900ms; }

  private:
    const std::chrono::steady_clock::time_point time_ = std::chrono::steady_clock::now();
};

TEST(TelnetFlusher, SettingsLeaveTogetherWithinASecondOrSo) {
    for (bool inTime = false; !inTime;) {
        Line line;
        line.agree();
        const Start start;
        line.telnet->set_baudrate(9600);
        line.telnet->set_datasize(8);
        inTime = start.isBeforeFlush();
        ASSERT_TRUE(line.server.readableWithin(5s));
        EXPECT_FALSE(start.isBeforeFlush());
        if (!inTime) continue;
        EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0  FF FA 2C 02 08 FF F0"),
                     line.server.readAvailable());
    }
}

TEST(TelnetFlusher, AnswersToTheServerLeaveTheSameWay) {
    Line line;
    line.offer();
    line.server.sendAll(bytes("FF FB 03") + "a");
    EXPECT_EQ('a', line.telnet->getInputStream().read());
    EXPECT_BYTES(bytes("FF FD 03"), line.server.readExactly(3));
}

// Each offer is answered, and the next one comes before a second is over.
TEST(TelnetFlusher, AServerThatNeverPausesGetsItsAnswersWithinASecondOrSo) {
    Line line;
    line.offer();
    std::string answers;
    const auto start = std::chrono::steady_clock::now();
    for (const Deadline deadline(10s); !line.server.readableWithin(200ms);) {
        ASSERT_FALSE(deadline.passed()) << "no answer";
        const bool wills = answers.size() % 6 == 0;
        line.server.sendAll(bytes(wills ? "FF FB 03" : "FF FC 03") + ".");
        EXPECT_EQ('.', line.telnet->getInputStream().read());
        answers += bytes(wills ? "FF FD 03" : "FF FE 03");
    }
    EXPECT_LE(900ms, std::chrono::steady_clock::now() - start);
    const std::string first = line.server.readAvailable();  // of those before the flush
    EXPECT_LE(3U, first.size());
    EXPECT_BYTES(answers.substr(0, first.size()), first);
}

TEST(TelnetFlusher, TwoClientsDoNotMixTheirSettings) {
    Line one;
    Line two;
    one.agree();
    two.agree();
    one.telnet->set_baudrate(9600);
    two.telnet->set_baudrate(19200);
    one.telnet->set_parity(1);
    two.telnet->set_parity(2);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0  FF FA 2C 03 01 FF F0"),
                 one.server.readExactly(17));
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 4B 00 FF F0  FF FA 2C 03 02 FF F0"),
                 two.server.readExactly(17));
}

// The second client's flush shows that the first one's time is over.
TEST(TelnetFlusher, IsTakenOffTheTimerWithItsClient) {
    for (bool inTime = false; !inTime;) {
        Line gone;
        Line stays;
        gone.agree();
        stays.agree();
        const Start start;
        gone.telnet->set_baudrate(9600);
        stays.telnet->set_baudrate(9600);
        gone.telnet.reset();
        inTime = start.isBeforeFlush();
        EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), stays.server.readExactly(10));
        const std::string last = gone.server.readUntilClosed();
        EXPECT_TRUE(!inTime || last.empty()) << hex(last);
    }
}

TEST(TelnetFlusher, ClosingTakesItOffToo) {
    for (bool inTime = false; !inTime;) {
        const LogRecorder log;
        Line closed;
        Line stays;
        closed.agree();
        stays.agree();
        const Start start;
        closed.telnet->set_baudrate(9600);
        stays.telnet->set_baudrate(9600);
        closed.telnet->close();
        inTime = start.isBeforeFlush();
        EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), stays.server.readExactly(10));
        const std::string last = closed.server.readUntilClosed();
        EXPECT_TRUE(!inTime || last.empty()) << hex(last);
        for (const LogEntry& line : log.lines()) EXPECT_LE(181, line.priority) << line;
    }
}

TEST(TelnetFlusher, AClientThatGoesWaitsForItsRunningFlush) {
    Line line;
    line.agree();
    line.telnet->set_baudrate(9600);
    HeldSend held;
    ASSERT_TRUE(held.awaitSender());  // the flusher has begun, and cannot end
    BlockedCall destruction([&] {
        line.telnet.reset();
        return std::string("gone");
    });
    EXPECT_FALSE(destruction.endsWithin(100ms));
    held.release();
    EXPECT_EQ("gone", destruction.result());
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), line.server.readUntilClosed());
}

TEST(TelnetFlusher, AServerThatDoesNotReadDelaysNoOtherClient) {
    Line full;
    Line other;
    full.agree();
    other.agree();
    const std::string many = full.fill();
    full.telnet->set_baudrate(9600);
    ASSERT_TRUE(full.server.readableWithin(10s));
    other.telnet->set_baudrate(9600);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), other.server.readExactly(10, 5s));
    const std::string all = many + bytes("FF FA 2C 01 00 00 25 80 FF F0");
    BlockedCall read([&] { return full.server.readExactly(all.size(), 30s); });
    full.telnet->getOutputStream().flush();
    EXPECT_TRUE(all == read.result(30s));
    EXPECT_EQ("", full.answerTo(""));
}

TEST(TelnetFlusher, AClientThatWaitsInItsOwnFlushDelaysNoOtherClient) {
    Line full;
    Line other;
    full.agree();
    other.agree();
    full.telnet->set_baudrate(9600);
    const std::string many = full.fill();
    BlockedCall flush([&] {
        full.telnet->getOutputStream().flush();
        return std::string("flushed");
    });
    ASSERT_FALSE(flush.ended());
    other.telnet->set_baudrate(9600);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), other.server.readExactly(10, 5s));
    EXPECT_FALSE(flush.ended());
    const std::string all = bytes("FF FA 2C 01 00 00 25 80 FF F0") + many;
    EXPECT_TRUE(all == full.server.readExactly(all.size(), 30s));
    EXPECT_EQ("flushed", flush.result());
    EXPECT_EQ("", full.answerTo(""));
}

// Whoever waits in send is the flusher: the owner flushes nothing.
TEST(TelnetFlusher, TriesAgainAndAgainWhileTheServerDoesNotRead) {
    Line line;
    line.agree();
    line.telnet->set_baudrate(9600);
    for (int attempt = 1; attempt <= 3; ++attempt) {
        HeldSend held;
        ASSERT_TRUE(held.awaitSender()) << attempt;
        held.refuse();
    }
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), line.server.readExactly(10, 5s));
}

// The two clients' flushers are due one after the other.
TEST(TelnetFlusher, AServerThatHasGoneDoesNotEndTheFlushingOfOthers) {
    const LogRecorder log;
    Line gone;
    Line other;
    gone.agree();
    other.agree();
    gone.server.reset();
    ASSERT_THROW(gone.telnet->getInputStream().read(), SocketException);
    gone.telnet->set_baudrate(9600);
    other.telnet->set_baudrate(9600);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), other.server.readExactly(10, 5s));
    const LogEntry warning{180,
                           "TimerTask 'FlusherTimerTask' Uncaught Exception: IOException: "
                           "SocketException: SocketConnectionClosedException: "
                           "SocketConnectionClosedException"};
    EXPECT_EQ(1U, log.count(warning));
    EXPECT_THROW(gone.telnet->getOutputStream().flush(), SocketConnectionClosedException);
}

TEST(TelnetOutput, AFlushThatFailedSendsNothingTwice) {
    Line line;
    line.agree();
    line.telnet->StreamClientSocket::getOutputStream().setTimeout(100);
    const std::string many = line.fill();
    EXPECT_EQ(
        "IOException: SocketException: "
        "virtual void SocketOutputStream::write(const char*, size_t)Connection timed out",
        messageOf<SocketException>([&] { line.telnet->getOutputStream().flush(); }));
    BlockedCall read([&] { return line.server.readUntilClosed(30s); });
    EXPECT_EQ(
        "IOException: SocketException: SocketConnectionClosedException: "
        "SocketConnectionClosedException",
        messageOf<SocketException>([&] { line.telnet->getOutputStream().flush(); }));
    EXPECT_THROW(line.telnet->getOutputStream().write("a\n"), SocketConnectionClosedException);
    line.telnet.reset();
    const std::string received = read.result();
    EXPECT_LT(0U, received.size());
    EXPECT_TRUE(many.starts_with(received));
}

// A server that never reads again holds the client no longer than until it is stopped.
TEST(TelnetOutput, AStopEventEndsAFlushThatWaits) {
    Line line;
    Event stop;
    line.telnet->setInterrupt(&stop);
    line.agree();
    line.fill();
    BlockedCall flush([&] {
        return messageOf<SocketException>([&] { line.telnet->getOutputStream().flush(); });
    });
    EXPECT_FALSE(flush.ended());
    stop.set();
    EXPECT_EQ(
        "IOException: SocketException: "
        "virtual void SocketOutputStream::write(const char*, size_t)Interrupted system call",
        flush.result(5s));
}

TEST(TelnetFlusher, ClientsMayGoWhileTheirFlushersRun) {
    std::vector<std::unique_ptr<Line>> lines;
    for (int i = 0; i < 30; ++i) {
        lines.push_back(std::make_unique<Line>());
        lines.back()->agree();
    }
    for (const auto& line : lines) line->telnet->set_baudrate(9600);
    ASSERT_TRUE(lines.front()->server.readableWithin(10s));
    for (const auto& line : lines) line->telnet.reset();
    for (const auto& line : lines) EXPECT_TRUE(line->server.closedByPeer());
}

// The owner writes on while the timer flushes what it wrote; every command arrives whole.
TEST(TelnetFlusher, MayRunWhileTheOwnerWrites) {
    Line line;
    line.agree();
    BlockedCall reader([&] { return line.server.readUntilClosed(30s); });
    line.telnet->set_baudrate(9600);
    for (const Deadline twoSeconds(2s); !twoSeconds.passed();) {
        line.telnet->getOutputStream().write(bytes("FF FA 2C 01 00 00 25 80 FF F0"));
        std::this_thread::yield();
    }
    line.telnet->getOutputStream().flush();
    line.telnet.reset();
    const std::string received = reader.result(30s);
    ASSERT_EQ(0U, received.size() % 10);
    for (std::size_t at = 0; at < received.size(); at += 10) {
        ASSERT_EQ(0, received.compare(at, 10, bytes("FF FA 2C 01 00 00 25 80 FF F0"))) << at;
    }
}

TEST(Telnet, ClosingTwiceIsAnError) {
    Line line;
    line.offer();
    line.telnet->close();
    EXPECT_TRUE(line.server.closedByPeer());
    EXPECT_THROW(line.telnet->close(), SocketException);
}

}  // namespace
}  // namespace teskd::test
