// The answers of a machine, by the ID of the request.
//
// Ownership: plain values; callbacks are copied and must not outlive what they refer to.
// Threads: every operation may be called from any thread; a callback runs on the machine's thread
// with no lock held. Errors: nothing throws.

#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <variant>

#include "tesksim/Message.h"

namespace tesksim {

class AnswerTable {
  public:
    using Callback = std::function<Answer(const Message&)>;

    // Starts with the answers of a working machine, see defaultBody().
    AnswerTable() = default;

    void set(int code, Answer answer);
    void setBody(int code, std::string body);
    // Sends these bytes unchanged.
    void setLiteral(int code, std::string bytes);
    void setCallback(int code, Callback callback);
    // Restores the default answer for this code.
    void reset(int code);

    // The answer's bytes. Fields that the answer leaves open come from the request (ID) and the
    // machine (CodeId).
    std::string answerTo(const Message& request, const std::string& codeId, int lengthError) const;

  private:
    using Entry = std::variant<Answer, std::string, Callback>;

    mutable std::mutex mutex_;
    std::map<int, Entry> entries_;  // guarded by mutex_
};

// The body that a working machine answers with: six meters (113), event lists (115, 119), a
// timetable (117), eight characters (118), and a number for every other code.
std::string defaultBody(int code);

}  // namespace tesksim
