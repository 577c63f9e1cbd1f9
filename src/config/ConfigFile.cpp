#include "config/ConfigFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace teskd {

namespace {

constexpr mode_t FILE_MODE = 0644;

bool isRegularFile(int fd, off_t largest = std::numeric_limits<off_t>::max()) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= largest;
}

bool writeAll(int fd, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return fsync(fd) == 0;
}

void syncDirectoryOf(const std::string& path) {
    const Descriptor directory(
        ::open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen()) fsync(directory.get());
}

// True when the directory, rather than the moment, is what does not allow a new file in it.
bool isForbidden(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY ||
           error == EEXIST || error == ENAMETOOLONG;
}

Descriptor createNew(const std::string& path) {
    ::unlink(path.c_str());  // left over from a power cut
    return Descriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
}

bool writeInPlace(const std::string& path, const std::string& content) {
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, FILE_MODE));
    return file.isOpen() && isRegularFile(file.get()) && ftruncate(file.get(), 0) == 0 &&
           writeAll(file.get(), content);
}

}  // namespace

std::optional<std::string> ConfigFile::read(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() || !isRegularFile(file.get(), LARGEST)) return std::nullopt;
    std::string content;
    char block[4096];
    for (;;) {
        const ssize_t n = ::read(file.get(), block, sizeof block);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 || content.size() > LARGEST) return std::nullopt;
        if (n == 0) return content;
        content.append(block, static_cast<std::size_t>(n));
    }
}

// A full disk must not cost the old content, so nothing is truncated then.
bool ConfigFile::replace(const std::string& path, const std::string& content) {
    const std::string temporary = path + ".tmp";
    const Descriptor file = createNew(temporary);
    if (!file.isOpen()) return isForbidden(errno) && writeInPlace(path, content);
    const bool written = writeAll(file.get(), content);
    if (written && std::rename(temporary.c_str(), path.c_str()) == 0) {
        syncDirectoryOf(path);
        return true;
    }
    const bool forbidden = written && isForbidden(errno);
    ::unlink(temporary.c_str());
    return forbidden && writeInPlace(path, content);
}

}  // namespace teskd
