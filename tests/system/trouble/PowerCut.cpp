#include "trouble/PowerCut.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "support/TempDir.h"
#include "support/UniqueFd.h"

// The linker's names for the calls themselves.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
ssize_t __real_write(int fd, const void* data, size_t size);
int __real_fsync(int fd);
int __real_rename(const char* from, const char* to);
int __real_unlink(const char* path);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace teskd::test {

namespace {

namespace fs = std::filesystem;

constexpr int kCompleted = 40;
constexpr int kCut = 41;

struct Rename {
    fs::path from;
    fs::path to;
    std::optional<std::string> replaced;  // what was at the new name
};

// The child's disk, and the supply that runs it.
class Supply {
  public:
    Supply(unsigned last, Unsynced unsynced, int report)
        : last_(last), unsynced_(unsynced), report_(report) {}

    // True when the power goes with this call.
    bool goesWith(const std::string& call, const fs::path& path) {
        if (++calls_ == last_) return true;
        const fs::path name = path.has_filename() ? path.filename() : path.parent_path().filename();
        const std::string line = call + " " + name.string() + "\n";
        if (__real_write(report_, line.data(), line.size()) < 0) std::perror("report");
        return false;
    }

    [[noreturn]] void go(int status) {
        for (const auto& [fd, path] : dirty_) loseData(fd);
        if (unsynced_ == Unsynced::Lost) undoRenames();
        ::_exit(status);
    }

    void opened(int fd, const fs::path& path) { open_[fd] = path; }
    void closed(int fd) { open_.erase(fd); }
    fs::path pathOf(int fd) const {
        const auto found = open_.find(fd);
        return found == open_.end() ? fs::path("?") : found->second;
    }

    // The file stays at hand when its descriptor has been closed.
    void written(int fd) {
        for (const auto& [kept, path] : dirty_) {
            if (path == pathOf(fd)) return;
        }
        dirty_[::fcntl(fd, F_DUPFD_CLOEXEC, 100)] = pathOf(fd);
    }

    void synced(int fd) {
        const fs::path path = pathOf(fd);
        std::erase_if(dirty_, [&](const auto& entry) { return entry.second == path; });
        std::erase_if(renames_, [&](const Rename& done) {
            return done.to.parent_path() == path.parent_path() && !path.has_filename();
        });
    }

    void renamed(Rename rename) { renames_.push_back(std::move(rename)); }

  private:
    void loseData(int fd) const {
        if (unsynced_ == Unsynced::Kept) return;
        struct stat status {};
        ::fstat(fd, &status);
        const off_t left = unsynced_ == Unsynced::Half ? status.st_size / 2 : 0;
        if (::ftruncate(fd, left) != 0) std::perror("ftruncate");
    }

    void undoRenames() const {
        for (auto done = renames_.rbegin(); done != renames_.rend(); ++done) {
            __real_rename(done->to.c_str(), done->from.c_str());
            if (done->replaced) writeFile(done->to, *done->replaced);
        }
    }

    const unsigned last_;
    const Unsynced unsynced_;
    const int report_;
    unsigned calls_ = 0;
    std::map<int, fs::path> open_;
    std::map<int, fs::path> dirty_;
    std::vector<Rename> renames_;
};

// Set in the child, while the work is being done.
std::unique_ptr<Supply> supply;

[[noreturn]] void doWork(const std::function<void()>& work, std::unique_ptr<Supply> with) noexcept {
    supply = std::move(with);
    work();
    const std::unique_ptr<Supply> used = std::move(supply);
    used->go(kCompleted);
}

std::vector<std::string> linesOf(int fd) {
    std::string text;
    char block[4096];
    for (ssize_t n = 0; (n = ::read(fd, block, sizeof block)) > 0;) {
        text.append(block, static_cast<std::size_t>(n));
    }
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace

PowerCutResult runUntilPowerCut(const std::function<void()>& work, unsigned call,
                                Unsynced unsynced) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const UniqueFd reader(fds[0]);
    UniqueFd writer(fds[1]);
    const pid_t child = ::fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) doWork(work, std::make_unique<Supply>(call, unsynced, writer.get()));
    writer.reset();
    PowerCutResult result{.completed = false, .calls = linesOf(reader.get())};
    int status = 0;
    ::waitpid(child, &status, 0);
    result.completed = WIFEXITED(status) && WEXITSTATUS(status) == kCompleted;
    const bool cut = WIFEXITED(status) && WEXITSTATUS(status) == kCut;
    if (!result.completed && !cut) throw std::runtime_error("the work failed");
    return result;
}

}  // namespace teskd::test

// The linker's names for what is called instead.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)
using teskd::test::kCut;
using teskd::test::supply;

int __wrap_open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    if (supply && supply->goesWith("open", path)) supply->go(kCut);
    const int fd = __real_open(path, flags, mode);
    if (supply && fd >= 0) supply->opened(fd, path);
    return fd;
}

int __wrap_close(int fd) {
    if (supply && supply->goesWith("close", supply->pathOf(fd))) supply->go(kCut);
    if (supply) supply->closed(fd);
    return __real_close(fd);
}

ssize_t __wrap_write(int fd, const void* data, size_t size) {
    if (!supply) return __real_write(fd, data, size);
    const bool isLast = supply->goesWith("write", supply->pathOf(fd));
    const ssize_t n = __real_write(fd, data, isLast ? size / 2 : size);
    supply->written(fd);
    if (isLast) supply->go(kCut);
    return n;
}

int __wrap_fsync(int fd) {
    if (supply && supply->goesWith("fsync", supply->pathOf(fd))) supply->go(kCut);
    const int result = __real_fsync(fd);
    if (supply && result == 0) supply->synced(fd);
    return result;
}

int __wrap_rename(const char* from, const char* to) {
    if (!supply) return __real_rename(from, to);
    if (supply->goesWith("rename", from)) supply->go(kCut);
    teskd::test::Rename rename{from, to, std::nullopt};
    if (std::filesystem::exists(to)) rename.replaced = teskd::test::readFile(to);
    const int result = __real_rename(from, to);
    if (result == 0) supply->renamed(std::move(rename));
    return result;
}

int __wrap_unlink(const char* path) {
    if (supply && supply->goesWith("unlink", path)) supply->go(kCut);
    return __real_unlink(path);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl50-cpp,cert-dcl51-cpp)
}
