// Checks whether the service can replace the files that it writes at every start.
//
// Ownership: no state. Threads: any. Errors: nothing throws but std::bad_alloc.

#pragma once

#include <string>
#include <vector>

#include "checkconf/Place.h"

namespace checkconf {

// Reports a dump or stamps below this directory that belong to another user, for example to root
// after a start by hand. The service runs as the user teskd, or as RUN_AS in /etc/default/teskd;
// there are no findings if that user does not exist or is root.
std::vector<Finding> checkOwners(const std::string& root);

}  // namespace checkconf
