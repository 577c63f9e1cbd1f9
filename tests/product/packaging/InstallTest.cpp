// The packages on a machine: installed, run as a service, removed, purged.

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "packaging/InstalledRoot.h"
#include "packaging/Service.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// What the first has and the second has not.
Words beyond(const std::set<std::string>& some, const std::set<std::string>& others) {
    Words difference;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(),
                        std::back_inserter(difference));
    return difference;
}

// What is neither configuration, nor a note of the package system about whether the service was
// enabled.
Words withoutConfiguration(Words paths) {
    std::erase_if(paths, [](const std::string& path) {
        return path.starts_with("etc/") || path.starts_with("config/") ||
               path.starts_with("var/lib/systemd/deb-systemd-helper-");
    });
    return paths;
}

// As Debian's own: rules of packages come before the ones for everything.
constexpr char kSystemLogRules[] =
    "module(load=\"imuxsock\")\n"
    "$IncludeConfig /etc/rsyslog.d/*.conf\n"
    "*.*;auth,authpriv.none\t-/var/log/syslog\n";

std::unique_ptr<ChildProcess> startSystemLog(InstalledRoot& root) {
    writeFile(root / "etc/rsyslog.conf", kSystemLogRules);
    auto log = root.start({"rsyslogd", "-n", "-i", "NONE"});
    if (!eventually([&root] { return fs::is_socket(root / "dev/log"); })) {
        throw std::runtime_error("rsyslogd does not start: " + log->standardError());
    }
    return log;
}

// What a command says on standard error.
std::string errorOf(InstalledRoot& root, const Words& command) {
    const auto process = root.start(command);
    process->waitForExit();
    return process->standardError();
}

void stop(ChildProcess& process) {
    process.signal(SIGTERM);
    process.waitForExit();
}

TEST(Install, TheServiceServesAndLogsUntilItIsRemoved) {
    InstalledRoot root;
    writeFile(root / "var/log/syslog", "");
    const std::set<std::string> before = root.content();
    root.install({"teskd", "teskd-tools"});

    for (const char* link : {"etc/systemd/system/multi-user.target.wants/teskd.service",
                             "etc/rc2.d/S01teskd", "etc/rc6.d/K01teskd"}) {
        EXPECT_TRUE(fs::is_symlink(root / link)) << link;
    }

    EXPECT_EQ("", readFile(root / "var/log/teskd.log")) << "there is a log from the start";

    const auto systemLog = startSystemLog(root);
    Service service(root);
    service.start(root.unitCommand());
    ASSERT_TRUE(service.machine().journal().waitForAcknowledgements(1)) << service.story();
    HostClient host(service.port());
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_EQ("507-0018-ffffffffff00-FF", ask(host, 507, "-260101000000"));
    host.request(7, "");
    EXPECT_EQ(0x81, host.readFrame().kind) << "a daemon that may not set the clock serves on";
    EXPECT_THAT(readFile(root / "tmp/dump_map.ini"), HasSubstr("TESKv2_ENABLE=true"));

    root.run({"logger", "--priority", "user.notice", "a line of somebody else"});
    const fs::path log = root / "var/log/teskd.log";
    const auto logged = [&log](const char* text) {
        return eventually(
            [&] { return fs::exists(log) && readFile(log).find(text) != std::string::npos; });
    };
    EXPECT_TRUE(logged(": Generating automatique request for slot machine: 'SlotMachine_1'\n"));
    EXPECT_TRUE(
        logged(": Unable to set date and time: ZqConfigException: Operation not permitted\n"));
    EXPECT_THAT(readFile(log), HasSubstr(" teskd[" + std::to_string(service.pid()) + "]: "));
    EXPECT_THAT(readFile(log), Not(HasSubstr("packet is being freed"))) << "a debug line";
    EXPECT_TRUE(eventually([&root] {
        return readFile(root / "var/log/syslog").find("somebody else") != std::string::npos;
    }));
    EXPECT_THAT(readFile(root / "var/log/syslog"), Not(HasSubstr("teskd")));
    EXPECT_THAT(readFile(log), Not(HasSubstr("somebody else")));

    const std::string rotation = errorOf(
        root, {"logrotate", "--debug", "--state", "/tmp/rotation", "/etc/logrotate.d/teskd"});
    EXPECT_THAT(rotation, HasSubstr("considering log /var/log/teskd.log"));
    EXPECT_THAT(rotation, Not(HasSubstr("error")));

    EXPECT_TRUE(service.stop().ok()) << service.story();
    stop(*systemLog);
    fs::remove(root / "config/config.ini");
    fs::remove(root / "etc/rsyslog.conf");
    root.dpkg({"--remove", "teskd", "teskd-tools"});
    EXPECT_THAT(withoutConfiguration(beyond(root.content(), before)),
                testing::ElementsAre("var/log/teskd.log"));
    EXPECT_TRUE(fs::exists(root / "etc/tesk_v2.ini"));
    EXPECT_TRUE(fs::exists(root / "config/.sw_update.ini"));
    root.dpkg({"--purge", "teskd", "teskd-tools"});
    EXPECT_THAT(beyond(root.content(), before), IsEmpty());
}

