// What is known of answers that may come after their requests timed out.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace teskd {

class InputStream;
class NoticeLimiter;
class TeskPacket;

// Keeps the answer of a request that timed out from being taken for that of a later one. It knows
// the requests of one run by their IDs, so two requests with the same ID cannot be told apart: the
// late answer to the first is taken for the second's.
//
// Owner and threads: the TeskMaster's, on its own thread alone.
class LateAnswers {
  public:
    // Nothing has timed out.
    void forget() { *this = LateAnswers(); }
    // The request with this ID, or one whose ID nobody knows, timed out.
    void expect(std::optional<int> id);
    // Whether any request has timed out since forget(), answered meanwhile or not.
    bool anyTimedOut() const { return anyTimedOut_; }
    // Reads the answer to the packet's request into the packet; late ones in front of it are
    // dropped, each with a line in the log that names the machine, as far as the limiter, if any,
    // allows it.
    // @throws TeskConnectionErrorException for the rest of a late one that was half read, with
    // which the position in the stream is lost; and what TeskPacket::read throws
    void read(InputStream& input, TeskPacket& packet, const std::string& machine,
              NoticeLimiter* notices = nullptr);

  private:
    // Whether the ID is that of a request that timed out; it is then forgotten, once.
    bool take(int id);
    // Whether an answer with an ID that nobody asked with is rather a late one.
    bool isSuspicious(const TeskPacket& answer) const;

    bool anyTimedOut_ = false;
    std::map<std::optional<int>, unsigned> missing_;  // how many answers, by ID
};

}  // namespace teskd
