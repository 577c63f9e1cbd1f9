// What the packages say of themselves.

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

#include "packaging/InstalledRoot.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

// The machine that a program was compiled for, from its header, in which the machine has its own
// order of bytes.
int machineOf(const std::string& program) {
    const auto byte = [&program](std::size_t i) {
        return static_cast<unsigned char>(program.at(i));
    };
    constexpr std::size_t at = offsetof(Elf32_Ehdr, e_machine);
    const bool bigEndian = byte(EI_DATA) == ELFDATA2MSB;
    return bigEndian ? byte(at) << 8 | byte(at + 1) : byte(at + 1) << 8 | byte(at);
}

TEST(Package, IsForTheMachineThatItsProgramIsFor) {
    const std::map<std::string, int> machines = {
        {"amd64", EM_X86_64}, {"arm64", EM_AARCH64}, {"i386", EM_386}, {"powerpc", EM_PPC}};
    const std::string program =
        outputOf({"/bin/sh", "-c", "dpkg-deb --fsys-tarfile \"$0\" | tar -xO ./usr/sbin/teskd",
                  packageFile("teskd")});
    for (const char* package : {"teskd", "teskd-tools"}) {
        const std::string architecture = packageField(package, "Architecture");
        ASSERT_TRUE(machines.contains(architecture)) << architecture;
        EXPECT_EQ(machines.at(architecture), machineOf(program)) << architecture;
    }
}

// Then an upgrade keeps what an administrator has changed, and a removal leaves it.
TEST(Package, HasAllOfEtcAsConfiguration) {
    std::istringstream list(outputOf({"dpkg-deb", "--contents", packageFile("teskd")}));
    std::set<std::string> inEtc;
    for (std::string line; std::getline(list, line);) {
        const std::string path = splitWords(line).back().substr(1);
        if (path.starts_with("/etc/") && !path.ends_with('/')) inEtc.insert(path);
    }
    const Words configuration =
        splitWords(outputOf({"dpkg-deb", "--info", packageFile("teskd"), "conffiles"}));
    EXPECT_EQ(inEtc, std::set<std::string>(configuration.begin(), configuration.end()));
}

TEST(Package, NeedsTheLibrariesOfC) {
    EXPECT_THAT(packageField("teskd", "Depends"), HasSubstr("passwd"));
    for (const char* package : {"teskd", "teskd-tools"}) {
        const std::string needed = packageField(package, "Depends");
        for (const char* library : {"libc6", "libgcc-s1", "libstdc++6"}) {
            EXPECT_THAT(needed, HasSubstr(library)) << package;
        }
    }
}

}  // namespace
}  // namespace teskd::test