// However the daemon was started, its lines bear its name and process id; the rule's one switch
// adds the debug lines.
TEST(Install, LinesBearOneTagAndDebugLinesAreKeptIfAskedFor) {
    InstalledRoot root;
    root.install({"teskd"});
    const fs::path rule = root / "etc/rsyslog.d/teskd.conf";
    std::string text = readFile(rule);
    const std::string info = "\nlocal6.info\t";
    ASSERT_NE(std::string::npos, text.find(info));
    text.replace(text.find(info), info.size(), "\nlocal6.debug\t");
    writeFile(rule, text);
    const auto systemLog = startSystemLog(root);
    Service service(root);
    service.start({"/usr/sbin/teskd"});
    ASSERT_TRUE(service.machine().journal().waitForAcknowledgements(1)) << service.story();
    const auto logged = [&root](const char* part) {
        return eventually([&root, part] {
            return readFile(root / "var/log/teskd.log").find(part) != std::string::npos;
        });
    };
    EXPECT_TRUE(logged("' on serial port 1 answers\n"));
    EXPECT_TRUE(logged("packet is being freed"));
    const std::string tag = " teskd[" + std::to_string(service.pid()) + "]: ";
    EXPECT_TRUE(service.stop().ok()) << service.story();
    stop(*systemLog);
    std::istringstream lines(readFile(root / "var/log/teskd.log"));
    for (std::string line; std::getline(lines, line);) EXPECT_THAT(line, HasSubstr(tag));
}

TEST(Install, AMachineWithoutServicesGetsThePackageAndLosesItAgain) {
    InstalledRoot root(InstalledRoot::Services::Unmanaged);
    const std::set<std::string> before = root.content();
    root.install({"teskd"});
    EXPECT_THAT(readFile(root / "etc/passwd"), HasSubstr("\nteskd:"));
    EXPECT_TRUE(fs::is_directory(root / "config"));
    root.install({"teskd"});  // again, as an upgrade does
    root.dpkg({"--remove", "teskd"});
    EXPECT_THAT(withoutConfiguration(beyond(root.content(), before)),
                testing::ElementsAre("var/log/teskd.log"));
    writeFile(root / "config/config.ini", "ZQ_MODEL=kept\n");
    root.dpkg({"--purge", "teskd"});
    EXPECT_THAT(beyond(root.content(), before),
                testing::ElementsAre("config/", "config/config.ini"))
        << "what others have written stays";
    EXPECT_THAT(readFile(root / "etc/passwd"), Not(HasSubstr("teskd")));
}

// A "cmake --install" is the same, but for what a package's scripts do.
TEST(Install, ThePackagesHoldWhatIsInstalledWithoutThem) {
    TempDir destination;
    const fs::path list = TESKD_BUILD "/install_manifest.txt";  // which the installation writes
    const bool listed = fs::exists(list);
    outputOf({"env", "DESTDIR=" + destination.path().string(), "cmake", "--install", TESKD_BUILD,
              "--prefix", "/usr"});
    if (!listed) fs::remove(list);
    std::set<std::string> installed;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(destination.path())) {
        if (entry.is_directory()) continue;
        installed.insert("./" + entry.path().lexically_relative(destination.path()).string());
    }
    std::set<std::string> packed;
    for (const char* package : {"teskd", "teskd-tools"}) {
        std::istringstream contents(outputOf({"dpkg-deb", "--contents", packageFile(package)}));
        for (std::string line; std::getline(contents, line);) {
            if (!line.ends_with('/')) packed.insert(splitWords(line).back());
        }
    }
    EXPECT_EQ(installed, packed);
}

}  // namespace
}  // namespace teskd::test
