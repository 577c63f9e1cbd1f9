// Whose answer it is that a machine gives.
#pragma once

#include <chrono>
#include <list>
#include <optional>
#include <string>
#include <string_view>

namespace teskd {

class InputStream;
class NoticeLimiter;
class TeskPacket;

// Keeps what nobody asked for from being taken for an answer: the answer of a request that timed
// out, one that a machine gives twice or without any reason, and what arrives while nothing is
// asked. It knows the requests of one run by their IDs, which are the codes of commands.
//
// The rule: an answer belongs to the request only if it has the request's ID; a refusal, too, has
// the ID of what is refused. Any other one is dropped, and the request goes on waiting. If its
// header is not regular besides, it is the rest of an answer, or noise, and the run ends, since
// nobody knows where the next answer begins. A host's own text that begins with no regular header
// has no known ID: any answer is taken for it that no other request is owed.
//
// A machine answers in order, so an answer with the ID of a request that timed out counts as that
// request's. A later request takes it only if it has the same bytes: it is the same question, asked
// a few seconds later, and its own answer is then expected in place of the one taken, but no longer
// than that was: a lost answer is expected for its 60 s, however often the question comes. For any
// other request the answer is dropped as late. A request that times out behind an answer with its
// own ID that was dropped is not expected to be answered: that answer may have been its own, and so
// one lost answer costs one request and not every later one. Requests without a known ID count as
// having one ID in common.
//
// Owner and threads: the TeskMaster's, on its own thread alone.
class LateAnswers {
  public:
    // How long an ID is remembered, and how many.
    static constexpr std::chrono::seconds MEMORY{60};
    static constexpr std::size_t MOST_REMEMBERED = 64;
    // A request with more bytes is remembered without them, and so as like no other.
    static constexpr std::size_t LONGEST_REQUEST = 1024;

    // The limiter, if any, bounds the lines about what is dropped; it outlives the object.
    // The memory is that of IDs.
    explicit LateAnswers(NoticeLimiter* notices = nullptr,
                         std::chrono::milliseconds memory = MEMORY)
        : notices_(notices), memory_(memory) {}

    // A new run: nothing was asked yet.
    void forget() { *this = LateAnswers(notices_, memory_); }
    // Whether anything was asked since forget().
    bool hasAsked() const { return hasAsked_; }
    // The request is about to be written.
    void begin(const TeskPacket& request);
    // These bytes of the machine were dropped, since nothing was asked when they arrived. Logged
    // with its name.
    void drop(std::string_view bytes, const std::string& machine);
    // Reads the answer to the request that was begun into the packet; what is no answer to it is
    // dropped, each with a line in the log that names the machine.
    // @throws TeskConnectionErrorException for what has neither the request's ID nor a regular
    // header, with which the position in the stream is lost; and what TeskPacket::read throws
    void read(InputStream& input, TeskPacket& packet, const std::string& machine);
    // The request that was begun timed out.
    void timedOut();

  private:
    using Time = std::chrono::steady_clock::time_point;

    // A request, by the number that its answer has (none: nobody knows) and by its bytes (none:
    // they are too many to be kept).
    struct Request {
        bool isLike(const Request& other) const { return bytes && bytes == other.bytes; }

        std::optional<int> id;
        std::optional<std::string> bytes;
    };
    struct Missing {
        Request request;
        Time since;  // when the first answer was missed, however many were taken in its place
    };

    void expect(const Request& request);
    void expire();
    // The first request with this ID that is owed an answer.
    std::list<Missing>::iterator firstMissing(std::optional<int> id);
    // The one whose answer may have this ID: that with the ID, or else one without a known ID.
    std::list<Missing>::iterator awaited(int id);
    // Whether this is rather the rest of another answer, or noise.
    bool isRest(const TeskPacket& answer) const;
    // Whether the answer is not that to the request; logged.
    bool isDropped(const TeskPacket& answer, const std::string& machine);
    // Whether the answer counts as that of another request which timed out.
    bool isLate(int id);
    // What becomes of an answer that was expected and dropped with whatever else had arrived.
    void settle(int id);
    bool mayLog();

    NoticeLimiter* notices_;
    std::chrono::milliseconds memory_;
    bool hasAsked_ = false;
    Request request_;             // that was begun
    bool behindLate_ = false;     // a late answer with its ID was dropped
    std::list<Missing> missing_;  // in the order in which they were asked
};

}  // namespace teskd
