// Runs work whose failure must not reach the caller.
#pragma once

#include <exception>

#include "core/Exception.h"
#include "core/Log.h"

namespace teskd {

// Does the work and returns true. If the work throws, calls failed() with the exception, a standard
// one as an Exception with the same text, and returns false. Allocates nothing when memory has run
// out, since the text of std::bad_alloc is short. The cancellation of the thread is not caught.
template <class Work, class Failed>
bool attemptOr(Work work, Failed failed) {
    try {
        work();
        return true;
    } catch (const Exception& e) {
        failed(e);
    } catch (const std::exception& e) {
        failed(Exception(e.what()));
    }
    return false;
}

// The same, but the text of the exception is logged after the name of what was attempted.
template <class Work>
bool attempt(const char* what, Work work) {
    return attemptOr(
        work, [what](const Exception& e) { Log::write(Log::WARNING, "%s: %s", what, e.text()); });
}

}  // namespace teskd
