#include "notifyserver/NotificationServer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "host/DecodeError.h"

namespace notifyserver {

using teskhost::AamsMessage;
using teskhost::Frame;
using tools::UniqueFd;

namespace {

constexpr std::size_t kLargestDatagram = 65536;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in toSystem(const teskhost::Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    if (::inet_pton(AF_INET, endpoint.address.c_str(), &address.sin_addr) != 1) {
        throw std::invalid_argument("an IPv4 address is expected, not \"" + endpoint.address + '"');
    }
    return address;
}

}  // namespace

std::string textOf(const sockaddr_in& address) {
    char host[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address.sin_addr, host, sizeof host);
    return teskhost::Endpoint{host, ntohs(address.sin_port)}.text();
}

NotificationServer::NotificationServer(const teskhost::Endpoint& at, Observer observer,
                                       Answers answers)
    : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      wake_(::eventfd(0, EFD_CLOEXEC)),
      observer_(std::move(observer)),
      answers_(std::move(answers)) {
    sockaddr_in address = toSystem(at);
    auto* const raw = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (!socket_.valid() || !wake_.valid()) fail("notification server");
    if (::bind(socket_.get(), raw, size) != 0) fail("bind");
    if (::getsockname(socket_.get(), raw, &size) != 0) fail("getsockname");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread(&NotificationServer::run, this);
}

NotificationServer::~NotificationServer() {
    ::eventfd_write(wake_.get(), 1);
    thread_.join();
}

void NotificationServer::setAnswer(int code, AnswerText text) {
    const std::lock_guard lock(mutex_);
    answers_[code] = std::move(text);
}

void NotificationServer::forget() {
    const std::lock_guard lock(mutex_);
    notifications_.clear();
    problems_.clear();
}

std::vector<Notification> NotificationServer::notifications() const {
    const std::lock_guard lock(mutex_);
    return notifications_;
}

std::vector<std::string> NotificationServer::problems() const {
    const std::lock_guard lock(mutex_);
    return problems_;
}

std::optional<Notification> NotificationServer::waitFor(int code, std::size_t nth,
                                                        Milliseconds patience) const {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, patience, [&] { return find(code, nth) != nullptr; });
    const Notification* const found = find(code, nth);
    return found == nullptr ? std::nullopt : std::optional(*found);
}

const Notification* NotificationServer::find(int code, std::size_t nth) const {
    for (const Notification& notification : notifications_) {
        if (notification.message.code() == code && --nth == 0) return &notification;
    }
    return nullptr;
}

void NotificationServer::run() {
    pollfd fds[] = {{socket_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
    while (fds[1].revents == 0) {
        const int ready = ::poll(fds, 2, -1);
        if (ready > 0 && fds[0].revents != 0) receive();
    }
}

void NotificationServer::receive() {
    std::string datagram(kLargestDatagram, '\0');
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const ssize_t count = ::recvfrom(socket_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &size);
    if (count < 0) return;  // the error of an earlier answer that was refused
    try {
        take(std::string_view(datagram).substr(0, static_cast<std::size_t>(count)), sender);
    } catch (const std::exception& e) {
        keepProblem(sender, e.what());
    }
}

void NotificationServer::take(std::string_view datagram, const sockaddr_in& sender) {
    const Frame frame = Frame::decode(datagram);
    if (frame.type != Frame::kAamsType) throw teskhost::DecodeError("not an AAMS frame");
    const Notification notification{frame, AamsMessage::decode(frame.body),
                                    std::chrono::steady_clock::now(), sender};
    if (!observer_.answered) keep(notification);
    const std::string text = textFor(notification);
    answer(notification, text);
    if (observer_.answered) observer_.answered(notification, text);
}

void NotificationServer::answer(const Notification& notification, const std::string& text) {
    Frame frame = notification.frame;
    const std::string body = text.empty() ? text : "-" + text;
    frame.body = AamsMessage(notification.message.code(), body).encode();
    const std::string data = frame.encode();
    const auto* const to = reinterpret_cast<const sockaddr*>(&notification.sender);
    const ssize_t sent = ::sendto(socket_.get(), data.data(), data.size(), MSG_NOSIGNAL, to,
                                  sizeof notification.sender);
    if (sent < 0) fail("sendto");
}

void NotificationServer::keep(const Notification& notification) {
    {
        const std::lock_guard lock(mutex_);
        notifications_.push_back(notification);
    }
    arrived_.notify_all();
}

void NotificationServer::keepProblem(const sockaddr_in& sender, const std::string& problem) {
    if (observer_.refused) return observer_.refused(textOf(sender), problem);
    const std::lock_guard lock(mutex_);
    problems_.push_back(problem);
}

std::string NotificationServer::textFor(const Notification& notification) const {
    AnswerText text;
    {
        const std::lock_guard lock(mutex_);
        const auto found = answers_.find(notification.message.code());
        if (found == answers_.end()) return "";
        text = found->second;
    }
    return text(notification);
}

}  // namespace notifyserver
