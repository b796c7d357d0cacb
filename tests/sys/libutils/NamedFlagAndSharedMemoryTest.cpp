#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "TempDirectory.h"
#include "sys/libutils/Exception.h"
#include "sys/libutils/NamedAutoLoweringFlag.h"
#include "sys/libutils/SharedMemory.h"

namespace qn::sys {
namespace {

std::string uniqueRegion(const char* stem) {
    return std::string(stem) + "_" + std::to_string(getpid());
}

int exitStatusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

// The child attaches to the region, bumps a counter under the named lock and
// hands the lock back; the parent sees the child's writes.
TEST(CrossProcess, NamedFlagAndSharedRegionBetweenTwoProcesses) {
    testing::TempDirectory directory;
    const std::string lockPath = directory.file("regionLock");
    const std::string region = uniqueRegion("qn_test_shared");
    SharedMemoryOwner owner(region, 4096, SharedMemory::kOwnerOnly);
    NamedAutoLoweringFlag lock(lockPath, true);  // made here, so raised: unlocked
    ASSERT_TRUE(lock.created());
    auto* counter = static_cast<std::atomic<int>*>(owner.address());
    counter->store(0);

    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int code = 0;
        try {
            NamedAutoLoweringFlag childLock(lockPath, true);
            SharedMemoryUser user("/" + region, 4096);
            for (int i = 0; i < 100; ++i) {
                if (!childLock.wait(kWaitForever)) {
                    code = 2;
                    break;
                }
                auto* shared = static_cast<std::atomic<int>*>(user.address());
                shared->store(shared->load() + 1);
                childLock.raise();
            }
            if (childLock.created()) {
                code = 3;
            }
        } catch (...) {
            code = 1;
        }
        _exit(code);
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(lock.wait(kWaitForever));
        counter->store(counter->load() + 1);
        lock.raise();
    }
    EXPECT_EQ(exitStatusOf(child), 0);
    EXPECT_EQ(counter->load(), 200);  // no increment lost: the lock excluded
}

TEST(NamedAutoLoweringFlag, WaitLowersAndRaiseIfCreatedOnlyForTheMaker) {
    testing::TempDirectory directory;
    const std::string path = directory.file("flag");
    {
        NamedAutoLoweringFlag maker(path, false);
        EXPECT_TRUE(maker.created());
        NamedAutoLoweringFlag other(path, true);
        EXPECT_FALSE(other.created());
        EXPECT_FALSE(other.wait(1000));  // not raised by the second opener
        maker.raise();
        EXPECT_TRUE(other.wait(0));
        EXPECT_FALSE(maker.wait(1000));  // the byte is gone
    }
    struct stat status {};
    EXPECT_NE(stat(path.c_str(), &status), 0);  // the maker removed the FIFO
}

TEST(NamedAutoLoweringFlag, UnusablePathThrowsSystemErrorCodeOne) {
    try {
        NamedAutoLoweringFlag flag("/nonexistent-dir/flag", true);
        FAIL();
    } catch (const SystemError& e) {
        EXPECT_EQ(e.code(), 1u);
        EXPECT_EQ(e.systemCode(), static_cast<std::uint64_t>(ENOENT));
    }
}

TEST(SharedMemory, NameWithAndWithoutSlashIsTheSameRegion) {
    const std::string region = uniqueRegion("qn_test_slash");
    auto owner = SharedMemory::create(region, 64, SharedMemory::kOwnerOnly);
    auto user = SharedMemory::attach("/" + region, 64);
    std::memcpy(owner->address(), "hello", 6);
    EXPECT_STREQ(static_cast<const char*>(user->address()), "hello");
    EXPECT_EQ(user->size(), 64u);
}

TEST(SharedMemory, NewOwnerReplacesALiveName) {
    const std::string region = uniqueRegion("qn_test_replace");
    SharedMemoryOwner first(region, 64, SharedMemory::kOwnerOnly);
    SharedMemoryUser oldUser(region, 64);
    std::memcpy(first.address(), "old", 4);
    SharedMemoryOwner second(region, 64, SharedMemory::kOwnerOnly);
    SharedMemoryUser newUser(region, 64);
    EXPECT_STREQ(static_cast<const char*>(oldUser.address()), "old");
    EXPECT_STREQ(static_cast<const char*>(newUser.address()), "");
}

TEST(SharedMemory, AccessClassSetsPermissions) {
    const struct {
        std::int32_t access;
        mode_t mode;
    } cases[] = {{0, 0600}, {1, 0604}, {2, 0606}, {7, 0600}};
    for (const auto& c : cases) {
        const std::string region = uniqueRegion("qn_test_mode");
        SharedMemoryOwner owner(region, 16, c.access);
        struct stat status {};
        ASSERT_EQ(stat(("/dev/shm/" + region).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, c.mode) << "access " << c.access;
    }
}

TEST(SharedMemory, MissingRegionAndOwnerGoneThrowCodeTen) {
    const std::string region = uniqueRegion("qn_test_missing");
    try {
        SharedMemoryUser user(region, 16);
        FAIL();
    } catch (const ErrorCodeException& e) {
        EXPECT_EQ(e.code(), 10u);
    }
    { SharedMemoryOwner owner(region, 16, SharedMemory::kOwnerOnly); }
    EXPECT_THROW(SharedMemoryUser(region, 16), ErrorCodeException);
}

}  // namespace
}  // namespace qn::sys
