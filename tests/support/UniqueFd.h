// The tools' owner of a descriptor, with a name in the tests' namespace.

#pragma once

#include "common/UniqueFd.h"

namespace teskd::test {

using tools::UniqueFd;

}  // namespace teskd::test
