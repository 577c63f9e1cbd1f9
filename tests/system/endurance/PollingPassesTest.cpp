// Polling passes by a clock that the test moves, and the links that they restore: months of the
// engine in minutes.

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

#include "aams/Aams.h"
#include "core/Timer.h"
#include "endurance/Endurance.h"
#include "gateway/Gateway.h"
#include "packet/Packet.h"
#include "packet/PacketContainer.h"
#include "support/ProcInfo.h"
#include "support_src/FakeClock.h"
#include "support_src/KeptConfig.h"
#include "support_src/LogRecorder.h"
#include "tesk/TeskController.h"
#include "tesk/TeskMaster.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSecond = 1'000'000;  // microseconds
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kStart = 1'700'000'000 * kSecond;
constexpr std::size_t kMachines = 4;

// What a machine sends first on every connection: DO COM-PORT-OPTION and the answer to the poll
// that is going to come. The daemon waits for the first byte of data, a second at the most.
std::string greeting(std::size_t n) {
    return "\xFF\xFD\x2C"
           "113~0034~15.03.21~" +
           codeIdOf(n) + "~00~100~200~1~100~200~0";
}

// A notification server that nobody reaches.
class Nowhere : public PacketContainer {
  public:
    void addPacket(Packet*) override {}
};

// Simulated machines, and the configuration of their ports: a pass every minute, the first at once.
class Machines {
  public:
    Machines() {
        std::string ports;
        for (std::size_t n = 1; n <= kMachines; ++n) {
            tesksim::Machine::Options options{.codeId = codeIdOf(n)};
            options.greeting = greeting(n);
            machines_.push_back(std::make_unique<tesksim::Machine>(options));
            machine(n).start();
            const std::string section = "[PORT_ASYNC" + std::to_string(n) + "] ";
            KeptConfig::set(section + "IP_ADDRESS", "127.0.0.1");
            KeptConfig::set(section + "TCP_PORT", std::to_string(machine(n).port()));
            ports += std::to_string(n) + ",";
        }
        KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", ports);
        KeptConfig::set("[RICH_ORA] TOUT_ORA", "7200");
        KeptConfig::set("[AAMS] TMP_APP_COLLEGATI", "1");
        KeptConfig::set("[AAMS] TMP_APP_ACCENSIONE", "0");
    }

    tesksim::Machine& machine(std::size_t n) { return *machines_.at(n - 1); }
    // For the first poll of each connection, which the greeting answers.
    void beSilentOnce() {
        for (const auto& machine : machines_) machine->setFaults({.silent = true}, 1);
    }

  private:
    KeptConfig config_;
    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
};

// The threads there are, a sanitizer's own included, which comes with the first that anybody
// starts.
std::size_t threadsBefore() {
    std::thread([] {}).join();
    std::size_t fewest = threadCount(::getpid());
    for (int i = 0; i < 100; ++i) fewest = std::min(fewest, threadCount(::getpid()));
    return fewest;
}

// The engine with real links to the machines.
class PollingPasses : public testing::Test {
  protected:
    void SetUp() override {
        machines_.beSilentOnce();
        aams_.start();
        const auto begun = [this] {
            clock_.advance(1);  // what is due at once is due when time goes on
            return !machines_.machine(1).journal().requests().empty();
        };
        ASSERT_TRUE(eventually(begun));
        ASSERT_NO_FATAL_FAILURE(awaitAnswers());
    }
    ~PollingPasses() noexcept override {
        end();
        aams_.join();
    }

    void end() {
        aams_.stop();
        aams_.awaitEnd();
        timer_.stop();
        timer_.awaitEnd();
        controller_.shut_down();
    }
    // A minute and a little go by, and every machine is asked.
    void pass() { ASSERT_TRUE(clock_.advanceAndSettle(kMinute + kSecond)); }
    void passWithAnswers() {
        forget();
        ASSERT_NO_FATAL_FAILURE(pass());
        awaitAnswers();
    }
    // Every link is lost, which the next pass finds out and the one after it mends.
    void reconnect(bool reset) {
        forget();
        for (std::size_t n = 1; n <= kMachines; ++n) machines_.machine(n).disconnect(reset);
        for (std::size_t n = 1; n <= kMachines; ++n) {
            ASSERT_TRUE(machines_.machine(n).journal().waitForDisconnection());
        }
        ASSERT_NO_FATAL_FAILURE(pass());
        for (const TeskMaster* master : controller_.get_machines()) {
            ASSERT_TRUE(eventually([master] { return !master->isRunning(); }));
        }
        ASSERT_NO_FATAL_FAILURE(awaitEndOfPolls());
        machines_.beSilentOnce();
        ASSERT_NO_FATAL_FAILURE(passWithAnswers());
        for (std::size_t n = 1; n <= kMachines; ++n) {
            ASSERT_EQ(1U, machines_.machine(n).journal().connections()) << n;
        }
    }
    // Somebody corrects the clock.
    void step(std::int64_t microseconds) { clock_.step(microseconds); }

