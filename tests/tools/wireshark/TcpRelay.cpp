#include "wireshark/TcpRelay.h"

#include <cerrno>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <system_error>

namespace teskd::test {

namespace {

int makeEvent() {
    const int fd = ::eventfd(0, EFD_CLOEXEC);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return fd;
}

}  // namespace

TcpRelay::TcpRelay(CaptureFile& capture, std::uint16_t target, CaptureFile::Side client,
                   CaptureFile::Side server)
    : capture_(capture), target_(target), client_(client), server_(server), stop_(makeEvent()) {
    thread_ = std::thread([this] { run(); });
}

TcpRelay::~TcpRelay() {
    ::eventfd_write(stop_.get(), 1);
    thread_.join();
}

void TcpRelay::run() try {
    if (!wait(listener_.fd(), -1)) return;
    Connection client = listener_.accept();
    Connection server = Connection::to(target_);
    while (wait(client.fd(), server.fd())) {
        if (!pass(client, server, client_, server_)) return;
        if (!pass(server, client, server_, client_)) return;
    }
} catch (const std::exception&) {
    // Both connections are closed by now, which is what the ends see.
}

bool TcpRelay::wait(int first, int second) const {
    pollfd fds[] = {{stop_.get(), POLLIN, 0}, {first, POLLIN, 0}, {second, POLLIN, 0}};
    while (::poll(fds, 3, -1) < 0 && errno == EINTR) {
    }
    return fds[0].revents == 0;
}

bool TcpRelay::pass(Connection& from, Connection& to, CaptureFile::Side sender,
                    CaptureFile::Side receiver) {
    using namespace std::chrono_literals;
    if (!from.readableWithin(0ms)) return true;
    const std::string data = from.readAvailable();
    if (data.empty()) return false;
    capture_.tcp(sender, receiver, data);
    to.sendAll(data);
    return true;
}

}  // namespace teskd::test
