// Runs work whose failure must not reach the caller.
#pragma once

#include <exception>

#include "core/Exception.h"
#include "core/Log.h"

namespace teskd {

// Does the work and returns true. If the work throws, logs the exception after the name of what was
// attempted and returns false. Allocates nothing itself, so it also works when memory has run out.
// The cancellation of the thread is not caught.
template <class Work>
bool attempt(const char* what, Work work) {
    try {
        work();
        return true;
    } catch (const Exception& e) {
        Log::write(Log::WARNING, "%s: %s", what, e.text());
    } catch (const std::exception& e) {
        Log::write(Log::WARNING, "%s: %s", what, e.what());
    }
    return false;
}

}  // namespace teskd
