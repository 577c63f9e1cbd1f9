// The meanings of the codes in AAMS messages.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws; an unknown code is described
// as such.

#pragma once

#include <string>

namespace teskhost::aamswords {

// A code id: a request (501 and above) or a notification (1 and above).
std::string message(int code);
// The result of a request: "00", or a failure.
std::string result(const std::string& code);
// A check of a counter reading: "31" and above.
std::string check(const std::string& code);
// The state of the polling.
std::string state(const std::string& character);
// "YYMMDDhhmmss" as "20YY-MM-DD hh:mm:ss"; any other text as it is.
std::string stamp(const std::string& text);

}  // namespace teskhost::aamswords
