#include "support/Sandbox.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

void add(Words& command, const Words& words) {
    command.insert(command.end(), words.begin(), words.end());
}

void addWritableDirectories(Words& command) {
    const char* const list = std::getenv("TESKD_TEST_WRITABLE");
    std::istringstream directories(list == nullptr ? "" : list);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (!directory.empty()) add(command, {"--bind", directory, directory});
    }
}

void addMachineTree(Words& command, const Sandbox& sandbox) {
    add(command, {"--ro-bind", "/", "/", "--bind", sandbox.root, sandbox.root});
    add(command, {"--setenv", "TESKD_ROOT", sandbox.root});
}

// Mounts the machine's programs and libraries, but only some files of /usr/bin, so that notrunning
// can be added there.
void addSystem(Words& command) {
    for (const fs::directory_entry& entry : fs::directory_iterator("/usr")) {
        if (entry.path() != "/usr/bin") add(command, {"--ro-bind", entry.path(), entry.path()});
    }
    for (const char* tool : {"sh", "cat", "env", "printf", "sleep"}) {
        const std::string path = std::string("/usr/bin/") + tool;
        add(command, {"--ro-bind-try", path, path});
    }
    for (const fs::path path : {"/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"}) {
        if (fs::is_symlink(path)) {
            add(command, {"--symlink", fs::read_symlink(path), path});
        } else {
            add(command, {"--ro-bind-try", path, path});
        }
    }
}

void addProgramFile(Words& command, const Sandbox& sandbox, const fs::path& program) {
    add(command, {"--ro-bind", program, program, "--unsetenv", "TESKD_ROOT"});
    if (sandbox.emulator.empty()) return;
    const std::string& emulator = sandbox.emulator.front();
    add(command, {"--ro-bind", emulator, emulator});
}

void addPrivateTree(Words& command, const Sandbox& sandbox, const fs::path& program) {
    addSystem(command);
    for (const char* name : {"etc", "config", "tmp"}) {
        add(command, {"--bind", sandbox.root / name, "/" + std::string(name)});
    }
    addProgramFile(command, sandbox, program);
    if (!sandbox.notRunning.empty()) {
        add(command, {"--ro-bind", sandbox.notRunning, "/usr/bin/notrunning"});
    }
}

// Nothing of the machine is mounted, so program and emulator must be static.
void addEmptyTree(Words& command, const Sandbox& sandbox, const fs::path& program) {
    add(command, {"--ro-bind", sandbox.root / "etc", "/etc"});
    addProgramFile(command, sandbox, program);
    add(command, {"--dev-bind", "/dev/null", "/dev/null"});
}

void addDisk(Words& command, const Sandbox& sandbox) {
    for (const auto& [directory, size] : sandbox.disk.limited) {
        add(command, {"--size", std::to_string(size), "--tmpfs", sandbox.root / directory});
    }
    for (const std::string& file : sandbox.disk.mounted) {
        add(command, {"--bind", sandbox.root / file, sandbox.root / file});
    }
    for (const std::string& name : sandbox.disk.readOnly) {
        add(command, {"--ro-bind", sandbox.root / name, sandbox.root / name});
    }
}

void addFiles(Words& command, const Sandbox& sandbox, const fs::path& program) {
    switch (sandbox.files) {
        case Files::TeskdRoot:
            addMachineTree(command, sandbox);
            addDisk(command, sandbox);
            break;
        case Files::PrivateRoot:
            addPrivateTree(command, sandbox, program);
            break;
        case Files::EmptyRoot:
            addEmptyTree(command, sandbox, program);
            return;
    }
    add(command, {"--dev", "/dev", "--proc", "/proc"});
}

void addProgram(Words& command, const Sandbox& sandbox, const fs::path& program) {
    add(command, {"--"});
    if (!sandbox.disk.before.empty()) {
        const std::string script =
            "cd \"$0\" || exit\n" + sandbox.disk.before + "\ncd \"$OLDPWD\"\nexec \"$@\"";
        add(command, {"/bin/sh", "-c", script, sandbox.root});
    }
    add(command, sandbox.emulator);
    add(command, {program});
}

}  // namespace

std::vector<std::string> sandboxCommand(const Sandbox& sandbox, const fs::path& program,
                                        const std::vector<std::string>& arguments) {
    if (!sandbox.notRunning.empty() && sandbox.files != Files::PrivateRoot) {
        throw std::invalid_argument("a stand-in for notrunning needs a private root");
    }
    if (sandbox.files != Files::TeskdRoot && !sandbox.disk.isSound()) {
        throw std::invalid_argument("trouble with the disk needs TESKD_ROOT");
    }
    Words command = {
        "bwrap", "--unshare-user", "--cap-drop", "ALL", "--die-with-parent", "--info-fd", "3"};
    addFiles(command, sandbox, program);
    if (!sandbox.logSocket.empty()) add(command, {"--bind", sandbox.logSocket, "/dev/log"});
    addWritableDirectories(command);
    addProgram(command, sandbox, program);
    add(command, arguments);
    return command;
}

}  // namespace teskd::test
