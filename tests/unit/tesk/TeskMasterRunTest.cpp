// How a run of a master starts, ends, and starts again.

#include <atomic>
#include <barrier>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "net/FullBacklog.h"
#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/OneOfAFew.h"
#include "support/ProcInfo.h"
#include "support_src/AtRelease.h"
#include "support_src/FailingThreads.h"
#include "support_src/LogRecorder.h"
#include "tesk/PortConfig.h"
#include "tesk/Request.h"
#include "tesk/TeskController.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

constexpr const char* kName = "SlotMachine_1";
const std::string kDoComPort = bytes("FF FD 2C");
// Negotiates at once, then spoils the first answer: the CodeId is too short.
const std::string kSpoilt = kDoComPort + "~~~~00";
const std::string kRefused = "error: IOException: SocketException: ConnectException: ";
const std::string kUnwritten =
    "error: IOException: SocketException: "
    "virtual void SocketOutputStream::write(const char*, size_t)Connection timed out";
const std::string kDown = "error: TeskException: The link is shut down";

using WhenLost = TeskController::WhenLost;

class TeskMasterRun : public testing::Test {
  protected:
    ~TeskMasterRun() noexcept override = default;

    void build(std::uint16_t tcpPort, WhenLost whenLost = WhenLost::WAIT) {
        config.serialPorts({tcpPort});
        controller.emplace(whenLost);
    }
    std::string ask(const std::string& name = kName) {
        const Request request(113);
        controller->send(name, request.packet());
        const std::string outcome = request.outcome();
        if (outcome.starts_with("error")) awaitEndOfRun();
        return outcome;
    }
    // A request that comes while a run still ends may be told of that run's failure.
    void awaitEndOfRun() {
        const TeskMaster& master = *controller->get_machines().front();
        EXPECT_TRUE(eventually([&] { return !master.isRunning(); }));
    }
    // Until the master's thread and the timer's have ended.
    static bool threadsAre(std::size_t count) {
        return eventually([count] { return threadCount(::getpid()) <= count; });
    }

    const LogRecorder log;
    PortConfig config;
    std::optional<TeskController> controller;
};

TEST_F(TeskMasterRun, StartsWithTheLineSettingsInTheirOrder) {
    tesksim::Machine machine{{.greeting = kDoComPort + "113~0025~15.03.21~ZA000000001~00~4711"}};
    machine.setFaults({.silent = true});
    machine.start();
    config.set("[PORT_ASYNC1] BAUDRATE", "9600");
    config.set("[PORT_ASYNC1] DATASIZE", "7");
    config.set("[PORT_ASYNC1] PARITY", "EVEN");
    config.set("[PORT_ASYNC1] STOPSIZE", "2");
    config.set("[PORT_ASYNC1] FLOWCONTROL", "CTS/RTS");
    build(machine.port());
    EXPECT_EQ("completed", ask());
    EXPECT_TRUE(machine.journal().waitForAcknowledgements(1));
    const std::string received = machine.journal().rawReceived();
    const std::string settings = bytes(
        "FF FA 2C 01 00 00 25 80 FF F0  FF FA 2C 02 07 FF F0  FF FA 2C 03 03 FF F0"
        "FF FA 2C 04 02 FF F0  FF FA 2C 05 03 FF F0");
    EXPECT_NE(std::string::npos, received.find(settings));
    EXPECT_GT(received.find("113~0008"), received.find(settings));
    EXPECT_EQ("113~0008150~000C~113", machine.journal().dataReceived());
}

TEST_F(TeskMasterRun, ThatCannotConnectIsTriedAgainByTheNextRequest) {
    tesksim::Machine machine;
    machine.setFaults({.refuse = true});
    machine.start();
    build(machine.port());
    EXPECT_TRUE(ask().starts_with(kRefused));
    EXPECT_TRUE(ask().starts_with(kRefused));
    EXPECT_FALSE(controller->is_connected(kName));
    EXPECT_EQ(0U, machine.journal().connections());
    machine.clearFaults();
    ASSERT_TRUE(eventually([&] { return somebodyListens(machine.port()); }));
    EXPECT_EQ("completed", ask());
    EXPECT_TRUE(controller->is_connected("ZA000000001"));
}

