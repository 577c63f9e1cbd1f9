// How failing system calls on sockets become exceptions.
#pragma once

#include "core/Exception.h"

namespace teskd {

// The operation's signature directly followed by the system's text for errno. Callers: any thread,
// right behind the failed call. @throws SocketException always, a MessageTooLongException for
// EMSGSIZE
[[noreturn]] void throwSocketError(const char* signature);
// The same for a given error number.
[[noreturn]] void throwSocketError(const char* signature, int error);

// A duplicate that is closed on exec. @throws SocketException with the signature
int duplicateDescriptor(int descriptor, const char* signature);

}  // namespace teskd
