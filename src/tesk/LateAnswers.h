// Whose answer it is that a machine gives.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace teskd {

class InputStream;
class NoticeLimiter;
class TeskPacket;

// Keeps what nobody asked for from being taken for an answer: the answer of a request that timed
// out, one that a machine gives twice, and what arrives while nothing is asked. It knows the
// requests of one run by their IDs, so two requests with the same ID cannot be told apart: the late
// answer to the first is taken for the second's.
//
// Owner and threads: the TeskMaster's, on its own thread alone.
class LateAnswers {
  public:
    // How long an ID is remembered, and how many.
    static constexpr std::chrono::seconds MEMORY{60};
    static constexpr std::size_t MOST_REMEMBERED = 64;

    // The limiter, if any, bounds the lines about what is dropped; it outlives the object.
    explicit LateAnswers(NoticeLimiter* notices = nullptr) : notices_(notices) {}

    // A new run: nothing was asked yet.
    void forget() { *this = LateAnswers(notices_); }
    // Whether anything was asked since forget().
    bool hasAsked() const { return hasAsked_; }
    // The request is about to be written.
    void begin(const TeskPacket& request);
    // These bytes of the machine were dropped, since nothing was asked when they arrived. Logged
    // with its name.
    void drop(std::string_view bytes, const std::string& machine);
    // Reads the answer to the request that was begun into the packet; what is no answer to it is
    // dropped, each with a line in the log that names the machine.
    // @throws TeskConnectionErrorException for the rest of an answer that was half read or half
    // dropped, with which the position in the stream is lost; and what TeskPacket::read throws
    void read(InputStream& input, TeskPacket& packet, const std::string& machine);
    // The request that was begun timed out.
    void timedOut();

  private:
    using Time = std::chrono::steady_clock::time_point;

    // Whether the answer is not that to the request; logged.
    bool isDropped(const TeskPacket& answer, const std::string& machine);
    // The answer is taken for that to the request. @throws TeskConnectionErrorException
    void accept(const TeskPacket& answer);
    // Whether the ID is that of a request that timed out; it is then forgotten, once.
    bool take(int id);
    // Whether a machine that was asked with this ID has answered with it.
    bool isRepeated(int id) const;
    void rememberAnswered(int id);
    // Whether an answer with an ID that nobody asked with is rather the rest of another one.
    bool isSuspicious(const TeskPacket& answer) const;
    bool mayLog();

    NoticeLimiter* notices_;
    bool hasAsked_ = false;
    std::optional<int> asked_;                        // the ID of the request; none: nobody knows
    bool cut_ = false;                                // what was dropped last has a rest
    std::map<std::optional<int>, unsigned> missing_;  // how many answers, by ID
    std::map<int, Time> answered_;                    // by ID, when it was answered last
};

}  // namespace teskd
