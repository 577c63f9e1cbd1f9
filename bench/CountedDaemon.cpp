#include "bench/CountedDaemon.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <system_error>
#include <thread>
#include <utility>

#include "bench/Sockets.h"
#include "support/Deadline.h"

namespace teskd::bench {

namespace {

// As the plugin lays them out.
constexpr std::size_t INSTRUCTIONS = 0;
constexpr std::size_t SYSTEM_CALLS = 1;
constexpr std::size_t SIZE = 2 * sizeof(std::uint64_t);

constexpr auto PAUSE = std::chrono::milliseconds(20);
constexpr int QUIET_PAUSES = 5;

const volatile std::uint64_t* mapNewFile(const std::string& path) {
    const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file.valid() || ::ftruncate(file.get(), SIZE) != 0) throwSystemError(path.c_str());
    void* const memory = ::mmap(nullptr, SIZE, PROT_READ, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) throwSystemError(path.c_str());
    return static_cast<const volatile std::uint64_t*>(memory);
}

}  // namespace

CountedDaemon::CountedDaemon(std::string daemon, std::string plugin)
    : daemon_(std::move(daemon)),
      plugin_(std::move(plugin)),
      counts_(mapNewFile(directory_ / "counts")) {
    ::setenv("TESKD_TEST_WRITABLE", directory_.path().c_str(), 1);  // the sandbox leaves it so
}

CountedDaemon::~CountedDaemon() {
    ::munmap(const_cast<std::uint64_t*>(counts_), SIZE);
}

test::DaemonProcess::Options CountedDaemon::options() const {
    test::DaemonProcess::Options options;
    options.program = daemon_;
    options.emulator = {"/usr/bin/qemu-ppc", "-L", "/usr/powerpc-linux-gnu", "-plugin",
                        plugin_ + ",counts=" + (directory_ / "counts").string()};
    return options;
}

Counts CountedDaemon::now() const {
    return {counts_[INSTRUCTIONS], counts_[SYSTEM_CALLS]};
}

Counts CountedDaemon::settled() const {
    Counts last = now();
    for (int quiet = 0; quiet < QUIET_PAUSES;) {
        std::this_thread::sleep_for(PAUSE);
        const Counts counts = now();
        quiet = counts == last ? quiet + 1 : 0;
        last = counts;
    }
    return last;
}

void CountedDaemon::awaitWork() const {
    const Counts before = now();
    if (!test::eventually([&] { return now() != before; })) throw test::Timeout("nothing happens");
}

}  // namespace teskd::bench
