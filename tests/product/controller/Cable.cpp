#include "controller/Cable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLargestFrame = 65536;
constexpr std::chrono::milliseconds kLook{20};  // how late the end is noticed

const char* nameOf(Cable::End end) {
    return end == Cable::End::Card ? "card" : "outside";
}

sockaddr_un addressOf(const fs::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

UniqueFd boundTo(const fs::path& path) {
    UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressOf(path);
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind " + path.string());
    }
    return fd;
}

Cable::End across(Cable::End end) {
    return end == Cable::End::Card ? Cable::End::Outside : Cable::End::Card;
}

}  // namespace

Cable::Cable(fs::path directory)
    : directory_(std::move(directory)),
      sockets_{boundTo(directory_ / "cable-card"), boundTo(directory_ / "cable-outside")},
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

Cable::~Cable() = default;

void Cable::set(Quality quality) {
    const std::lock_guard lock(mutex_);
    quality_ = quality;
}

std::size_t Cable::carried() const {
    const std::lock_guard lock(mutex_);
    return carried_;
}

std::size_t Cable::lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
}

void Cable::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        std::array<pollfd, 2> ends{pollfd{sockets_[0].get(), POLLIN, 0},
                                   pollfd{sockets_[1].get(), POLLIN, 0}};
        ::poll(ends.data(), ends.size(), waitingTime());
        take(End::Card);
        take(End::Outside);
        deliver();
    }
}

int Cable::waitingTime() const {
    const std::lock_guard lock(mutex_);
    if (underway_.empty()) return static_cast<int>(kLook.count());
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(underway_.front().due - Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), kLook).count());
}

void Cable::take(End from) {
    std::string frame(kLargestFrame, '\0');
    for (;;) {
        const ssize_t size = ::recv(socketOf(from).get(), frame.data(), frame.size(), 0);
        if (size <= 0) return;
        const std::lock_guard lock(mutex_);
        const bool isLost = static_cast<int>(random_() % 100) < quality_.lostOf100;
        ++(isLost ? lost_ : carried_);
        if (isLost) continue;
        underway_.push_back({Clock::now() + quality_.delay, across(from),
                             frame.substr(0, static_cast<std::size_t>(size))});
    }
}

// In the order in which they came, whatever the delay was changed to meanwhile.
void Cable::deliver() {
    const std::lock_guard lock(mutex_);
    while (!underway_.empty() && underway_.front().due <= Clock::now()) {
        send(underway_.front().to, underway_.front().bytes);
        underway_.pop_front();
    }
}

void Cable::send(End to, const std::string& frame) const {
    const sockaddr_un address = addressOf(directory_ / nameOf(to));
    ::sendto(socketOf(to).get(), frame.data(), frame.size(), 0,
             reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace teskd::test
