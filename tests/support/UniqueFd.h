// The tools' descriptor that is closed with its object, under a name of the tests.

#pragma once

#include "common/UniqueFd.h"

namespace teskd::test {

using tools::UniqueFd;

}  // namespace teskd::test
