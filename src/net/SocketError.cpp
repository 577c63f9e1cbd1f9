#include "net/SocketError.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace teskd {

void throwSocketError(const char* signature) {
    throwSocketError(signature, errno);
}

void throwSocketError(const char* signature, int error) {
    const std::string message = std::string(signature) + std::strerror(error);
    if (error == EMSGSIZE) throw MessageTooLongException(message);
    throw SocketException(message);
}

int duplicateDescriptor(int descriptor, const char* signature) {
    const int duplicate = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) throwSocketError(signature);
    return duplicate;
}

}  // namespace teskd
