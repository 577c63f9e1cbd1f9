#include "dornctl/Progress.h"

#include <iostream>
#include <unistd.h>

namespace dornctl {

namespace {

constexpr char kStartOfClearedLine[] = "\r\x1B[K";

}  // namespace

Progress::Progress() : shown_(::isatty(STDOUT_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
    if (written_) std::cerr << kStartOfClearedLine;
}

void Progress::page(std::size_t number, std::size_t total) {
    if (!shown_) return;
    std::cerr << kStartOfClearedLine << "page " << number << " of " << total << std::flush;
    written_ = true;
}

}  // namespace dornctl
