// Error handling of the engine's timer tasks.
#pragma once

#include <exception>

#include "core/Exception.h"

namespace teskd {

// Does the work. Rethrows a std::exception as an Exception: the timer logs an Exception and goes
// on, while any other would end its thread.
template <class Work>
void as_timer_work(Work work) {
    try {
        work();
    } catch (const std::exception& e) {
        throw Exception(e.what());
    }
}

}  // namespace teskd
