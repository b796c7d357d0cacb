// The System port's pieces on Linux: the release text, this process's id, signals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/linux/system/KernelRelease.h"
#include "platform/linux/system/ProcessIdentity.h"
#include "platform/linux/system/SignalInstaller.h"

namespace qn::platform::linux_host {
namespace {

TEST(KernelReleaseTest, AnswersTheFixedReleaseWithItsZero) {
    const KernelRelease release;
    char buffer[256];
    std::memset(buffer, 'x', sizeof buffer);
    std::size_t size = sizeof buffer;
    ASSERT_EQ(0, release.sysctlbyname("kern.osrelease", buffer, &size, nullptr, 0));
    EXPECT_STREQ("13.0.0", buffer);
    EXPECT_EQ(7u, size);

    // The size alone, then exactly that size.
    size = 0;
    ASSERT_EQ(0, release.sysctlbyname("kern.osrelease", nullptr, &size, nullptr, 0));
    EXPECT_EQ(7u, size);
    char exact[7];
    ASSERT_EQ(0, release.sysctlbyname("kern.osrelease", exact, &size, nullptr, 0));
    EXPECT_STREQ("13.0.0", exact);
}

TEST(KernelReleaseTest, RefusesShortBuffersOtherNamesAndWrites) {
    const KernelRelease release;
    char small[6] = "abcde";
    std::size_t size = sizeof small;
    errno = 0;
    EXPECT_EQ(-1, release.sysctlbyname("kern.osrelease", small, &size, nullptr, 0));
    EXPECT_EQ(ENOMEM, errno);
    EXPECT_EQ(7u, size);
    EXPECT_STREQ("abcde", small) << "a short buffer is left untouched";

    char buffer[64];
    size = sizeof buffer;
    errno = 0;
    EXPECT_EQ(-1, release.sysctlbyname("kern.ostype", buffer, &size, nullptr, 0));
    EXPECT_EQ(ENOENT, errno);
    errno = 0;
    EXPECT_EQ(-1, release.sysctlbyname("kern.osrelease", buffer, &size, "14.0.0", 7));
    EXPECT_EQ(EPERM, errno);
}

TEST(ProcessIdentityTest, TheCurrentProcessIsThisOne) {
    const ProcessIdentity identity;
    ProcessSerialNumber psn;
    ASSERT_EQ(noErrOSErr, identity.GetCurrentProcess(&psn));
    pid_t pid = 0;
    ASSERT_EQ(0, identity.GetProcessPID(&psn, &pid));
    EXPECT_EQ(::getpid(), pid);

    ProcessSerialNumber other{0, 77};
    pid = 0;
    EXPECT_EQ(procNotFound, identity.GetProcessPID(&other, &pid));
    EXPECT_EQ(0, pid);
}

volatile sig_atomic_t gSeen = 0;
void recordSignal(int signal) {
    gSeen = signal;
}

TEST(SignalInstallerTest, InstallsReturnsThePreviousAndStaysInstalled) {
    const SignalInstaller installer;
    const SignalHandler before = installer.signal(SIGUSR1, &recordSignal);
    ASSERT_NE(SIG_ERR, before);
    EXPECT_EQ(&recordSignal, installer.signal(SIGUSR1, &recordSignal));

    gSeen = 0;
    ::raise(SIGUSR1);
    EXPECT_EQ(SIGUSR1, gSeen);
    // Still installed after a delivery: a second one does not kill the test.
    gSeen = 0;
    ::raise(SIGUSR1);
    EXPECT_EQ(SIGUSR1, gSeen);

    EXPECT_EQ(&recordSignal, installer.signal(SIGUSR1, before));
    EXPECT_EQ(SIG_ERR, installer.signal(SIGKILL, &recordSignal));
}

}  // namespace
}  // namespace qn::platform::linux_host
