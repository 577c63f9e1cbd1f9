// The controller's network cable: it carries Ethernet frames between the card and the outside,
// loses some, is slow, or brings frames of a station that is not there.
//
// Ownership: the object owns its sockets and its thread; the directory is the caller's and has to
// outlive it. Make it before the controller boots.
// Threads: a thread of its own carries; all operations may be called from any thread.
// Errors: the constructor throws std::system_error. A frame that nobody takes is lost.

#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <filesystem>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "support/UniqueFd.h"

namespace teskd::test {

class Cable {
  public:
    enum class End { Card, Outside };
    struct Quality {
        int lostOf100 = 0;                  // in each direction
        std::chrono::milliseconds delay{};  // the same
    };

    explicit Cable(std::filesystem::path directory);
    ~Cable();
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    void set(Quality quality);
    // A frame from nowhere, to one end.
    void inject(End to, const std::string& frame) { send(to, frame); }
    // How many frames were carried and lost so far.
    std::size_t carried() const;
    std::size_t lost() const;

  private:
    using Clock = std::chrono::steady_clock;
    struct Frame {
        Clock::time_point due;
        End to;
        std::string bytes;
    };

    void run(const std::stop_token& stop);
    int waitingTime() const;
    void take(End from);
    void deliver();
    void send(End to, const std::string& frame) const;
    const UniqueFd& socketOf(End end) const { return sockets_[end == End::Card ? 0 : 1]; }

    const std::filesystem::path directory_;
    std::array<UniqueFd, 2> sockets_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    Quality quality_;
    std::deque<Frame> underway_;
    std::minstd_rand random_;  // the same frames are lost in every run
    std::size_t carried_ = 0;
    std::size_t lost_ = 0;

    std::jthread thread_;
};

}  // namespace teskd::test
