#include "support/DaemonProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include "support/Listener.h"
#include "support/ProcInfo.h"

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

// The sandbox reports a death by signal as an exit status above this.
constexpr int kSignalOffset = 128;
constexpr int kLastSignal = 64;

// Exit status of a program after a sanitizer report.
constexpr char kSanitizerStatus[] = "exitcode=66";

std::string inherited(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : std::string(":") + value;
}

std::map<std::string, std::string> environmentWith(std::map<std::string, std::string> additions) {
    const std::string status = kSanitizerStatus;
    additions.insert({"ASAN_OPTIONS", status + ":detect_leaks=1" + inherited("ASAN_OPTIONS")});
    additions.insert({"LSAN_OPTIONS", status + inherited("LSAN_OPTIONS")});
    additions.insert({"TSAN_OPTIONS", status + ":halt_on_error=0" + inherited("TSAN_OPTIONS")});
    additions.insert(
        {"UBSAN_OPTIONS", status + ":print_stacktrace=1" + inherited("UBSAN_OPTIONS")});
    return additions;
}

// Reads the sandbox's report, {"child-pid": N ...}, and returns N.
pid_t readChildPid(int fd, Deadline deadline) {
    std::string report;
    while (report.find('}') == std::string::npos) {
        pollfd entry{fd, POLLIN, 0};
        char buffer[256];
        if (::poll(&entry, 1, deadline.pollTimeout()) <= 0) return -1;
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count <= 0) return -1;
        report.append(buffer, static_cast<std::size_t>(count));
    }
    const std::string key = "\"child-pid\":";
    const std::size_t found = report.find(key);
    return found == std::string::npos ? -1 : std::stoi(report.substr(found + key.size()));
}

}  // namespace

DaemonProcess::DaemonProcess(Options options, Config config)
    : options_(std::move(options)),
      config_(std::move(config)),
      root_(temp_ / "root"),
      log_(temp_ / "log") {
    for (const char* name : {"etc", "config", "tmp"}) fs::create_directories(root_ / name);
    if (!config_.has("IP_ADDRESS", "TCP_LOCAL")) config_.tcpLocal(reserved_.emplace().number());
    port_ = static_cast<std::uint16_t>(std::atoi(config_.get("IP_ADDRESS", "TCP_LOCAL").c_str()));
}

DaemonProcess::~DaemonProcess() {
    kill();
}

void DaemonProcess::start(Deadline deadline) {
    kill();
    config_.write(root_ / options_.configFile);
    launch(deadline);
    if (options_.waitUntilListening) awaitListening(deadline);
}

void DaemonProcess::launch(Deadline deadline) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const UniqueFd reader(fds[0]);
    UniqueFd writer(fds[1]);
    const Sandbox sandbox{options_.files,
                          root_,
                          options_.withLog ? log_.path() : fs::path(),
                          options_.notRunning,
                          options_.emulator,
                          options_.disk};
    ChildProcess::Options child;
    child.command = sandboxCommand(sandbox, fs::absolute(options_.program), options_.arguments);
    child.environment = environmentWith(options_.environment);
    child.keepFd = writer.get();
    child.standardError = options_.standardError;
    child_ = std::make_unique<ChildProcess>(child);
    writer.reset();
    pid_ = readChildPid(reader.get(), deadline);
    const auto entered = [this] { return !isSurrounding(executable(pid_)) || !child_->running(); };
    if (pid_ < 0 || !eventually(entered, deadline)) {
        throw std::runtime_error("the sandbox did not start:\n" + story());
    }
}

// Whether this is a program that runs before the daemon: the sandbox, or the shell of Disk::before.
bool DaemonProcess::isSurrounding(const std::string& executable) const {
    if (executable.empty() || fs::path(executable).filename() == "bwrap") return true;
    return !options_.disk.before.empty() && executable == fs::canonical("/bin/sh");
}

fs::path DaemonProcess::rootInside() const {
    return fs::path("/proc") / std::to_string(pid_) / "root" / root_.relative_path();
}

void DaemonProcess::awaitListening(Deadline deadline) {
    const auto listens = [this] {
        const auto ports = listeningPorts(pid_);
        return std::find(ports.begin(), ports.end(), port_) != ports.end();
    };
    const auto settled = [&] { return listens() || !child_->running(); };
    if (!eventually(settled, deadline)) {
        throw std::runtime_error("the daemon does not listen:\n" + story());
    }
    if (child_->running()) return;
    child_->waitForExit();
    throw std::runtime_error("the daemon ended at once:\n" + story());
}

// The daemon is killed first, so that the sandbox can reap it.
void DaemonProcess::kill() {
    if (!child_) return;
    terminate(SIGKILL);
    child_->waitForExit();
    child_.reset();
}

void DaemonProcess::terminate(int signal) {
    if (pid_ > 0 && running()) ::kill(pid_, signal);
}

std::optional<ExitStatus> DaemonProcess::waitForExit(Deadline deadline) {
    if (!child_) return std::nullopt;
    std::optional<ExitStatus> status = child_->waitForExit(deadline);
    if (status && status->code > kSignalOffset && status->code <= kSignalOffset + kLastSignal) {
        status = ExitStatus{-1, status->code - kSignalOffset};
    }
    return status;
}

ExitStatus DaemonProcess::stop(Deadline deadline) {
    terminate(SIGTERM);
    const std::optional<ExitStatus> status = waitForExit(deadline);
    if (!status) throw Timeout("the daemon does not end on SIGTERM:\n" + story());
    return *status;
}

std::string DaemonProcess::sanitizerReport() const {
    const std::string text = standardError();
    const std::size_t found = findSanitizerReport(text);
    return found == std::string::npos ? "" : text.substr(found);
}

std::string DaemonProcess::story() const {
    return "standard error:\n" + standardError() + "\nlog:\n" + log_.dump();
}

std::size_t DaemonProcess::residentKilobytes() const {
    return test::residentKilobytes(pid_);
}
std::size_t DaemonProcess::openDescriptors() const {
    return test::openDescriptors(pid_);
}
std::size_t DaemonProcess::threadCount() const {
    return test::threadCount(pid_);
}

std::size_t findSanitizerReport(const std::string& text) {
    constexpr std::array<const char*, 5> kSigns = {
        "ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "WARNING: ThreadSanitizer",
        "FATAL: ThreadSanitizer", "runtime error:"};
    std::size_t first = std::string::npos;
    for (const char* sign : kSigns) first = std::min(first, text.find(sign));
    return first;
}

}  // namespace teskd::test
