// A listener for host connections on loopback ports.
//
// Threads: one user.

#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "aams/Aams.h"
#include "core/Timer.h"
#include "core/app/PacketTypes.h"
#include "dorn/DornDeamon.h"
#include "packet/PacketContainer.h"
#include "support/Connection.h"
#include "support/HostClient.h"
#include "support/Listener.h"
#include "support_src/LogRecorder.h"
#include "support_src/MachinePark.h"

namespace teskd::test {

class DeamonFixture : public testing::Test {
  protected:
    ~DeamonFixture() noexcept override {
        end();
        timer_.stop();
        timer_.awaitEnd();
    }

    static void configure(const std::string& addresses, const std::string& ports) {
        KeptConfig::set("[IP_ADDRESS] IP_LOCAL", addresses);
        KeptConfig::set("[IP_ADDRESS] TCP_LOCAL", ports);
    }
    // On 127.0.0.1 at the port.
    void start(std::uint16_t port) {
        configure("127.0.0.1", std::to_string(port));
        start();
    }
    // Anew, when it runs.
    void start() {
        end();
        deamon_ = std::make_unique<DornDeamon>(park_.controller(), engine_, createPacket);
        ASSERT_EQ(0, deamon_->start());
    }
    // Connects as soon as somebody listens, and sees a request answered.
    static void expectServed(std::uint16_t port, Deadline deadline = {}) {
        Connection::connectEventually(port, deadline).close();
        HostClient host(port);
        expectServed(host);
    }
    static void expectServed(HostClient& host, Deadline deadline = {}) {
        host.request(7, "", 0, 5);
        EXPECT_EQ(5U, host.readFrame(deadline).identifierB);
    }
    // Whether the listener's thread and every connection end within the time.
    bool endsWithin(std::chrono::milliseconds time) {
        const auto start = std::chrono::steady_clock::now();
        deamon_->stop();
        deamon_->awaitEnd();
        deamon_->await_connections();
        return std::chrono::steady_clock::now() - start <= time;
    }
    DornDeamon& deamon() { return *deamon_; }

    LogRecorder log_;

  private:
    void end() {
        if (!deamon_) return;
        deamon_->stop();
        deamon_->join();
        deamon_.reset();
    }

    KeptConfig config_;
    MachinePark park_{0};
    PacketContainer notifier_;
    Timer timer_;
    Aams engine_{park_.controller(), notifier_, timer_};
    std::unique_ptr<DornDeamon> deamon_;
};

}  // namespace teskd::test
