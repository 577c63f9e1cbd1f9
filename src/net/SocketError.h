// Turns failed system calls on sockets into exceptions.
#pragma once

#include "core/Exception.h"

namespace teskd {

// Throws with the operation's signature directly followed by the system's text for errno. Call it
// right after the failed call, from any thread. @throws SocketException always, a
// MessageTooLongException for EMSGSIZE
[[noreturn]] void throwSocketError(const char* signature);
// The same for a given error number.
[[noreturn]] void throwSocketError(const char* signature, int error);

// A duplicate that is closed on exec. @throws SocketException with the signature
int duplicateDescriptor(int descriptor, const char* signature);

}  // namespace teskd
