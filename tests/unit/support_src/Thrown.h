// The exception of a call, as text for comparison.
//
// Ownership: plain values. Threads: no state. Errors: anything but the expected type passes
// through.

#pragma once

#include <string>

#include "core/Exception.h"

namespace teskd::test {

// The whole text of the exception that the call throws, which must be Expected or derived from it.
template <class Expected, class Call>
std::string messageOf(Call&& call) {
    try {
        call();
    } catch (const Expected& e) {
        return e.getMessage();
    }
    return "nothing was thrown";
}

}  // namespace teskd::test
