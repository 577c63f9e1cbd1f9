// The present local time in the forms that messages and lines of output use.
//
// Ownership: plain values. Threads: any. Errors: nothing throws.

#pragma once

#include <string>

namespace dornctl {

// "YYMMDDhhmmss"
std::string nowStamp();
// "YYYY-MM-DD hh:mm:ss"
std::string nowText();

}  // namespace dornctl