TEST_F(TeskMasterRun, EndsWhenTheServerKnowsNoLineControl) {
    tesksim::Machine machine;
    machine.setFaults({.negotiation = tesksim::Negotiation::Refuse});
    machine.start();
    build(machine.port());
    const Request first(113);
    const Request second(115);
    controller->send(kName, first.packet());
    controller->send(kName, second.packet());
    EXPECT_EQ("error: TelnetFeatureNotAvailableException: SET-BAUDRATE", first.outcome());
    EXPECT_EQ("error: TelnetFeatureNotAvailableException: SET-BAUDRATE", second.outcome());
    awaitEndOfRun();
    EXPECT_FALSE(controller->is_connected(kName));
    EXPECT_EQ("", machine.journal().dataReceived());
    EXPECT_TRUE(machine.journal().waitForDisconnection());
    machine.clearFaults();
    EXPECT_EQ("completed", ask());
    EXPECT_EQ(2U, machine.journal().connections());
}

TEST_F(TeskMasterRun, ThatCannotStartReportsTheRequest) {
    tesksim::Machine machine;
    machine.start();
    build(machine.port());
    {
        const FailingThreads none(1);
        const Request request(113);
        controller->send(kName, request.packet());
        EXPECT_EQ(1U, request.outcomes());  // there and then
        EXPECT_EQ("error: TeskException: Resource temporarily unavailable", request.outcome());
        EXPECT_EQ(1U, log.count({180,
                                 "Cannot serve a request for 'SlotMachine_1': Resource "
                                 "temporarily unavailable"}));
    }
    EXPECT_EQ("completed", ask());
    EXPECT_EQ("113~0008", machine.journal().requests().at(0).raw);
    EXPECT_EQ(1U, machine.journal().requests().size());
}

TEST_F(TeskMasterRun, IsOneForManySendersAtOnce) {
    constexpr int kSenders = 8;
    for (int round = 0; round < 20; ++round) {
        Listener server;
        build(server.port());
        std::vector<std::unique_ptr<Request>> requests;
        for (int i = 0; i < kSenders; ++i) requests.push_back(std::make_unique<Request>(113));
        std::barrier together(kSenders);
        std::vector<std::jthread> senders;
        for (const auto& request : requests) {
            senders.emplace_back([&] {
                together.arrive_and_wait();
                controller->send(kName, request->packet());
            });
        }
        senders.clear();
        const Connection first = server.accept();
        EXPECT_FALSE(server.pendingWithin(std::chrono::milliseconds(20)));
        controller.reset();
        for (const auto& request : requests) EXPECT_EQ(1U, request->outcomes());
    }
}

// Every run fails at once, so requests meet it at its start, at its end and in between.
TEST_F(TeskMasterRun, StrandsNoRequestThatComesWhileItFails) {
    tesksim::Machine machine;
    build(machine.port());  // nobody listens
    std::vector<std::jthread> senders;
    for (int i = 0; i < 4; ++i) {
        senders.emplace_back([&] {
            for (int n = 0; n < 300; ++n) {
                const Request request(113);
                controller->send(kName, request.packet());
                ASSERT_TRUE(request.outcome().starts_with(kRefused)) << request.outcome();
                ASSERT_EQ(1U, request.outcomes());
            }
        });
    }
}

// Another request, on a thread of its own, when the thread that is told of a failure lets go of a
// lock for the nth time from then on.
class AsksAtRelease : public PacketEventListener {
  public:
    AsksAtRelease(TeskController& controller, std::size_t n) : controller_(controller), n_(n) {}

    void packetCompleted(Packet*) override {}
    void packetFailed(Packet*) override {}
    void packetError(Packet*, const Exception&) override {
        atRelease(n_, [this] { ask(); });
    }
    // Once the thread that was told is gone. Empty when it let go of fewer locks.
    std::string outcome() {
        if (!hasAsked_) return "";
        asker_.join();
        return request_.outcome();
    }

  private:
    void ask() {
        std::promise<void> asked;
        const std::future<void> done = asked.get_future();
        asker_ = std::thread([this, asked = std::move(asked)]() mutable {
            controller_.send(kName, request_.packet());
            asked.set_value();
        });
        hasAsked_ = true;
        // It is held up when the thread has kept another lock.
        done.wait_for(std::chrono::milliseconds(100));
    }

    TeskController& controller_;
    const std::size_t n_;
    const Request request_{115};
    std::thread asker_;
    std::atomic<bool> hasAsked_ = false;
};

