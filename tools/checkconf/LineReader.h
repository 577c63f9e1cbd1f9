// Reads a configuration file line by line, each with the daemon's own parser.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <string>

#include "config/IniFormat.h"

namespace checkconf {

class LineReader {
  public:
    struct Line {
        teskd::IniFormat::Map pairs{};  // what the line stores
        bool newSection = false;
        bool syntaxError = false;  // a header that the daemon reports in its log
    };

    Line read(const std::string& text);
    // The current section header.
    const std::string& section() const { return section_; }

  private:
    std::string section_ = "[INTERNAL]";
};

}  // namespace checkconf
