// The controller's memory, all of which the daemon must not take, whoever asks for it.

#include <algorithm>
#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <thread>

#include "controller/Controller.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kMachines = 4;
constexpr int kGreedy = 15;    // hosts with unfinished bodies of 16 MiB
constexpr int kLarge = 10;     // hosts with an unfinished body that the pool has room for
constexpr int kFlooding = 15;  // hosts that ask without reading
constexpr int kPolite = 10;
constexpr auto kTrouble = 20s;

class ControllerMemory : public testing::Test {
  protected:
    ControllerMemory() {
        for (std::size_t n = 1; n <= kMachines; ++n) {
            machines_.push_back(std::make_unique<tesksim::Machine>(
                tesksim::Machine::Options{.codeId = codeIdOf(n)}));
            machines_.back()->start();
        }
    }

    Config config() {
        std::vector<std::uint16_t> ports;
        for (const auto& machine : machines_) ports.push_back(machine->port());
        return Controller::config(ports, server_.port());
    }
    bool known() {
        return std::all_of(machines_.begin(), machines_.end(), [](const auto& machine) {
            return machine->journal().waitForAcknowledgements(1, 60s);
        });
    }
    // Type 1 to one machine; whether it was answered, be it with a failure.
    static bool asks(HostClient& host) {
        host.request(1, named("\1", codeIdOf(1)));
        return host.readFrame(60s).kind == 0x81;
    }
    static long available(Controller& controller) {
        return std::stol(controller.run("sed -n 's/^MemAvailable:[^0-9]*//p' /proc/meminfo", 120s));
    }
    // A host of its own, until it is turned away or not read from.
    static void attempt(const std::function<void()>& work) {
        try {
            work();
        } catch (const std::exception&) {
            // As said.
        }
    }
    // The beginning of a request of that size.
    static std::string unfinished(std::size_t size) {
        Frame frame{.type = 7, .body = std::string(size, 'x')};
        return frame.encode().substr(0, size);
    }
    // What takes the memory, for the one who reads the figures.
    static std::string kinds(Controller& controller) {
        return controller.run(
            "grep -E '^(MemFree|MemAvail|Cached|AnonP|Shmem:|Slab|KernelStack|PageT)' /proc/meminfo"
            " | tr -s ' \\n' ' '; grep TCP /proc/net/sockstat",
            120s);
    }

    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
    UdpPeer server_;
};

TEST_F(ControllerMemory, FloodsAndHugeBodiesEndInRefusalsAndLeaveNothing) {
    Controller controller(config());
    controller.boot();
    ASSERT_TRUE(known()) << controller.log();
    HostClient first = controller.host();
    ASSERT_TRUE(asks(first));
    const std::string pid = controller.pid();
    const long residentBefore = controller.statusValue("VmRSS");
    const long availableBefore = available(controller);
    std::cout << kinds(controller) << "\n";

    const std::string tooLarge = unfinished(16'777'215);
    const std::string large = unfinished(1'100'000);
    const std::string question = [] { return Frame{.type = 8}.encode(); }();
    std::atomic<int> answered = 0;
    {
        const Deadline end(kTrouble);
        std::vector<std::jthread> hosts;
        const auto start = [&](int count, const std::function<void(HostClient&)>& work) {
            for (int i = 0; i < count; ++i) {
                hosts.emplace_back([&controller, work] {
                    attempt([&] {
                        HostClient host = controller.host();
                        work(host);
                    });
                });
            }
        };
        const auto pour = [end](const std::string& data) {
            return [&data, end](HostClient& host) {
                while (!end.passed()) host.connection().sendAll(data, end);
            };
        };
        start(kGreedy, pour(tooLarge));
        start(kFlooding, pour(question));
        start(kLarge, [&](HostClient& host) {
            host.connection().sendAll(large, end);
            host.connection().closedByPeer(end);
        });
        start(kPolite, [&](HostClient& host) {
            while (!end.passed()) answered += asks(host) ? 1 : 0;
        });
    }
    std::cout << kinds(controller) << "\n";
    EXPECT_LT(0, answered);
    ASSERT_EQ(pid, controller.pid());
    ASSERT_EQ(0, controller.status("kill -0 " + pid))
        << controller.run("dmesg | tail -n 40; free; grep -v freed /var/log/messages | tail -n 20");
    EXPECT_THAT(controller.run("dmesg", 120s), Not(HasSubstr("Out of memory")));
    EXPECT_TRUE(asks(first));
    const long highest = controller.statusValue("VmHWM");
    EXPECT_TRUE(
        eventually([&] { return controller.statusValue("VmRSS") <= residentBefore + 512; }, 60s));
    std::cout << "resident: " << residentBefore << " KiB before, " << highest << " at most, "
              << controller.statusValue("VmRSS") << " after; available: " << availableBefore
              << " before, " << available(controller) << " after; polite answers: " << answered
              << "\n"
              << kinds(controller) << "\n";
    EXPECT_TRUE(eventually([&] { return available(controller) >= availableBefore - 1024; }, 120s))
        << kinds(controller);
}

TEST_F(ControllerMemory, SixteenMebibytesAreEnoughForOneHost) {
    Controller controller(config(), {.memory = "16M"});
    controller.boot();
    ASSERT_TRUE(known()) << controller.log();
    HostClient host = controller.host();
    EXPECT_TRUE(asks(host));
    EXPECT_THAT(controller.log(), HasSubstr("Little memory: 256 kB for requests of hosts"));
    EXPECT_THAT(controller.run("dmesg", 120s), Not(HasSubstr("Out of memory")));
    std::cout << kinds(controller) << "\n";
}

}  // namespace
}  // namespace teskd::test
