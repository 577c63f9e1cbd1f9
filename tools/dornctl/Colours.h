// Whether a terminal gets colours: it has to be one that knows them, and NO_COLOR must not be set.
//
// Ownership: plain values. Threads: any, as long as nobody changes the environment.
// Errors: nothing throws.

#pragma once

namespace dornctl {

bool wantsColours(int descriptor);

}  // namespace dornctl