// Nobody else comes who would start a run for the request that comes while one ends.
TEST_F(TeskMasterRun, StrandsNoRequestThatComesAtAnyMomentOfItsEnd) {
    tesksim::Machine machine;
    build(machine.port());      // nobody listens
    std::thread([] {}).join();  // the thread sanitizer has a thread of its own from the first on
    const std::size_t threads = threadCount(::getpid());
    std::string outcome = "none yet";
    std::size_t moments = 0;
    while (!outcome.empty()) {
        AsksAtRelease other(*controller, ++moments);
        const Request request(113);
        request.packet()->addListener(&other);
        controller->send(kName, request.packet());
        EXPECT_TRUE(request.outcome().starts_with(kRefused)) << request.outcome();
        ASSERT_TRUE(threadsAre(threads));  // awaitEnd() returns before the last lock is let go of
        outcome = other.outcome();
        ASSERT_TRUE(outcome.empty() || outcome.starts_with("error: "))
            << moments << ": " << outcome;
    }
    EXPECT_LT(5U, moments);
}

TEST_F(TeskMasterRun, StrandsNoRequestOfAListenerThatIsToldOfTheFailure) {
    class AsksOnce : public PacketEventListener {
      public:
        AsksOnce(TeskController& controller, const Request& next)
            : controller_(controller), next_(next) {}
        void packetCompleted(Packet*) override {}
        void packetFailed(Packet*) override {}
        void packetError(Packet*, const Exception&) override {
            controller_.send(kName, next_.packet());
        }

      private:
        TeskController& controller_;
        const Request& next_;
    };
    tesksim::Machine machine;
    build(machine.port());
    const Request second(115);
    AsksOnce asksOnce(*controller, second);
    const Request first(113);
    first.packet()->addListener(&asksOnce);
    controller->send(kName, first.packet());
    EXPECT_TRUE(second.outcome().starts_with(kRefused)) << second.outcome();
}

TEST_F(TeskMasterRun, MayBeRepeatedAThousandTimesAndLeavesNothingBehind) {
    tesksim::Machine machine{{.greeting = kSpoilt}};
    machine.setFaults({.silent = true});
    machine.start();
    build(machine.port());
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    constexpr int kRuns = 1000;
    for (int run = 0; run <= kRuns; ++run) {
        ASSERT_EQ("error: TeskException: ", ask().substr(0, 22)) << run;
        ASSERT_TRUE(machine.journal().waitForDisconnection());
        if (run > 0) continue;
        threads = threadCount(::getpid());  // the first run's and the timer's among them, perhaps
        descriptors = openDescriptors(::getpid());
    }
    EXPECT_EQ(1U + kRuns, machine.journal().connections());
    EXPECT_TRUE(threadsAre(threads));
    EXPECT_TRUE(eventually([&] { return openDescriptors(::getpid()) <= descriptors; }));
}

TEST_F(TeskMasterRun, EndsPromptlyWhileItConnects) {
    const FullBacklog server;
    build(server.port());
    const Request request(113);
    controller->send(kName, request.packet());
    EXPECT_EQ("nothing", request.outcome(std::chrono::milliseconds(100)));
    const Deadline prompt(std::chrono::seconds(5));
    controller->shut_down();
    EXPECT_FALSE(prompt.passed());
    EXPECT_EQ("error", request.outcome().substr(0, 5));
    EXPECT_EQ(1U, request.outcomes());
    EXPECT_EQ(kDown, ask());
}

TEST_F(TeskMasterRun, EndsPromptlyWhileItNegotiates) {
    EXPECT_TRUE(oneOfAFew([this] {
        Listener server;
        build(server.port());
        const Request request(113);
        controller->send(kName, request.packet());
        Connection connection = server.accept();
        connection.readExactly(3);  // its first offer
        const Deadline prompt(std::chrono::milliseconds(700));
        controller->shut_down();
        const bool inTime = !prompt.passed();
        EXPECT_EQ("error", request.outcome().substr(0, 5));
        EXPECT_TRUE(connection.closedByPeer());
        return inTime;
    }));
}

// A machine that has answered once, asked anew by itself when it fails.
class TeskMasterRunLostMachine : public TeskMasterRun {
  protected:
    void SetUp() override {
        machine.start();
        build(machine.port(), WhenLost::ASK);
        ASSERT_EQ("completed", ask());
        ASSERT_TRUE(machine.journal().waitForAcknowledgements(1));
        machine.journal().clear();
    }
    bool known() { return controller->is_connected("ZA000000001"); }
    void timeOut() {
        machine.setFaults({.silent = true}, 1);
        const Request request(115, kShortTime);
        controller->send("ZA000000001", request.packet());
        EXPECT_EQ("failed", request.outcome());
    }

