// Messages of the slot-machine link, seen from the machine: requests and acknowledgements are
// received, answers are sent.
//
//   request  ID~LLLL~payload                         LLLL counts the whole message
//   answer   ID~LLLL~Date~CodeId~OO[~body][trailer]
//
// A request's header is 8 bytes; an ID of fewer than three digits is padded with zero bytes.
//
// Ownership: plain values. Threads: no state; a parser has one user at a time. Errors: nothing
// throws; bytes that are no message are collected as junk.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesksim {

inline constexpr int kAcknowledgement = 150;

// A request or an acknowledgement.
struct Message {
    int id = 0;
    std::string payload{};  // the body without its leading "~"
    std::string raw;        // the message as received

    bool isAcknowledgement() const { return id == kAcknowledgement; }
};

struct Answer {
    int id = 0;  // 0: the ID of the request
    std::string date = "15.03.21";
    std::string codeId{};  // empty: the machine's own
    std::string outcome = "00";
    std::string body{};
    std::string trailer{};  // 268 bytes, or empty
};

// The answer's text; `lengthError` is added to its length field.
std::string encode(const Answer& answer, int lengthError = 0);

// Splits a byte stream into messages.
class MessageParser {
  public:
    void feed(std::string_view data) { pending_.append(data); }
    // The next complete message, if there is one. Bytes before it that are no message are moved to
    // junk(), which keeps the latest of them.
    std::optional<Message> next();
    const std::string& junk() const { return junk_; }
    void reset();

  private:
    std::string pending_;
    std::string junk_;
};

}  // namespace tesksim
