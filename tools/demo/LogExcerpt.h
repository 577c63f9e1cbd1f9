// The interesting lines of a log: no debug lines, and no confirmations of a serial-port server.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <vector>

#include "host/Table.h"
#include "support/LogLine.h"

namespace demo {

teskhost::Table logExcerpt(const std::vector<teskd::test::LogLine>& lines);

}  // namespace demo
