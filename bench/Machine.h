// A slot machine that answers at once or after a pause, behind a telnet endpoint or a tty: one
// thread that reads, looks its answer up and writes, so that what is measured is the road to it.
//
// Ownership: the object owns its sockets and its thread; the destructor stops it. One with a tty
// ends when nobody has the other side of the tty open any more.
// Threads: the queries from any thread. Locks: one, for what is remembered of the conversation.
// Errors: the constructor throws std::system_error; a connection that fails is just closed.

#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "bench/Sockets.h"

namespace teskd::bench {

class Machine {
  public:
    // The number of the message with which the daemon makes its machines known.
    static constexpr int POLL_ID = 113;

    struct Answers {
        std::string codeId;
        std::string toPoll;  // body of the answer to POLL_ID
        std::string toAll;   // and to everything else
        std::chrono::microseconds after{0};
    };

    // Behind telnet, on a port that the kernel chooses.
    explicit Machine(Answers answers);
    // On a tty.
    Machine(Answers answers, UniqueFd tty);
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    std::uint16_t port() const { return portOf(listener_); }
    const std::string& codeId() const { return answers_.codeId; }
    std::size_t acknowledgements() const { return acknowledgements_; }
    // The bytes of the last request, of its answer and of the last acknowledgement.
    std::string lastRequest() const;
    std::string lastAnswer() const;
    std::string lastAcknowledgement() const;

  private:
    void acceptAll();
    void serve(int fd, bool telnet);
    bool answerAll(int fd, std::string& pending);
    const std::string& answerTo(int id);
    void remember(std::string& what, const std::string& bytes);

    const Answers answers_;
    UniqueFd listener_;
    UniqueFd tty_;
    std::atomic<std::size_t> acknowledgements_{0};
    std::atomic<bool> stopping_{false};
    std::map<int, std::string> made_;  // the thread's own: answers by message number
    mutable std::mutex mutex_;
    UniqueFd connection_;          // guarded by mutex_
    std::string request_;          // guarded by mutex_, changed by the thread alone
    std::string answer_;           // the same
    std::string acknowledgement_;  // the same
    std::thread thread_;
};

}  // namespace teskd::bench
