#include "checkconf/FileOwners.h"

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sys/stat.h>

#include "config/ConfigDefaults.h"
#include "core/Text.h"

namespace checkconf {

namespace {

struct User {
    std::string name;
    uid_t uid;
    gid_t gid;
};

// The user as which the init script starts the daemon.
std::string serviceName(const std::string& root) {
    const std::string assignment = "RUN_AS=";
    std::string name = "teskd";
    std::ifstream file(root + "/etc/default/teskd");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(assignment)) name = line.substr(assignment.size());
    }
    return teskd::text::trim(name, " \t\r\"'");
}

// Looks the user up in the passwd file below the directory, which may be that of an image.
std::optional<User> serviceUser(const std::string& root) {
    const std::string name = serviceName(root);
    std::ifstream accounts(root + "/etc/passwd");
    for (std::string line; std::getline(accounts, line);) {
        if (!line.starts_with(name + ":")) continue;
        const std::size_t uid = line.find(':', name.size() + 1);
        const std::size_t gid = line.find(':', uid + 1);
        if (uid == std::string::npos || gid == std::string::npos) continue;
        return User{name, static_cast<uid_t>(std::atol(line.c_str() + uid + 1)),
                    static_cast<gid_t>(std::atol(line.c_str() + gid + 1))};
    }
    return {};
}

// In a sticky directory such as /tmp only the owner of a file and root may replace it.
bool mayReplace(const User& user, const std::string& path) {
    struct stat file {};
    struct stat directory {};
    if (::lstat(path.c_str(), &file) != 0 || file.st_uid == user.uid) return true;
    const std::string parent = path.substr(0, path.rfind('/'));
    return ::stat(parent.c_str(), &directory) != 0 || (directory.st_mode & S_ISVTX) == 0;
}

bool mayReadAndWrite(const User& user, const std::string& path) {
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0) return true;
    const mode_t all = file.st_uid == user.uid   ? S_IRUSR | S_IWUSR
                       : file.st_gid == user.gid ? S_IRGRP | S_IWGRP
                                                 : S_IROTH | S_IWOTH;
    return (file.st_mode & all) == all;
}

}  // namespace

std::vector<Finding> checkOwners(const std::string& root) {
    const std::optional<User> user = serviceUser(root);
    if (!user || user->uid == 0) return {};
    const std::string service = "the service (user " + user->name + ") ";
    std::vector<Finding> findings;
    const std::string dump = root + teskd::DUMP_FILE;
    if (!mayReplace(*user, dump)) {
        findings.emplace_back(Place{dump, 0},
                              "left by another user; " + service +
                                  "cannot replace it, so it may be stale; delete it");
    }
    const std::string stamps = root + teskd::CONFIG_DIRECTORY + teskd::SOFTWARE_UPDATE_FILE;
    if (!mayReadAndWrite(*user, stamps)) {
        findings.emplace_back(Place{stamps, 0}, service +
                                                    "may not read and write it; change its "
                                                    "owner to " +
                                                    user->name);
    }
    return findings;
}

}  // namespace checkconf
