#include "HostLink.h"

#include <ctime>
#include <future>
#include <sys/socket.h>
#include <unistd.h>

#include "core/app/PacketTypes.h"
#include "support/Deadline.h"

namespace teskd::test {

namespace {

constexpr int kNarrow = 4096;
constexpr std::size_t kDateSize = 8;

std::string dateAt(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%d.%m.%y", &local)};
}

void setBuffer(int fd, int which) {
    ASSERT_EQ(0, ::setsockopt(fd, SOL_SOCKET, which, &kNarrow, sizeof kNarrow));
}

}  // namespace

HostLink::HostLink(std::size_t machines, Dorn::Timeouts timeouts, std::size_t available)
    : timeouts_(timeouts), park_(machines), memory_(HostLimits(machines, available)) {
    park_.makeAllKnown();
    host_ = connect();
}

HostLink::~HostLink() noexcept {
    stop();
    park_.shutDown();
    engine_.stop();
    engine_.join();
    timer_.stop();
    timer_.awaitEnd();
    engine_.closeContainer();
    notifier_.closeContainer();
    connections_.awaitNone();
    EXPECT_TRUE(eventually([this] { return packet_counter == packetsBefore_; }))
        << packet_counter - packetsBefore_ << " references on packets are left";
}

std::unique_ptr<HostClient> HostLink::connect() {
    return connect(false);
}

std::unique_ptr<HostClient> HostLink::connectNarrow() {
    return connect(true);
}

std::unique_ptr<HostClient> HostLink::connect(bool narrow) {
    auto client = std::make_unique<HostClient>(listener_.port());
    const Connection accepted = listener_.accept();
    if (narrow) {
        setBuffer(client->connection().fd(), SO_RCVBUF);
        setBuffer(accepted.fd(), SO_SNDBUF);
    }
    Socket connection(AF_INET, SOCK_STREAM, 0);
    connection.setDescriptor(::dup(accepted.fd()));
    auto* const dorn = new Dorn(connection, {park_.controller(), engine_, createPacket, stop_,
                                             connections_, hostLog_, memory_, timeouts_});
    EXPECT_EQ(0, dorn->start());
    return client;
}

bool HostLink::allEnded(Deadline deadline) {
    auto ended = std::async(std::launch::async, [this] { connections_.awaitNone(); });
    const bool inTime = ended.wait_until(deadline.at()) == std::future_status::ready;
    if (!inTime) {
        stop();
        park_.shutDown();
        engine_.closeContainer();
    }
    return inTime;
}

std::string behindDate(const Frame& frame) {
    const std::string date = frame.body.substr(0, kDateSize);
    const std::time_t now = std::time(nullptr);
    EXPECT_TRUE(date == dateAt(now) || date == dateAt(now - 60)) << date;
    return frame.body.size() < kDateSize ? "" : frame.body.substr(kDateSize);
}

}  // namespace teskd::test
