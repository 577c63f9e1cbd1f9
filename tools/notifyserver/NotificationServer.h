// A notification server: receives the daemon's notifications on a UDP port, answers them one after
// another, and stores them or passes them to an observer.
//
// Ownership: the object owns its socket and its thread; the destructor ends both.
// Threads: every operation may be called from any thread; one lock guards all records. The
// functions for answers and the observer are called on the server's thread, with no lock held.
// Errors: the constructor throws std::system_error. A datagram that is no notification, or cannot
// be answered, is left unanswered, with the reason in problems().

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/UniqueFd.h"
#include "host/AamsMessage.h"
#include "host/Endpoint.h"
#include "host/Frame.h"

namespace notifyserver {

struct Notification {
    teskhost::Frame frame;
    teskhost::AamsMessage message;
    std::chrono::steady_clock::time_point arrived;
    sockaddr_in sender;
};

// "ADDRESS:PORT".
std::string textOf(const sockaddr_in& address);

class NotificationServer {
  public:
    // The text of an answer, which is sent after a "-"; without the "-" if it is empty.
    using AnswerText = std::function<std::string(const Notification&)>;
    using Answers = std::map<int, AnswerText>;  // by code id
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds kPatience{10000};

    // Gets the notifications instead of the store, so that a server can run for ever.
    struct Observer {
        std::function<void(const Notification&, const std::string& answer)> answered;
        std::function<void(const std::string& sender, const std::string& problem)> refused;
    };

    // Stores the notifications; on a port of 127.0.0.1 that the kernel chooses.
    NotificationServer() : NotificationServer(teskhost::Endpoint{"127.0.0.1", 0}, {}, {}) {}
    // On an IPv4 address given as a number, with these answers from the first notification on.
    // @throws std::invalid_argument if it is no address
    NotificationServer(const teskhost::Endpoint& at, Observer observer, Answers answers);
    ~NotificationServer();
    NotificationServer(const NotificationServer&) = delete;
    NotificationServer& operator=(const NotificationServer&) = delete;

    std::uint16_t port() const { return port_; }

    // Sets the answer to notifications of this code id; by default there is no text. While the
    // function runs, nothing else is received.
    void setAnswer(int code, AnswerText text);
    // Removes the stored notifications and problems; the answers stay set.
    void forget();

    std::vector<Notification> notifications() const;
    std::vector<std::string> problems() const;
    // The nth notification of a code id, from 1; no value after the time-out.
    std::optional<Notification> waitFor(int code, std::size_t nth = 1,
                                        Milliseconds patience = kPatience) const;

  private:
    void run();
    void receive();
    void answer(const Notification& notification, const std::string& text);
    void take(std::string_view datagram, const sockaddr_in& sender);
    void keep(const Notification& notification);
    void keepProblem(const sockaddr_in& sender, const std::string& problem);
    std::string textFor(const Notification& notification) const;
    const Notification* find(int code, std::size_t nth) const;

    tools::UniqueFd socket_;
    tools::UniqueFd wake_;
    std::uint16_t port_ = 0;
    const Observer observer_;

    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    // All guarded by mutex_.
    Answers answers_;
    std::vector<Notification> notifications_;
    std::vector<std::string> problems_;

    std::thread thread_;
};

}  // namespace notifyserver
