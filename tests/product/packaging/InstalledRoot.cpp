#include "packaging/InstalledRoot.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLong{60};

void add(Words& command, const Words& words) {
    command.insert(command.end(), words.begin(), words.end());
}

std::string finish(ChildProcess& child, const Words& command) {
    const auto status = child.waitForExit(kLong);
    if (status && status->ok()) return child.standardOutput();
    std::string text = status ? status->describe() : "does not end";
    for (const std::string& word : command) text += " " + word;
    throw std::runtime_error(text + "\n" + child.standardOutput() + child.standardError());
}

// Links to this machine's entries of a directory, but for those with these names.
void linkAll(const fs::path& root, const fs::path& directory,
             const std::set<std::string>& without) {
    fs::create_directories(root / directory.relative_path());
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        if (without.contains(entry.path().filename())) continue;
        fs::create_symlink("/host" + entry.path().string(), root / entry.path().relative_path());
    }
}

// Of the many programs in /usr/bin, those that the package system, its scripts and the tests use.
constexpr char kPrograms[] = R"(
    awk basename cat chgrp chmod chown cp cut date diff deb-systemd-helper deb-systemd-invoke dirname
    dpkg dpkg-deb dpkg-query dpkg-split dpkg-trigger env find getent grep gzip head id install ln
    logger ls mkdir mkfifo mktemp mv nice perl ps readlink rm rmdir run-parts sed setpriv sh sleep sort stat
    systemctl tail tar test touch tr true uname wc which xargs xz
)";

void linkPrograms(const fs::path& root, const std::set<std::string>& without) {
    fs::create_directories(root / "usr/bin");
    for (const std::string& name : splitWords(kPrograms)) {
        if (without.contains(name)) continue;
        fs::create_symlink("/host/usr/bin/" + name, root / "usr/bin" / name);
    }
}

// Programs of this machine that the root has its own of, or none.
std::set<std::string> absentPrograms(InstalledRoot::Services services) {
    std::set<std::string> absent = {"policy-rc.d", "teskd", "tesksim"};
    if (services == InstalledRoot::Services::Unmanaged) {
        absent.insert({"update-rc.d", "invoke-rc.d", "deb-systemd-helper", "deb-systemd-invoke",
                       "systemctl"});
    }
    return absent;
}

}  // namespace

std::string outputOf(const Words& command) {
    ChildProcess child({.command = command});
    return finish(child, command);
}

Words splitWords(const std::string& text) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

fs::path packageFile(const std::string& package) {
    const char* const others = std::getenv("TESKD_PACKAGES");
    const fs::path directory = others == nullptr ? BUILT_PACKAGES : others;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        if (entry.path().filename().string().starts_with(package + "_")) return entry.path();
    }
    throw std::runtime_error("no package " + package);
}

std::string packageField(const std::string& package, const std::string& field) {
    std::string value = outputOf({"dpkg-deb", "--field", packageFile(package), field});
    if (value.ends_with('\n')) value.pop_back();
    return value;
}

InstalledRoot::InstalledRoot(Services services) : root_(temp_ / "root") {
    makeTree(services);
    makeAccounts();
}

void InstalledRoot::makeTree(Services services) {
    for (const char* name : {"dev",
                             "etc/default",
                             "host",
                             "proc",
                             "run",
                             "tmp",
                             "var/lib/dpkg/info",
                             "var/lib/dpkg/updates",
                             "var/lib/dpkg/triggers",
                             "var/lib/systemd",
                             "var/log",
                             "etc/systemd/system",
                             "etc/rc0.d",
                             "etc/rc1.d",
                             "etc/rc2.d",
                             "etc/rc3.d",
                             "etc/rc4.d",
                             "etc/rc5.d",
                             "etc/rc6.d",
                             "usr/lib/systemd/system",
                             "usr/share/bash-completion/completions",
                             "usr/share/doc",
                             "usr/share/fish/vendor_completions.d",
                             "usr/share/man",
                             "usr/share/zsh/vendor-completions"}) {
        fs::create_directories(root_ / name);
    }
    linkPrograms(root_, absentPrograms(services));
    linkAll(root_, "/usr/sbin", absentPrograms(services));
    linkAll(root_, "/usr/lib", {"systemd"});
    linkAll(root_, "/usr/share", {"bash-completion", "doc", "fish", "man", "zsh"});
    for (const char* name : {"bin", "sbin", "lib"}) {
        fs::create_directory_symlink("usr/" + std::string(name), root_ / name);
    }
    if (fs::exists("/lib64")) fs::create_directory_symlink("/host/lib64", root_ / "lib64");
    fs::create_directory_symlink("/host/etc/alternatives", root_ / "etc/alternatives");
    for (const char* name : {"dev/null", "dev/urandom", "var/lib/dpkg/status"}) {
        writeFile(root_ / name, "");
    }
    // Services are not started by installing them: the tests do that.
    writeScript(root_ / "usr/sbin/policy-rc.d", "exit 101");
}

