// A plugin for the emulator in user mode (qemu-ppc -plugin libcount_plugin.so,counts=PATH): adds up
// the instructions and the system calls of the emulated program in a file that others map and read.
//
//   offset  size
//   0       8     instructions, in the byte order of this machine
//   8       8     system calls, without those that read the clock, which a controller's kernel
//                 answers in the program's own memory, and without those of locks (futex), whose
//                 number depends on which thread runs first
//
// Ownership: the mapping lasts as long as the program. Threads: every thread of the emulated
// program adds to the counts, which are atomic. Locks: none. Errors: without the file the emulator
// does not start.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

// The emulator's interface for plugins, version 1, as far as it is used here.
extern "C" {
struct qemu_plugin_tb;
using BlockTranslated = void (*)(std::uint64_t plugin, qemu_plugin_tb* block);
using BlockExecuted = void (*)(unsigned processor, void* user);
using SystemCall = void (*)(std::uint64_t plugin, unsigned processor, std::int64_t number,
                            std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                            std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t);
void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t plugin, BlockTranslated callback);
void qemu_plugin_register_vcpu_tb_exec_cb(qemu_plugin_tb* block, BlockExecuted callback, int flags,
                                          void* user);
void qemu_plugin_register_vcpu_syscall_cb(std::uint64_t plugin, SystemCall callback);
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);

#define TESKD_EXPORT __attribute__((visibility("default")))
TESKD_EXPORT extern const int qemu_plugin_version;
const int qemu_plugin_version = 1;
TESKD_EXPORT int qemu_plugin_install(std::uint64_t plugin, const void* information, int count,
                                     char** arguments);
}

namespace {

constexpr int NO_REGISTERS = 0;  // what a callback may look at
// Numbers of system calls of a 32-bit PowerPC.
constexpr std::int64_t TIME = 13;
constexpr std::int64_t GETTIMEOFDAY = 78;
constexpr std::int64_t FUTEX = 221;
constexpr std::int64_t CLOCK_GETTIME = 246;
constexpr std::int64_t CLOCK_GETTIME64 = 403;
constexpr std::int64_t FUTEX_TIME64 = 422;

struct Counts {
    std::atomic<std::uint64_t> instructions;
    std::atomic<std::uint64_t> systemCalls;
};

Counts* counts = nullptr;

Counts* map(const char* path) {
    const int fd = ::open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) return nullptr;
    void* const memory = ::mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    return memory == MAP_FAILED ? nullptr : static_cast<Counts*>(memory);
}

// The number of instructions travels in the pointer.
void addInstructions(unsigned, void* user) {
    counts->instructions.fetch_add(reinterpret_cast<std::uintptr_t>(user),
                                   std::memory_order_relaxed);
}

void countBlock(std::uint64_t, qemu_plugin_tb* block) {
    const std::uintptr_t instructions = qemu_plugin_tb_n_insns(block);
    qemu_plugin_register_vcpu_tb_exec_cb(block, addInstructions, NO_REGISTERS,
                                         reinterpret_cast<void*>(instructions));
}

bool isCounted(std::int64_t number) {
    switch (number) {
        case TIME:
        case GETTIMEOFDAY:
        case FUTEX:
        case CLOCK_GETTIME:
        case CLOCK_GETTIME64:
        case FUTEX_TIME64:
            return false;
        default:
            return true;
    }
}

void addSystemCall(std::uint64_t, unsigned, std::int64_t number, std::uint64_t, std::uint64_t,
                   std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                   std::uint64_t) {
    if (isCounted(number)) counts->systemCalls.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

int qemu_plugin_install(std::uint64_t plugin, const void*, int count, char** arguments) {
    constexpr std::string_view COUNTS_ARGUMENT = "counts=";
    for (int i = 0; i < count; ++i) {
        if (std::string_view(arguments[i]).starts_with(COUNTS_ARGUMENT)) {
            counts = map(arguments[i] + COUNTS_ARGUMENT.size());
        }
    }
    if (counts == nullptr) {
        std::fprintf(stderr, "count_plugin: counts=PATH must name a file that can be written\n");
        return 1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(plugin, countBlock);
    qemu_plugin_register_vcpu_syscall_cb(plugin, addSystemCall);
    return 0;
}
