// The registry at the real root, "/", over a recorded device tree: umockdev-run lays the
// tree over /sys for this test program run a second time inside it.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/linux/sysfs/SysfsIOKit.h"
#include "tests/support/RegistryWalk.h"

namespace qn::platform::sysfs {
namespace {

constexpr const char* kInner = "QN_SYSFS_UNDER_UMOCKDEV";

TEST(SysfsUnderUmockdev, RecordedAdapterCardIsFoundAtTheRealRoot) {
    if (std::getenv(kInner)) {
        // Inside: the tree must really be laid over /sys.
        ASSERT_NE(std::getenv("UMOCKDEV_DIR"), nullptr);
        SysfsIOKit io("/", [] { return std::vector<std::uint32_t>{44}; });
        // The recorded card1 hangs off a USB interface bound to the adapters' driver.
        EXPECT_EQ(test::registryIndexFor(io, 0x4d10, 0x1402), 1u);
        SysfsIOKit undriven("/", [] { return std::vector<std::uint32_t>{}; });
        EXPECT_EQ(test::registryIndexFor(undriven, 0x4d10, 0x1402), 0xffffffffu);
        return;
    }
    const char* source = std::getenv("QN_TEST_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    char self[4096];
    const ssize_t size = ::readlink("/proc/self/exe", self, sizeof self - 1);
    ASSERT_GT(size, 0);
    self[size] = '\0';
    const std::string command = std::string("umockdev-run --device ") + source +
                                "/tests/platform/linux/e2e/adapter-card.umockdev -- " + self +
                                " --gtest_filter=SysfsUnderUmockdev.*";
    ::setenv(kInner, "1", 1);
    // umockdev's preload library comes before the sanitizer's runtime in a sanitizer
    // build; the runtime's check of that order would end the inner run.
    const char* asan = std::getenv("ASAN_OPTIONS");
    const std::string previousAsan = asan ? asan : "";
    ::setenv("ASAN_OPTIONS", (previousAsan + ":verify_asan_link_order=0").c_str(), 1);
    const int status = std::system(command.c_str());
    ::unsetenv(kInner);
    if (asan) {
        ::setenv("ASAN_OPTIONS", previousAsan.c_str(), 1);
    } else {
        ::unsetenv("ASAN_OPTIONS");
    }
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace qn::platform::sysfs