    // Milliseconds until a request without an answer times out. A request whose time is over before
    // it is written breaks the link, so the thread that writes it may be late by that much.
    static inline const std::uint32_t kShortTime = 500 * static_cast<std::uint32_t>(timeScale());

    tesksim::Machine machine{{.greeting = kDoComPort + "120~0025~15.03.21~ZA000000001~00~4711"}};
};

TEST_F(TeskMasterRunLostMachine, IsKnownAgainBehindARequestThatTimedOut) {
    timeOut();
    EXPECT_TRUE(machine.journal().waitForAcknowledgements(1));
    EXPECT_TRUE(known());
    EXPECT_EQ("115~0008113~0008150~000C~113", machine.journal().dataReceived());
    EXPECT_EQ(1U, machine.journal().connections());  // still the first
}

TEST_F(TeskMasterRunLostMachine, IsKnownAgainBehindALinkThatBroke) {
    machine.disconnect(true);
    EXPECT_TRUE(machine.journal().waitForDisconnection());
    const Request request(115);
    controller->send("ZA000000001", request.packet());
    EXPECT_EQ("error", request.outcome().substr(0, 5));
    EXPECT_TRUE(machine.journal().waitForAcknowledgements(1));
    EXPECT_TRUE(known());
    EXPECT_EQ("113~0008150~000C~113", machine.journal().dataReceived());
}

// Once for each failure, however often.
TEST_F(TeskMasterRunLostMachine, IsAskedOnceForEachFailure) {
    std::string expected;
    for (std::size_t n = 1; n <= 5; ++n) {
        timeOut();
        expected += "115~0008113~0008150~000C~113";
        EXPECT_TRUE(machine.journal().waitForAcknowledgements(n));
    }
    EXPECT_EQ(expected, machine.journal().dataReceived());
}

TEST_F(TeskMasterRunLostMachine, IsAskedNoMoreWhenItFailsAgain) {
    machine.setFaults({.closeAfter = 20});
    const Request request(115);
    controller->send("ZA000000001", request.packet());
    EXPECT_EQ("error", request.outcome().substr(0, 5));
    awaitEndOfRun();
    EXPECT_FALSE(known());
    EXPECT_EQ(2U, machine.journal().connections());  // one further one
    EXPECT_EQ("115~0008113~0008", machine.journal().dataReceived());
    machine.clearFaults();
    EXPECT_EQ("completed", ask("ZA000000001"));
    EXPECT_TRUE(known());
}

