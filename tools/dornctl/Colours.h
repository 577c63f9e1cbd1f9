// Whether the output has colours: only on a terminal that supports them, and without NO_COLOR.
//
// Ownership: plain values. Threads: any, while the environment does not change.
// Errors: nothing throws.

#pragma once

namespace dornctl {

bool wantsColours(int descriptor);

}  // namespace dornctl
