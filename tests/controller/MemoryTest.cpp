// How little memory a controller may have.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

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
    // Whether a machine's counters are answered with.
    static bool asks(HostClient& host) {
        host.request(1, named("\1", codeIdOf(1)));
        return host.readFrame(60s).kind == 0x81;
    }

    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
    UdpPeer server_;
};

TEST_F(ControllerMemory, SixteenMebibytesAreEnoughForOneHost) {
    Controller controller(config(), {.memory = "16M"});
    controller.boot();
    ASSERT_TRUE(known()) << controller.log();
    HostClient host = controller.host();
    EXPECT_TRUE(asks(host));
    EXPECT_THAT(controller.run("dmesg", 120s), Not(HasSubstr("Out of memory")));
}

}  // namespace
}  // namespace teskd::test
