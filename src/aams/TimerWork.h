// The work of the engine's timer tasks, in a form that the timer survives.
#pragma once

#include <exception>

#include "core/Exception.h"

namespace teskd {

// Does the work. A standard exception leaves it as an Exception, which the timer logs before it
// goes on; any other would end the timer's thread.
template <class Work>
void asTimerWork(Work work) {
    try {
        work();
    } catch (const std::exception& e) {
        throw Exception(e.what());
    }
}

}  // namespace teskd
