#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <vector>

#include "core/StopEvent.h"
#include "net/ClientAndPeer.h"
#include "net/FullBacklog.h"
#include "support/Bytes.h"
#include "support_src/BlockedCall.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordedOutputStream.h"
#include "support_src/Thrown.h"
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

    Listener listener;
    std::optional<Telnet> telnet{std::in_place, localAddress(listener.port())};
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
}

TEST(TelnetConnect, ARefusalIsAnError) {
    const std::string address = localAddress(freeTcpPort());
    Telnet telnet(address);
    EXPECT_EQ("IOException: SocketException: ConnectException: Connection refused: " + address,
              messageOf<ConnectException>([&] { telnet.connect(); }));
}

TEST(TelnetConnect, AStopEventEndsAConnectThatNobodyAnswers) {
    const FullBacklog full;
    StopEvent stop;
    Telnet telnet(localAddress(full.port()));
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
    StopEvent stop;
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
    EXPECT_BYTES(bytes("FF FA 2C 01 FE 12 34 FF FF F0"), line.answerTo(""));
}

TEST(TelnetSettings, AValueThatIsALineEndGoesOutAsOne) {
    Line line;
    line.agree();
    line.telnet->set_datasize(10);
    EXPECT_BYTES(bytes("FF FA 2C 02 0D 0A FF F0"), line.answerTo(""));
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
                     {"FF FE 01", ""},
                     {"FF FB 01", "FF FE 01"},
                     {"FF FB 2D", "FF FE 2D"}});
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
    EXPECT_EQ((std::vector<LogEntry>{{182, "Un-handle Telnet : COM_PORT_OPTION(101, 0x65)"},
                                     {182, "Un-handle Telnet : COM_PORT_OPTION(200, 0xc8)"},
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

TEST(TelnetFlusher, RunsOnTheInternalTimer) {
    EXPECT_EQ("Timer: Telnet Internal Timer", Telnet::internalTimer().getName());
}

TEST(TelnetFlusher, SettingsLeaveTogetherWithinASecondOrSo) {
    Line line;
    line.agree();
    const auto start = std::chrono::steady_clock::now();
    line.telnet->set_baudrate(9600);
    line.telnet->set_datasize(8);
    EXPECT_FALSE(line.server.readableWithin(500ms));
    ASSERT_TRUE(line.server.readableWithin(5s));
    EXPECT_LE(900ms, std::chrono::steady_clock::now() - start);
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0  FF FA 2C 02 08 FF F0"),
                 line.server.readAvailable());
}

TEST(TelnetFlusher, AnswersToTheServerLeaveTheSameWay) {
    Line line;
    line.offer();
    line.server.sendAll(bytes("FF FB 03") + "a");
    EXPECT_EQ('a', line.telnet->getInputStream().read());
    EXPECT_BYTES(bytes("FF FD 03"), line.server.readExactly(3));
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
    Line gone;
    Line stays;
    gone.agree();
    stays.agree();
    gone.telnet->set_baudrate(9600);
    stays.telnet->set_baudrate(9600);
    gone.telnet.reset();
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), stays.server.readExactly(10));
    EXPECT_EQ("", gone.server.readUntilClosed());
}

TEST(TelnetFlusher, ClosingTakesItOffToo) {
    const LogRecorder log;
    Line closed;
    Line stays;
    closed.agree();
    stays.agree();
    closed.telnet->set_baudrate(9600);
    stays.telnet->set_baudrate(9600);
    closed.telnet->close();
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"), stays.server.readExactly(10));
    EXPECT_EQ("", closed.server.readUntilClosed());
    for (const LogEntry& line : log.lines()) EXPECT_LE(181, line.priority) << line;
}

TEST(TelnetFlusher, AClientThatGoesWaitsForItsRunningFlush) {
    Line line;
    line.agree();
    const std::string many(std::size_t{32} * 1024 * 1024, 'x');
    line.telnet->getOutputStream().write(many);
    line.telnet->set_baudrate(9600);
    ASSERT_TRUE(line.server.readableWithin(10s));  // the flusher has begun, and cannot end
    BlockedCall destruction([&] {
        line.telnet.reset();
        return std::string("gone");
    });
    EXPECT_FALSE(destruction.endsWithin(100ms));
    EXPECT_BYTES(bytes("FF FA 2C 01 00 00 25 80 FF F0"),
                 line.server.readExactly(many.size() + 10).substr(many.size()));
    EXPECT_EQ("gone", destruction.result());
}

// A server that never reads again holds neither the client nor the timer for ever.
TEST(TelnetFlusher, AStopEventEndsARunningFlush) {
    Line line;
    StopEvent stop;
    line.telnet->setInterrupt(&stop);
    line.agree();
    line.telnet->getOutputStream().write(std::string(std::size_t{32} * 1024 * 1024, 'x'));
    line.telnet->set_baudrate(9600);
    ASSERT_TRUE(line.server.readableWithin(10s));
    stop.set();
    BlockedCall destruction([&] {
        line.telnet.reset();
        return std::string("gone");
    });
    EXPECT_EQ("gone", destruction.result(5s));
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
