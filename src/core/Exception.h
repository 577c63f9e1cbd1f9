// The classes of all exceptions that the daemon itself throws.
//
// Thrown by value, caught by reference. A message names the chain of classes it was built through:
// each constructor puts its own prefix in front of the text it is given and hands the result to its
// base, so the outermost prefix is that of the class nearest to Exception. The prefixes appear in
// log lines and are part of the interface; that is why the whole family stands in one table here.
#pragma once

#include <cstdint>
#include <string>

namespace teskd {

// Root of the family: carries the finished text and has no virtual operations.
class Exception {
  public:
    explicit Exception(std::string message) : message_(std::move(message)) {}

    // The whole text, prefixes included.
    std::string getMessage() const { return message_; }
    // The same without a copy, for a handler that may have no memory for one.
    const char* text() const { return message_.c_str(); }

  private:
    std::string message_;
};

class IOException : public Exception {
  public:
    explicit IOException(const std::string& message) : Exception("IOException: " + message) {}
};

class SocketException : public IOException {
  public:
    explicit SocketException(const std::string& message)
        : IOException("SocketException: " + message) {}
};

class SocketConnectionClosedException : public SocketException {
  public:
    explicit SocketConnectionClosedException(const std::string& message)
        : SocketException("SocketConnectionClosedException: " + message) {}
};

class SocketOperationNotImplException : public SocketException {
  public:
    explicit SocketOperationNotImplException(const std::string& message)
        : SocketException("SocketOperationNotImplException: " + message) {}
};

// A message that is too long for a datagram.
class MessageTooLongException : public SocketException {
  public:
    explicit MessageTooLongException(const std::string& message) : SocketException(message) {}
};

class ConnectException : public SocketException {
  public:
    explicit ConnectException(const std::string& message)
        : SocketException("ConnectException: " + message) {}
};

class BindException : public SocketException {
  public:
    explicit BindException(const std::string& message)
        : SocketException("BindException: " + message) {}
};

class UnknownHostException : public SocketException {
  public:
    explicit UnknownHostException(const std::string& message)
        : SocketException("UnknownHostException: " + message) {}
};

class ReadTimeoutException : public IOException {
  public:
    explicit ReadTimeoutException(const std::string& message)
        : IOException("ReadTimeoutException: " + message) {}
};

// Not a SocketException, since a peer that sends nothing is no error of the socket.
class SocketTimeoutException : public ReadTimeoutException {
  public:
    explicit SocketTimeoutException(const std::string& message)
        : ReadTimeoutException("SocketTimeoutException: " + message) {}

    // Bytes transferred before the time ran out; nothing counts them yet.
    std::int32_t bytesTransferred = 0;
};

class OutOfMemoryException : public Exception {
  public:
    explicit OutOfMemoryException(const std::string& message)
        : Exception("Out-Of-Memory: " + message) {}
};

class EmptyListException : public Exception {
  public:
    EmptyListException() : Exception("EmptyListException") {}
};

class SynchronizedException : public Exception {
  public:
    explicit SynchronizedException(const std::string& message) : Exception(message) {}
};

class LockedSynchronizedException : public SynchronizedException {
  public:
    LockedSynchronizedException() : SynchronizedException("Ressource already Locked") {}
};

class OutOfBoundException : public Exception {
  public:
    explicit OutOfBoundException(const std::string& message)
        : Exception("Out-Of-Bound: " + message) {}
};

class UnknownCodeIdException : public Exception {
  public:
    explicit UnknownCodeIdException(const std::string& message)
        : Exception("Unknown CodeId: " + message) {}
};

class ProtocolErrorException : public Exception {
  public:
    explicit ProtocolErrorException(const std::string& message)
        : Exception("ProtocolErrorException: " + message) {}
};

class TelnetFeatureNotAvailableException : public Exception {
  public:
    explicit TelnetFeatureNotAvailableException(const std::string& message)
        : Exception("TelnetFeatureNotAvailableException: " + message) {}
};

class TeskException : public Exception {
  public:
    explicit TeskException(const std::string& message) : Exception("TeskException: " + message) {}
};

class TeskConnectionErrorException : public TeskException {
  public:
    explicit TeskConnectionErrorException(const std::string& message)
        : TeskException("TeskConnectionErrorException: " + message) {}
};

class ZqConfigException : public Exception {
  public:
    explicit ZqConfigException(const std::string& message)
        : Exception("ZqConfigException: " + message) {}
};

}  // namespace teskd