// The machine answers the question and breaks off before it is acknowledged, for ever.
TEST_F(TeskMasterRun, AsksNoMoreWhereTheAcknowledgementOfAKnownMachineFails) {
    Listener server;
    build(server.port(), WhenLost::ASK);
    const Request request(113);
    controller->send(kName, request.packet());
    Connection first = server.accept();
    first.sendAll(kDoComPort + "113~0025~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", request.outcome());
    const Request lost(115);
    controller->send("ZA000000001", lost.packet());
    first.close();
    std::size_t further = 0;
    while ((further == 0 || server.pendingWithin(std::chrono::milliseconds(500))) && further < 10) {
        Connection next = server.accept();
        next.sendAll(kDoComPort + "113~0025~15.03.21~ZA000000001~00~4711");
        const linger atOnce{1, 0};
        ::setsockopt(next.fd(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        ++further;
    }
    EXPECT_EQ(1U, further);
    EXPECT_EQ("error", lost.outcome().substr(0, 5));
}

TEST_F(TeskMasterRunLostMachine, ServesARequestThatComesMeanwhile) {
    machine.setFaults({.silent = true}, 2);
    const Request first(115, kShortTime);
    controller->send("ZA000000001", first.packet());
    EXPECT_EQ("failed", first.outcome());
    EXPECT_TRUE(machine.journal().waitForRequests(2));
    const Request meanwhile(118);
    controller->send("ZA000000001", meanwhile.packet());
    EXPECT_FALSE(known());
    machine.inject("113~0025~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", meanwhile.outcome());
    EXPECT_EQ(118, meanwhile.packet()->get_id());
}

// A host's text with the ID of the question, but other bytes, has no answer.
TEST_F(TeskMasterRunLostMachine, IsKnownAgainBehindATextWithTheIdOfTheQuestion) {
    machine.setFaults({.silent = true}, 1);
    const Request text(0, kShortTime);
    text.packet()->set_raw();
    text.packet()->set_body("113~0009~");
    controller->send("ZA000000001", text.packet());
    EXPECT_EQ("failed", text.outcome());
    EXPECT_TRUE(machine.journal().waitForAcknowledgements(1));
    EXPECT_TRUE(known());
    EXPECT_EQ("113~0009~113~0008150~000C~113", machine.journal().dataReceived());
}

// Its own answer is the same question's from then on.
TEST_F(TeskMasterRunLostMachine, OwesOneAnswerToTheQuestionBehindALateOne) {
    machine.setFaults({.silent = true}, 3);
    const Request text(0, kShortTime);
    text.packet()->set_raw();
    text.packet()->set_body("113~0009~");
    controller->send("ZA000000001", text.packet());
    EXPECT_EQ("failed", text.outcome());
    EXPECT_TRUE(machine.journal().waitForRequests(2));
    machine.inject("113~0025~15.03.21~ZA000000001~00~LATE");
    EXPECT_TRUE(machine.journal().waitForAcknowledgements(1));
    EXPECT_TRUE(known());
    const Request poll(113);
    controller->send("ZA000000001", poll.packet());
    EXPECT_TRUE(machine.journal().waitForRequests(3));
    machine.inject("113~0025~15.03.21~ZA000000001~00~4711");
    EXPECT_EQ("completed", poll.outcome());
    EXPECT_EQ("4711", poll.packet()->get_body());
}

TEST_F(TeskMasterRunLostMachine, DoesNotDelayTheShutdown) {
    machine.setFaults({.silent = true});
    const Request request(115, kShortTime);
    controller->send("ZA000000001", request.packet());
    EXPECT_EQ("failed", request.outcome());
    EXPECT_TRUE(machine.journal().waitForRequests(2));
    const Deadline prompt(std::chrono::seconds(5));
    controller->shut_down();
    EXPECT_FALSE(prompt.passed());
}

// It is nothing new that it cannot be reached.
TEST_F(TeskMasterRun, AsksNoMachineAnewThatWasNotKnown) {
    tesksim::Machine machine;
    machine.setFaults({.closeAfter = 20});
    machine.start();
    build(machine.port(), WhenLost::ASK);
    EXPECT_EQ("error", ask().substr(0, 5));
    EXPECT_EQ(1U, machine.journal().connections());
    EXPECT_EQ("113~0008", machine.journal().dataReceived());
}

// Pauses the thread that is told of an answer when it lets go of a lock for the nth time.
class PausesAtRelease : public PacketEventListener {
  public:
    explicit PausesAtRelease(std::size_t n) : n_(n) {}

    void packetCompleted(Packet*) override {
        const auto paused = paused_;  // the thread may outlive the object
        atRelease(n_, [paused] {
            *paused = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        });
    }
    void packetFailed(Packet*) override {}
    void packetError(Packet*, const Exception&) override {}
    bool hasPaused() const { return *paused_; }

  private:
    const std::size_t n_;
    const std::shared_ptr<std::atomic<bool>> paused_ = std::make_shared<std::atomic<bool>>(false);
};

// Wherever the thread is held up: only a request whose time is up before it is written ends a run.
TEST_F(TeskMasterRun, OutlivesAnAnswerThatIsAcknowledgedBehindTheTimeOfItsRequest) {
    tesksim::Machine machine{{.greeting = kDoComPort + "120~0025~15.03.21~ZA000000001~00~4711"}};
    machine.start();
    build(machine.port());
    ASSERT_EQ("completed", ask());
    bool paused = true;
    for (std::size_t moment = 1; paused; ++moment) {
        PausesAtRelease pauses(moment);
        const Request first(113);
        first.packet()->addListener(&pauses);
        controller->send("ZA000000001", first.packet());
        ASSERT_EQ("completed", first.outcome());
        const std::size_t before = machine.journal().requestCount();
        const Request second(118, 60);
        controller->send("ZA000000001", second.packet());
        if (second.outcome().starts_with("error")) {
            EXPECT_TRUE(machine.journal().waitForDisconnection());
            EXPECT_EQ(before, machine.journal().requestCount()) << moment;
            awaitEndOfRun();
        }
        paused = pauses.hasPaused();
    }
}

// A serial-port server that takes a little now and then.
class SlowServer {
  public:
    explicit SlowServer(Connection connection)
        : connection_(std::move(connection)), reader_([this] { read(); }) {}
    ~SlowServer() { done_ = true; }

  private:
    void read() {
        char received[1000];
        while (!done_) {
            ::recv(connection_.fd(), received, sizeof received, MSG_DONTWAIT);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    std::atomic<bool> done_ = false;
    Connection connection_;
    std::jthread reader_;
};

// Every line end is a flush of its own, and each gets on a little.
TEST_F(TeskMasterRun, GivesARequestThatIsWrittenSlowlyItsTimeAndNoMore) {
    Listener listener;
    build(listener.port());
    const Request request(0, 1000);
    request.packet()->set_raw();
    request.packet()->set_body(std::string(4'000'000, '\n'));
    const Request waiting(113);
    controller->send(kName, request.packet());
    controller->send(kName, waiting.packet());
    Connection connection = listener.accept();
    connection.sendAll(kDoComPort + "!");
    const SlowServer server(std::move(connection));
    EXPECT_EQ(kUnwritten, request.outcome());
    EXPECT_EQ(kUnwritten, waiting.outcome());
}

TEST_F(TeskMasterRun, GivesARequestThatNobodyReadsItsTimeAndNoMore) {
    Listener listener;
    const int few = 4096;  // bytes that the server's system holds
    ::setsockopt(listener.fd(), SOL_SOCKET, SO_RCVBUF, &few, sizeof few);
    build(listener.port());
    const Request request(0, 300);
    request.packet()->set_raw();
    request.packet()->set_body(std::string(5'000'000, 'x'));
    controller->send(kName, request.packet());
    Connection connection = listener.accept();
    connection.sendAll(kDoComPort + "!");
    EXPECT_EQ(kUnwritten, request.outcome(std::chrono::seconds(7)));
}

// Its answer may come without any limit; a server that takes nothing has ten seconds.
TEST_F(TeskMasterRun, GivesARequestWithoutATimeALongerTimeToBeWritten) {
    Listener listener;
    build(listener.port());
    const Request request(0, 0);
    request.packet()->set_raw();
    request.packet()->set_body(std::string(16'000'000, 'x'));
    controller->send(kName, request.packet());
    Connection connection = listener.accept();
    connection.sendAll(kDoComPort + "!");
    EXPECT_EQ("nothing", request.outcome(std::chrono::seconds(3)));
    connection.close();
    EXPECT_EQ("error", request.outcome().substr(0, 5));
}

TEST_F(TeskMasterRun, EndsPromptlyWhileItWaitsForAnAnswer) {
    tesksim::Machine machine;
    machine.setFaults({.silent = true});
    machine.start();
    build(machine.port());
    const Request request(113);
    controller->send(kName, request.packet());
    EXPECT_TRUE(machine.journal().waitForRequests(1));
    const Deadline prompt(std::chrono::seconds(5));
    controller->shut_down();
    EXPECT_FALSE(prompt.passed());
    EXPECT_EQ("error", request.outcome().substr(0, 5));
    EXPECT_EQ(1U, request.outcomes());
}

TEST_F(TeskMasterRun, IsNoneAfterShutdown) {
    tesksim::Machine machine;
    machine.start();
    build(machine.port());
    controller->shut_down();
    EXPECT_EQ(kDown, ask());
    EXPECT_EQ(0U, machine.journal().connections());
    EXPECT_EQ(1U, log.count({180,
                             "Cannot serve a request for 'SlotMachine_1': The link is shut "
                             "down"}));
}

// Senders that race with the shutdown: each request ends, once.
TEST_F(TeskMasterRun, StrandsNoRequestThatComesWithTheShutdown) {
    for (int round = 0; round < 50; ++round) {
        tesksim::Machine machine;
        build(machine.port());
        std::barrier together(3);
        const auto send = [&] {
            together.arrive_and_wait();
            for (int n = 0; n < 20; ++n) {
                const Request request(113);
                controller->send(kName, request.packet());
                ASSERT_EQ("error", request.outcome().substr(0, 5));
                ASSERT_EQ(1U, request.outcomes());
            }
        };
        std::jthread one(send);
        std::jthread two(send);
        together.arrive_and_wait();
        controller->shut_down();
    }
}

}  // namespace
}  // namespace teskd::test
