// A socket with a reading and a writing stream.
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

class StopEvent;

// Owns one descriptor and two streams on duplicates of it, three descriptors in all. Copies share
// the connection through duplicates of their own.
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

    // What only servers or only clients can do; here each throws SocketOperationNotImplException.
    virtual Socket accept();
    virtual void bind();
    virtual void connect();
    virtual void listen();
    virtual void shutdown(int how);
    // Both directions; a peer that was faster is no error.
    void shutdownQuietly() noexcept;
    // Closes both streams and the descriptor. A second time is an error.
    virtual void close();

    // Opens the descriptor and the streams anew.
    void initAttributes();
    // The address, a colon, and one character: the low eight bits of the port.
    std::string getpeername() const;
    std::string getsockname() const;
    // The peer's IPv4 address as a number, 127.0.0.1 being 0x7F000001; nothing when the peer has
    // gone or has no such address.
    std::optional<std::uint32_t> getPeerAddress() const;
    // Options of the TCP level.
    void getsockopt(int name, int& value) const;
    void setsockopt(int name, int value);
    // Options of any level.
    void setsockopt(int level, int name, int value);
    // From now on a peer that has vanished without a word ends the connection: reads and writes
    // fail when it has acknowledged nothing of what was sent for that long or, while nothing is
    // unacknowledged, has sent nothing and answered no probe.
    void keepAlive(std::chrono::milliseconds limit = std::chrono::minutes(2));

    // The error that waits on the socket (0: none), which is cleared. @throws SocketException
    int takePendingError();

    // Bytes that were sent and that the peer's system has not acknowledged. @throws SocketException
    unsigned unacknowledged() const;

    // Waits until a socket of the read list has something, at most for the time-out (null: without
    // limit), and leaves only those in the read list; the other lists stay as they are. When the
    // time was up all three are empty. A stop event makes it return early, with an empty read list.
    static void select(std::list<Socket*>& read, std::list<Socket*>& write,
                       std::list<Socket*>& except, timeval* timeout,
                       const StopEvent* interrupt = nullptr);

    SocketInputStream& getInputStream() { return input_; }
    SocketOutputStream& getOutputStream() { return output_; }
    int getDescriptor() const { return descriptor_.get(); }
    // Adopts fd in place of the current descriptor; takes it over even when it throws.
    void setDescriptor(int fd);
    // Reads, writes and connect() fail as soon as the event is set.
    void setInterrupt(const StopEvent* interrupt);

  protected:
    const StopEvent* getInterrupt() const { return interrupt_; }

  private:
    void rebuildStreams();

    int domain_;
    int type_;
    int protocol_;
    SocketInputStream input_;
    SocketOutputStream output_;
    Descriptor descriptor_;
    const StopEvent* interrupt_ = nullptr;
};

}  // namespace teskd