    // Does it so often and compares the end with the first tenth.
    void expectFlat(const std::string& name, std::size_t times,
                    const std::function<void(std::size_t)>& once);

  private:
    // The machines' threads, their masters', the engine's and its timer's, but not the one that
    // runs for a moment when a link begins; no packet is on its way.
    bool isAtRest() const {
        return threadCount(::getpid()) == threadsBefore_ + 2 * kMachines + 2 &&
               packet_counter == packetsBefore_;
    }
    void forget() {
        log_.clear();
        for (std::size_t n = 1; n <= kMachines; ++n) machines_.machine(n).journal().clear();
    }
    void awaitAnswers() {
        for (std::size_t n = 1; n <= kMachines; ++n) {
            ASSERT_TRUE(machines_.machine(n).journal().waitForAcknowledgements(1))
                << "machine " << n << "\n"
                << testing::PrintToString(log_.lines());
        }
        awaitEndOfPolls();
    }
    // A machine has its acknowledgement, and its master may have ended, before its poll ends; a
    // pass leaves out a machine whose poll is open.
    void awaitEndOfPolls() const {
        ASSERT_TRUE(eventually([this] { return packet_counter == packetsBefore_; }));
    }

    const unsigned long packetsBefore_ = packet_counter;
    const std::size_t threadsBefore_ = threadsBefore();
    LogRecorder log_;
    Machines machines_;
    TeskController controller_;
    Nowhere nowhere_;
    FakeClock clock_{kStart};
    Timer timer_{clock_};
    Aams aams_{controller_, nowhere_, timer_};
};

struct State {
    std::size_t descriptors = openDescriptors(::getpid());
    std::size_t threads = threadCount(::getpid());
    unsigned long packets = packet_counter;
    bool operator==(const State&) const = default;
};

std::ostream& operator<<(std::ostream& out, const State& state) {
    return out << state.descriptors << " descriptors, " << state.threads << " threads, "
               << state.packets << " packets";
}

void PollingPasses::expectFlat(const std::string& name, std::size_t times,
                               const std::function<void(std::size_t)>& once) {
    State early;
    std::size_t memoryEarly = 0;
    for (std::size_t i = 1; i <= times; ++i) {
        ASSERT_NO_FATAL_FAILURE(once(i)) << i;
        if (i != std::max<std::size_t>(times / 10, 1)) continue;
        EXPECT_TRUE(eventually([this] { return isAtRest(); })) << State();
        early = State();
        memoryEarly = residentKilobytes(::getpid());
    }
    EXPECT_TRUE(eventually([&] { return State() == early; })) << State() << " after " << early;
    const std::size_t memory = residentKilobytes(::getpid());
    report(name, static_cast<double>(times), "");
    report(name + "_memory_early", static_cast<double>(memoryEarly), "KiB");
    report(name + "_memory_late", static_cast<double>(memory), "KiB");
    if (!kSanitized) {
        EXPECT_LE(memory, memoryEarly + kFlatKilobytes);
    }
    end();
    EXPECT_EQ(packetsBefore_, packet_counter);
}

TEST_F(PollingPasses, LeaveNothingBehindWhileSomebodyCorrectsTheClock) {
    expectFlat("polling_passes", scaled(1000, 50), [this](std::size_t i) {
        passWithAnswers();
        if (i % 10 == 5) step(-kSecond / 2);
        if (i % 10 == 0) step(kSecond / 2);
    });
}

TEST_F(PollingPasses, RestoreEveryLinkAgainAndAgainAndLeaveNothingBehind) {
    expectFlat("reconnections_of_each_machine", scaled(1000, 50),
               [this](std::size_t i) { reconnect(i % 2 == 0); });
}

}  // namespace
}  // namespace teskd::test
