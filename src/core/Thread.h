// Base class of every worker: one POSIX thread that runs the subclass's run().
#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <pthread.h>
#include <string>

#include "core/HeapAware.h"
#include "core/LogSource.h"
#include "core/Synchronized.h"

namespace teskd {

// A sanitizer adds its red zones and its own calls to every stack.
#ifdef TESKD_SANITIZED
inline constexpr std::size_t STACK_FACTOR = 8;
#else
inline constexpr std::size_t STACK_FACTOR = 1;
#endif

// Runs one POSIX thread at a time. Stopping is cooperative: stop() clears a flag that run() polls
// through isRunning(), and calls the interrupt() hook, in which a subclass can wake up a blocked
// run(). A thread that has ended may be started again.
//
// Threads: start, stop, isRunning and the name may be used from any thread; join only by the owner
// of a thread that is not self-deleting.
// Lifetime: the creator owns the object. But an object that was made by `new` and marked with
// setAutoDelete() deletes itself when run() ends, and must not be touched after start(). A subclass
// whose thread may still run when it is destroyed must call awaitEnd() in its own destructor,
// before its members are destroyed. Locks: state_ (innermost; only the log is called while it is
// held).
class Thread : public HeapAware {
  public:
    // Address space for each thread's stack. The deepest use seen was 11 KiB, plus 5 KiB of
    // thread-local variables (measured with painted stacks, in an unoptimised build, in the tests
    // of the whole daemon). Frames and messages, which can be long, are on the heap. This is
    // fifteen times as much, and a thousand threads still fit into a quarter of a gigabyte.
    static constexpr std::size_t STACK_SIZE = std::size_t{256} * 1024 * STACK_FACTOR;

    Thread();
    explicit Thread(std::string name);
    // The source writes the lines about the end of this object's threads; it outlives them. Without
    // one the object has its own, and so has a copy.
    Thread(std::string name, LogSource& log);
    // Copies the name and the self-deletion mark; the copy has no thread.
    Thread(const Thread& source);
    Thread& operator=(const Thread&) = delete;
    // Only clears the running flag; neither joins nor cancels.
    virtual ~Thread() noexcept(false);

    // The thread's body, called on the thread itself. An exception that leaves it is logged and
    // ends the thread.
    virtual void run() = 0;

    // Starts the thread; the result is pthread_create's (0 for success), or ENOMEM. The running
    // flag is set in either case. Does not wait for an earlier thread of this object to end.
    int start();
    // Asks run() to end: clears the running flag and calls interrupt(). Does not wait.
    void stop();
    void cancel();
    // pthread_kill's result; ESRCH when no thread was ever started.
    int kill(int signal);
    // Waits for the thread started last without limit; returns at once when none ever was.
    void join();
    // Waits without limit until no thread of this object runs any more, joined or detached.
    void awaitEnd();
    bool isRunning() const { return running_; }

    void setAutoDelete() { autoDelete_ = true; }
    void clearAutoDelete() { autoDelete_ = false; }

    std::string getName() const;

  protected:
    // Wakes up run() from whatever it waits for; stop() calls it on its caller's thread.
    virtual void interrupt() {}

    // Reverts a stop() that run() has not acted on yet; the caller must know that it has not.
    void keepRunning() { running_ = true; }

    void setName(const std::string& name);

  private:
    // The argument of a new thread.
    struct Start {
        Thread* thread;
        unsigned generation;
    };

    static void* entry(void* argument);
    // Everything that one thread does, except self-deletion. True if the object is to be deleted.
    bool live(unsigned generation);
    void runLogged();
    void logEnd();
    void clearRunning(unsigned generation);
    unsigned countStart();
    void countEnd();

    LogSource ownEndLog_;
    LogSource& endLog_;
    std::atomic<bool> running_{false};
    std::optional<pthread_t> handle_;
    mutable Synchronized state_;
    std::string name_ TESKD_GUARDED_BY(state_);
    std::atomic<bool> autoDelete_{false};
    // Counts the starts, so that the end of an earlier thread does not clear a later one's flag.
    unsigned generation_ TESKD_GUARDED_BY(state_) = 0;
    // Threads of this object that have not ended yet.
    unsigned alive_ TESKD_GUARDED_BY(state_) = 0;
};

}  // namespace teskd
