// Whether the service can replace what it writes at every start.
//
// Ownership: no state. Threads: any. Errors: nothing throws but std::bad_alloc.

#pragma once

#include <string>
#include <vector>

#include "checkconf/Place.h"

namespace checkconf {

// Findings about the dump and the stamps below this directory, as a run by another user, root for
// example, leaves them. The service runs as the user teskd or as RUN_AS in /etc/default/teskd says;
// nothing is found if there is no such user, or if it is root.
std::vector<Finding> checkOwners(const std::string& root);

}  // namespace checkconf
