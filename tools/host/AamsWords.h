// What the codes in AAMS messages mean, in words.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws; a code that is not known is
// called so.

#pragma once

#include <string>

namespace teskhost::aamswords {

// Code ids: requests from 501 on, notifications from 1 on.
std::string message(int code);
// "00" and the failures.
std::string result(const std::string& code);
// The checks of a counter reading, "31" and following.
std::string check(const std::string& code);
// The state of the polling.
std::string state(const std::string& character);
// "YYMMDDhhmmss" as "20YY-MM-DD hh:mm:ss"; any other text as it is.
std::string stamp(const std::string& text);

}  // namespace teskhost::aamswords
