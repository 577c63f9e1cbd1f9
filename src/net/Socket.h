// A socket with an input and an output stream.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>

#include "core/Descriptor.h"
#include "net/SocketInputStream.h"
#include "net/SocketOutputStream.h"

namespace teskd {

class Event;

// Owns one descriptor and two streams on duplicates of it: three descriptors in all. Copies use the
// same connection through their own duplicates.
//
// Threads: one at a time, except that one thread may read and another write, each on its stream,
// and any thread may shutdown(). Errors: the SocketException family; a failing system call is
// reported with the operation's signature followed by the system's text.
class Socket {
  public:
    // @throws SocketException
    Socket(int domain, int type, int protocol);
    Socket(const Socket& source);
    // Takes the source's connection in place of its own; time-outs and the stop event stay.
    Socket& operator=(const Socket& source);
    virtual ~Socket() = default;

    // Operations of servers or clients only. By default each throws
    // SocketOperationNotImplException.
    virtual Socket accept();
    virtual void bind();
    virtual void connect();
    virtual void listen();
    virtual void shutdown(int how);
    // Shuts both directions down. Ignores errors, as the peer may have disconnected before.
    void shutdownQuietly() noexcept;
    // Closes both streams and the descriptor. A second time is an error.
    virtual void close();

    // Opens a new descriptor and new streams.
    void initAttributes();
    // The address, a colon, and one character: the low eight bits of the port.
    std::string getpeername() const;
    std::string getsockname() const;
    // The peer's IPv4 address as a number, 127.0.0.1 being 0x7F000001; none if the peer has
    // disconnected or has no IPv4 address.
    std::optional<std::uint32_t> getPeerAddress() const;
    // Options of the TCP level.
    void getsockopt(int name, int& value) const;
    void setsockopt(int name, int value);
    // Options of any level.
    void setsockopt(int level, int name, int value);
    // Enables keep-alive, so that a peer which vanishes silently ends the connection. Reads and
    // writes fail when, for the time of the limit, it has acknowledged nothing of what was sent or,
    // while nothing is unacknowledged, has sent nothing and answered no probe.
    void keepAlive(std::chrono::milliseconds limit = std::chrono::minutes(2));

    // Returns and clears the socket's pending error (SO_ERROR), 0: none. @throws SocketException
    int takePendingError();

    // Bytes sent that the peer's system has not acknowledged. @throws SocketException
    unsigned unacknowledged() const;

    // Waits until a socket of any list is ready, at most for the time-out (null: without limit).
    // Removes sockets that are not ready from the read list; leaves the other lists unchanged. On a
    // time-out all three are empty. Returns early when the stop event is set; the read list is then
    // empty, unless a socket is ready too.
    static void select(std::list<Socket*>& read, std::list<Socket*>& write,
                       std::list<Socket*>& except, timeval* timeout,
                       const Event* interrupt = nullptr);

    SocketInputStream& getInputStream() { return input_; }
    SocketOutputStream& getOutputStream() { return output_; }
    int getDescriptor() const { return descriptor_.get(); }
    // Takes ownership of fd, even when it throws, and closes the current descriptor.
    void setDescriptor(int fd);
    // Reads, writes and connect() fail as soon as the event is set.
    void setInterrupt(const Event* interrupt);

  protected:
    const Event* getInterrupt() const { return interrupt_; }

  private:
    void rebuildStreams();

    int domain_;
    int type_;
    int protocol_;
    SocketInputStream input_;
    SocketOutputStream output_;
    Descriptor descriptor_;
    const Event* interrupt_ = nullptr;
};

}  // namespace teskd
