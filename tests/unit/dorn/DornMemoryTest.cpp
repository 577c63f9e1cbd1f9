// A connection when memory ends: the nth allocation of its thread fails, n = 1, 2, 3 and so on
// until none does.

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "HostLink.h"
#include "core/LogSource.h"
#include "core/app/PacketTypes.h"
#include "support/Connection.h"
#include "support/Frame.h"
#include "support_src/FailingNew.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// A connection that is served by whoever asks for it.
class ServedHere : public Dorn {
  public:
    using Dorn::Dorn;
    void serve() {
        keepRunning();
        run();
    }
};

class DornMemory : public testing::Test {
  protected:
    ~DornMemory() noexcept override {}

    // What a host gets that asks once and then shuts its side down.
    std::string answerWith(std::size_t failing, const std::string& request) {
        TcpPair pair;
        {
            Socket connection(AF_INET, SOCK_STREAM, 0);
            connection.setDescriptor(::dup(pair.server.fd()));
            pair.server.close();
            ServedHere dorn(connection, {link_.park().controller(), link_.engine(), createPacket,
                                         stop_, count_, LogSource::unlimited(), memory_});
            pair.client.sendAll(request);
            ::shutdown(pair.client.fd(), SHUT_WR);
            const FailingNew fail(failing);
            dorn.serve();
            hasFailed_ = FailingNew::hasFailed();
        }
        return received(pair.client);
    }
    bool hasFailed() const { return hasFailed_; }
    static bool saysWhy(const LogRecorder& log) {
        return log.waitForText("bad_alloc", 0s) || log.waitForText("Out-Of-Memory", 0s);
    }

  private:
    // Nothing from a connection that was reset, as it is where the request was not read.
    static std::string received(Connection& host) {
        try {
            return host.readUntilClosed();
        } catch (const std::system_error&) {
            return "";
        }
    }

    HostLink link_;
    const Event stop_;
    ConnectionCount count_;
    HostMemory memory_{HostLimits(0)};
    bool hasFailed_ = false;
};

TEST_F(DornMemory, ThatEndsIsAnsweredOrEndsTheConnectionAndLeavesALine) {
    Frame version{.type = 7, .identifierB = 5};
    std::size_t failures = 0;
    std::size_t refusals = 0;
    for (bool untouched = false; !untouched;) {
        const LogRecorder log;
        const std::string answer = answerWith(failures + 1, version.encode());
        untouched = !hasFailed();
        const auto frame = parseFrame(answer);
        ASSERT_EQ(frame.has_value(), !answer.empty()) << failures;
        const bool served = frame && frame->kind == 0x81;
        if (frame) {
            EXPECT_TRUE(frame->checksumOk);
            EXPECT_EQ(5U, frame->identifierB);
            EXPECT_EQ(!served, frame->body.empty());
        }
        EXPECT_TRUE(served || saysWhy(log)) << failures;
        EXPECT_TRUE(served || !untouched);
        refusals += frame && frame->kind == 0xAB ? 1 : 0;
        if (!untouched) ++failures;
    }
    EXPECT_GE(failures, 5U);
    EXPECT_GE(refusals, 1U);
}

}  // namespace
}  // namespace teskd::test