void InstalledRoot::makeAccounts() {
    writeFile(root_ / "etc/passwd", "root:x:0:0:root:/root:/bin/sh\n");
    writeFile(root_ / "etc/group", "root:x:0:\n");
    writeFile(root_ / "etc/shadow", "root:*:19000:0:99999:7:::\n");
    writeFile(root_ / "etc/gshadow", "root:*::\n");
}

Words InstalledRoot::sandbox(const Words& writable) const {
    Words words = {"bwrap", "--unshare-user",   "--uid", "0", "--gid", "0", "--cap-drop",
                   "ALL",   "--die-with-parent"};
    add(words, {writable.empty() ? "--bind" : "--ro-bind", root_, "/"});
    for (const std::string& path : writable) add(words, {"--bind", root_.string() + path, path});
    add(words, {"--ro-bind", "/", "/host", "--proc", "/proc"});
    for (const char* device : {"/dev/null", "/dev/urandom"}) {
        add(words, {"--dev-bind", device, device});
    }
    add(words, {"--chdir", "/", "--setenv", "PATH", "/usr/sbin:/usr/bin"});
    add(words, {"--setenv", "LC_ALL", "C", "--unsetenv", "TESKD_ROOT"});
    return words;
}

std::string InstalledRoot::run(const Words& command) {
    const auto child = start(command);
    return finish(*child, command);
}

void InstalledRoot::useBusyBox() {
    for (const char* name :
         {"usr/bin/cat", "usr/bin/chown", "usr/bin/grep", "usr/bin/id", "usr/bin/mkfifo",
          "usr/bin/rm", "usr/bin/sh", "usr/bin/sleep", "usr/sbin/start-stop-daemon"}) {
        fs::remove(root_ / name);
        fs::create_symlink("/host/usr/bin/busybox", root_ / name);
    }
    fs::remove(root_ / "usr/bin/setpriv");
    fs::remove(root_ / "usr/lib/lsb");
}

std::unique_ptr<ChildProcess> InstalledRoot::start(const Words& command, Confinement confinement) {
    Words words = sandbox(confinement.writable);
    if (confinement.filter >= 0) add(words, {"--seccomp", "3"});
    if (confinement.alone) add(words, {"--unshare-pid"});
    add(words, {"--"});
    add(words, command);
    return std::make_unique<ChildProcess>(
        ChildProcess::Options{.command = words, .environment = {}, .keepFd = confinement.filter});
}

std::string InstalledRoot::dpkg(const Words& arguments) {
    Words command = {"dpkg", "--force-unsafe-io"};
    add(command, arguments);
    return run(command);
}

void InstalledRoot::unpack(const std::string& package) {
    outputOf({"/bin/sh", "-c",
              "dpkg-deb --fsys-tarfile \"$0\" | tar --extract --keep-directory-symlink --directory "
              "\"$1\"",
              packageFile(package), root_});
}

// What is known of the package on this machine, so that the root's package system has it too.
void InstalledRoot::declareInstalled(const std::string& package) {
    std::ofstream status(root_ / "var/lib/dpkg/status", std::ios::app);
    status << outputOf({"dpkg-query", "--status", package}) << "\n";
    writeFile(root_ / "var/lib/dpkg/info" / (package + ".list"),
              outputOf({"dpkg-query", "--listfiles", package}));
}

void InstalledRoot::install(const Words& packages) {
    // Whose directories are, /lib for example.
    std::set<std::string> needed = {"base-files"};
    Words arguments = {"--install"};
    for (const std::string& package : packages) {
        std::istringstream list(packageField(package, "Depends"));
        for (std::string item; std::getline(list, item, ',');) {
            needed.insert(splitWords(item).front());
        }
        arguments.push_back("/host" + packageFile(package).string());
    }
    for (const std::string& package : needed) {
        if (declared_.insert(package).second) declareInstalled(package);
    }
    dpkg(arguments);
}

std::set<std::string> InstalledRoot::content() const {
    static const std::set<std::string> others = {"dev",          "host",          "proc",
                                                 "var/lib/dpkg", "etc/.pwd.lock", "etc/passwd-",
                                                 "etc/group-",   "etc/shadow-",   "etc/gshadow-"};
    std::set<std::string> paths;
    for (auto entry = fs::recursive_directory_iterator(root_); entry != end(entry); ++entry) {
        const std::string path = entry->path().lexically_relative(root_);
        const bool isDirectory = entry->is_directory() && !entry->is_symlink();
        if (others.contains(path)) {
            if (isDirectory) entry.disable_recursion_pending();
        } else {
            paths.insert(isDirectory ? path + "/" : path);
        }
    }
    return paths;
}

std::string InstalledRoot::unitSetting(const std::string& name) const {
    std::istringstream text(readFile(unit()));
    std::string value;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(name + "=")) value = line.substr(name.size() + 1);
    }
    return value;
}

Words InstalledRoot::unitCommand() const {
    Words words = splitWords(unitSetting("ExecStart"));
    if (words.at(0).starts_with('@')) words.erase(words.begin());
    return words;
}

}  // namespace teskd::test
