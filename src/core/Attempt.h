// Work whose failure must not become its caller's.
#pragma once

#include <exception>

#include "core/Exception.h"
#include "core/Log.h"

namespace teskd {

// Does the work. What it throws is logged, behind the name of what was attempted, and goes no
// further. False when it threw. Needs no memory of its own. A cancelled thread's exception passes.
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
