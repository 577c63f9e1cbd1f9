// The sections and names that the daemon reads.
//
// Ownership: no state. Threads: any. Errors: nothing throws.

#pragma once

#include <string>

namespace checkconf::known {

// "[AAMS]", and "[PORT_ASYNC7]" for any number.
bool section(const std::string& header);
// "[AAMS] TMP_APP_COLLEGATI"; names of serial ports for any number.
bool key(const std::string& key);
// The known key or section that differs in capitals only; empty when there is none.
std::string similar(const std::string& text);
// The sections that have this name, whatever its capitals: "[AAMS]", or "the section of a serial
// port"; empty when none has.
std::string sectionsOf(const std::string& name);
// Whether this is a name that the daemon reads in some section.
bool name(const std::string& name);

}  // namespace checkconf::known
