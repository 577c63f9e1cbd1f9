// Decides which request an answer of a machine belongs to.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "core/Deadline.h"

namespace teskd {

class InputStream;
class LogSource;
class TeskPacket;

// Prevents unrequested bytes from being taken for an answer: the answer to a request that timed
// out, an answer that a machine sends twice or without cause, and bytes that arrive while no
// request is open. It identifies the requests of one run by their IDs, which are command codes.
//
// Rule: an answer belongs to the open request only if it has the request's ID; a refusal has the ID
// of the refused request. Any other answer is dropped, and the request keeps waiting. If such an
// answer also has an irregular header, it is a fragment of an answer, or noise: the start of the
// next answer is unknown then, so the run ends. A host's raw text without a regular header at its
// start has no known ID; it takes any answer that is not owed to another request.
//
// Late answers: a machine answers in order, so an answer with the ID of a request that timed out
// counts as the first such request's. What happens to it:
//  - If the open request has the same bytes, it takes the answer, since it asks the same, only a
//    few seconds later. Its own answer is then owed in place of the one taken, with the expiry time
//    of the latter: a lost answer is expected for 60 s, however often the request is repeated.
//  - So does a probe, whatever the bytes: nobody gets its answer, and any answer proves that the
//    machine works.
//  - Otherwise the answer is dropped as late. If the open request has the same ID and times out, no
//    answer is owed to it: the dropped one may have been its own. So one lost answer costs one
//    request and not every later one.
// Requests without a known ID are treated as if they had one ID in common.
//
// An answer also shows how far the machine has come:
//  - Once the open request gets an answer that is owed to nobody, no earlier answer is owed.
//  - Once a late answer arrives, no answer is owed to the requests before its own.
//  - If a late answer's ID is not that of the open request, it is certainly late. Answers that were
//    dropped before it then belonged to still earlier requests, so a later request that such a drop
//    excluded is owed its answer after all.
// This needs a known ID: an answer to a request without one may be any.
//
// Owner: the TeskMaster. Threads: the master's own.
class LateAnswers {
  public:
    // How long an owed answer is expected, and how many of them are remembered.
    static constexpr std::chrono::seconds MEMORY{60};
    static constexpr std::size_t MOST_REMEMBERED = 64;
    // The bytes of a longer request are not kept, so no later request counts as the same.
    static constexpr std::size_t LONGEST_REQUEST = 1024;

    // log: writes the lines about dropped bytes; it outlives the object.
    // memory: how long an owed answer is expected.
    explicit LateAnswers(LogSource& log, std::chrono::milliseconds memory = MEMORY)
        : log_(log), memory_(memory) {}

    // Starts a new run: no request yet, no answer owed.
    void forget() { *this = LateAnswers(log_, memory_); }
    // Whether a request was begun since forget().
    bool hasAsked() const { return hasAsked_; }
    // The ID of the request that was begun last; none if it has no known one.
    std::optional<int> askedId() const { return request_.id; }
    enum class Kind { REQUEST, PROBE };
    // Makes the request the open one. Call before it is written.
    void begin(const TeskPacket& request, Kind kind = Kind::REQUEST);
    // Logs that these unrequested bytes of the machine are dropped. Owed answers among them are no
    // longer expected.
    void drop(std::string_view bytes, const std::string& machine);
    // Reads the answer to the open request into the packet. Drops and logs everything else.
    // @throws TeskConnectionErrorException for an answer with neither the request's ID nor a
    // regular header, since the start of the next answer is unknown then; and what TeskPacket::read
    // throws
    void read(InputStream& input, TeskPacket& packet, const std::string& machine);
    // The open request timed out: its answer is owed from now on.
    void timedOut();

  private:
    struct Request {
        bool hasBytesOf(const Request& other) const { return bytes && bytes == other.bytes; }

        std::optional<int> id;             // none: not known
        std::optional<std::string> bytes;  // none: longer than LONGEST_REQUEST
    };
    struct OwedAnswer {
        Request request;
        // Counts from the first time-out; unchanged when a repeated request takes the answer.
        Deadline expiry;
        // A late answer with its ID was dropped while it was open. Nothing is owed to it then,
        // unless a later answer shows that the dropped one was not its own.
        bool droppedSameId;
    };

    void expire();
    // The first owed answer to a request with this ID.
    std::list<OwedAnswer>::iterator firstOwed(std::optional<int> id);
    // The owed answer that may have this ID: to a request with it, or else to one without a known
    // ID.
    std::list<OwedAnswer>::iterator findOwed(int id);
    // Whether this is a fragment of another answer, or noise.
    bool isFragment(const TeskPacket& answer) const;
    // Whether the answer has to be dropped since it does not belong to the open request; logged.
    bool isDropped(const TeskPacket& answer, const std::string& machine);
    // Whether an answer that is owed to nobody is the open request's. Nothing is owed any more
    // then.
    bool isOwn(int id);
    // Whether the open request may take an answer that is owed to this one.
    bool mayTake(const Request& owed) const;
    // Whether the open request takes the answer that was found to be owed. If so, its own is owed
    // instead; if not, the answer is no longer owed.
    bool isTaken(std::list<OwedAnswer>::iterator found);
    // An answer with this ID came while no request was open: stops expecting it, if it is owed.
    void arrived(int id);
    // The answer to this request has come: stops expecting those to the requests before it.
    void passTo(std::list<OwedAnswer>::iterator answered);

    std::reference_wrapper<LogSource> log_;
    std::chrono::milliseconds memory_;
    bool hasAsked_ = false;
    Request request_;             // the open one
    Kind kind_ = Kind::REQUEST;   // of the open one
    bool droppedSameId_ = false;  // see OwedAnswer
    std::list<OwedAnswer> owed_;  // in the order of the requests
};

}  // namespace teskd
