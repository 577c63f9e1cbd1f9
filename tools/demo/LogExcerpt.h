// The lines of a log that tell a story: no debug lines, and not what a serial-port server confirms.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <vector>

#include "host/Table.h"
#include "support/LogLine.h"

namespace demo {

teskhost::Table logExcerpt(const std::vector<teskd::test::LogLine>& lines);

}  // namespace demo
