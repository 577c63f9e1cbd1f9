// Reads and replaces small files as a whole, so that a power cut or a full disk does not damage
// them.
#pragma once

#include <optional>
#include <string>

namespace teskd {

// Reads and writes whole files. Never blocks on a device and never writes to one.
//
// Threads: any. Errors: reported by the result; throws only std::bad_alloc.
class ConfigFile {
  public:
    // Longest file in bytes; a larger one is no configuration and is not read.
    static constexpr std::size_t LARGEST = 1048576;

    // The content of a regular file. None, with the reason in errno, for a missing file, a
    // directory (EISDIR), a device (EINVAL), a file that cannot be read, or one larger than LARGEST
    // (EFBIG).
    static std::optional<std::string> read(const std::string& path);

    // Replaces the file by a new one: a temporary file beside it is written, synced and renamed, so
    // that a power cut or a full disk leaves either the old or the new content. A symbolic link at
    // the path is replaced and not followed, so that nobody who may create files in the directory
    // can redirect the write. False on failure, with the reason in errno.
    static bool replace(const std::string& path, const std::string& content);

    // Changes the content of a file that belongs to the administrator, and nothing else about it:
    // symbolic links are followed and kept, and owner, group and mode are kept. Works like
    // replace() on the file behind the links, with exceptions: a file is written in place if it has
    // several names or an access control list, if this process may not set its owner, or if its
    // directory accepts no new file. A missing file is created. False if the file could not be
    // written or is not a regular file (EISDIR, EEXIST, ELOOP), with the reason in errno.
    static bool update(const std::string& path, const std::string& content);
};

}  // namespace teskd
