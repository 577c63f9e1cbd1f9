#include "support/ChildProcess.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace teskd::test {

namespace {

constexpr int kKeptFd = 3;
constexpr std::chrono::milliseconds kOutputGrace{2000};

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

std::pair<UniqueFd, UniqueFd> makePipe() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) fail(errno, "pipe");
    return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

// The environment of the test with the additions, as "NAME=value".
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& additions) {
    std::map<std::string, std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) continue;
        all[std::string(text.substr(0, equals))] = text.substr(equals + 1);
    }
    for (const auto& [name, value] : additions) all[name] = value;
    std::vector<std::string> result;
    for (const auto& [name, value] : all) result.push_back(name + "=" + value);
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// The descriptors and signals of the new process.
class SpawnSettings {
  public:
    SpawnSettings(int output, int error, int keep) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, error, STDERR_FILENO);
        if (keep >= 0) posix_spawn_file_actions_adddup2(&actions_, keep, kKeptFd);
        // Closes all others, whatever the test has inherited.
        posix_spawn_file_actions_addclosefrom_np(&actions_, keep >= 0 ? kKeptFd + 1 : kKeptFd);
        posix_spawnattr_init(&attributes_);
        sigset_t set;
        sigemptyset(&set);
        posix_spawnattr_setsigmask(&attributes_, &set);
        sigaddset(&set, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &set);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    pid_t spawn(std::vector<std::string> command, std::vector<std::string> environment) {
        pid_t pid = -1;
        const int error = ::posix_spawnp(&pid, command.front().c_str(), &actions_, &attributes_,
                                         pointers(command).data(), pointers(environment).data());
        if (error != 0) fail(error, "cannot start " + command.front());
        return pid;
    }

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

ExitStatus decode(int status) {
    if (WIFSIGNALED(status)) return {-1, WTERMSIG(status)};
    return {WEXITSTATUS(status), 0};
}

}  // namespace

std::string ExitStatus::describe() const {
    if (signal != 0) return std::string("ended by signal ") + ::strsignal(signal);
    return "exited with status " + std::to_string(code);
}

ChildProcess::ChildProcess(const Options& options) : wake_(::eventfd(0, EFD_CLOEXEC)) {
    auto [outputRead, outputWrite] = makePipe();
    auto [errorRead, errorWrite] = makePipe();
    const int error = options.standardError < 0 ? errorWrite.get() : options.standardError;
    SpawnSettings settings(outputWrite.get(), error, options.keepFd);
    pid_ = settings.spawn(options.command, environmentWith(options.environment));
    output_ = std::move(outputRead);
    error_ = std::move(errorRead);
    collector_ = std::thread(&ChildProcess::collect, this);
}

ChildProcess::~ChildProcess() {
    signal(SIGKILL);
    if (!status_) ::waitpid(pid_, nullptr, 0);
    finishOutput();
}

void ChildProcess::signal(int number) {
    if (!poll()) ::kill(pid_, number);
}

std::optional<ExitStatus> ChildProcess::poll() {
    int status = 0;
    if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) status_ = decode(status);
    return status_;
}

std::optional<ExitStatus> ChildProcess::waitForExit(Deadline deadline) {
    if (eventually([this] { return poll().has_value(); }, deadline)) finishOutput();
    return status_;
}

// Reads the rest of the output, unless a descendant keeps the pipes open.
void ChildProcess::finishOutput() {
    if (!collector_.joinable()) return;
    readOutputAgain();
    eventually([this] { return outputEnded_.load(); }, kOutputGrace);
    finishing_ = true;
    ::eventfd_write(wake_.get(), 1);
    collector_.join();
}

void ChildProcess::leaveOutputUnread() {
    for (const UniqueFd* pipe : {&output_, &error_}) ::fcntl(pipe->get(), F_SETPIPE_SZ, 1);
    setReading(false);
}

void ChildProcess::readOutputAgain() {
    setReading(true);
}

void ChildProcess::setReading(bool reading) {
    reading_ = reading;
    ::eventfd_write(wake_.get(), 1);
}

void ChildProcess::collect() {
    int fds[] = {output_.get(), error_.get()};
    std::string* const texts[] = {&outputText_, &errorText_};
    while ((fds[0] >= 0 || fds[1] >= 0) && !finishing_) {
        const bool reading = reading_;
        pollfd entries[] = {{reading ? fds[0] : -1, POLLIN, 0},
                            {reading ? fds[1] : -1, POLLIN, 0},
                            {wake_.get(), POLLIN, 0}};
        if (::poll(entries, 3, -1) < 0) continue;
        eventfd_t woken = 0;
        if (entries[2].revents != 0) ::eventfd_read(wake_.get(), &woken);
        for (int i = 0; i < 2; ++i) {
            if (entries[i].revents != 0 && !drain(fds[i], *texts[i])) fds[i] = -1;
        }
    }
    outputEnded_ = true;
}

// Reads once. False at the end of the pipe.
bool ChildProcess::drain(int fd, std::string& to) {
    char buffer[4096];
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count <= 0) return count < 0 && errno == EINTR;
    const std::lock_guard lock(mutex_);
    to.append(buffer, static_cast<std::size_t>(count));
    return true;
}

std::string ChildProcess::standardOutput() const {
    const std::lock_guard lock(mutex_);
    return outputText_;
}

std::string ChildProcess::standardError() const {
    const std::lock_guard lock(mutex_);
    return errorText_;
}

}  // namespace teskd::test
