// Checks a raw message before it is sent. A machine does not answer an invalid one, and is then
// unknown to all hosts until it has answered a poll.
//
// Ownership: plain values. Threads: no state. Errors: see each function.

#pragma once

#include <string>

namespace dornctl::rawmessage {

// The message with its length filled in where it has none: "113" becomes "113~0008", and
// "115~~A~B" becomes "115~000C~A~B". Any other text is returned unchanged.
std::string completed(const std::string& text);

// Why no machine would answer this message; empty if a machine may answer.
std::string problemOf(const std::string& message);
// The same for the ID of a request without a text.
std::string problemOfId(const std::string& id);

}  // namespace dornctl::rawmessage
