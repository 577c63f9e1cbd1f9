// Reads and replaces small files as a whole, so that a power cut or a full disk does not damage
// them.
#pragma once

#include <optional>
#include <string>

namespace teskd {

// Reads and writes whole files. Never blocks on a device and never writes to one.
//
// A file is replaced in one way: a temporary file beside it is written, synced and renamed, so that
// a power cut or a full disk leaves either the old or the new content. What replace() and update()
// differ in is whose file it is. Writing in place is update()'s exception for files that would lose
// something by being replaced, or cannot be.
//
// Threads: any. Errors: reported by the result; throws only std::bad_alloc. A write beyond the
// limit of file sizes is an error only in a process that handles SIGXFSZ, as the daemon does.
class ConfigFile {
  public:
    // Longest file in bytes; a larger one is no configuration and is not read.
    static constexpr std::size_t LARGEST = 1048576;

    // The content of a regular file. None, with the reason in errno, for a missing file, a
    // directory (EISDIR), a device (EINVAL), a file that cannot be read, or one larger than LARGEST
    // (EFBIG).
    static std::optional<std::string> read(const std::string& path);

    // Replaces the file by a new one, for a directory in which others may create files: a symbolic
    // link at the path is replaced and not followed, so that nobody can redirect the write. False
    // on failure, with the reason in errno.
    static bool replace(const std::string& path, const std::string& content);

    // Changes the content of a file that belongs to the administrator, and nothing else about it:
    // symbolic links are followed and kept, and owner, group and mode are kept. The file behind the
    // links is replaced, or written in place if it has several names or an access control list, if
    // this process may not set its owner, or if its directory accepts no new file. A missing file
    // is created. False if the file could not be written or is not a regular file (EISDIR, EEXIST,
    // ELOOP), with the reason in errno.
    static bool update(const std::string& path, const std::string& content);
};

}  // namespace teskd
