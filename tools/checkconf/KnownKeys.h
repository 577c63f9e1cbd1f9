// The sections and keys that the daemon reads.
//
// Ownership: no state. Threads: any. Errors: nothing throws.

#pragma once

#include <string>

namespace checkconf::known {

// Whether the daemon reads this section: "[AAMS]", "[PORT_ASYNC7]" with any number.
bool section(const std::string& header);
// Whether the daemon reads this key: "[AAMS] TMP_APP_COLLEGATI"; serial ports with any number.
bool key(const std::string& key);
// The known key or section that differs in case only; empty if there is none.
std::string similar(const std::string& text);
// The sections that have this name, ignoring case: "[AAMS]", or "the section of a serial port";
// empty if there are none.
std::string sectionsOf(const std::string& name);
// Whether the daemon reads this name in any section.
bool name(const std::string& name);

}  // namespace checkconf::known
