#include "sys/libutils/KQueueWaitable.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "TempDirectory.h"
#include "sys/libutils/Exception.h"

namespace qn::sys {
namespace {

class KQueueWaitableTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_path = m_directory.file("watched");
        m_descriptor = open(m_path.c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(m_descriptor, 0);
    }
    void TearDown() override { close(m_descriptor); }

    testing::TempDirectory m_directory;
    std::string m_path;
    int m_descriptor = -1;
};

TEST_F(KQueueWaitableTest, NinthFilterThrowsAndTheEightStay) {
    KQueueWaitable waitable(m_descriptor);
    for (int i = 0; i < 8; ++i) {
        waitable.setEvents(KQueueWaitable::kWrite);
    }
    try {
        waitable.setEvents(KQueueWaitable::kRename);
        FAIL() << "ninth filter accepted";
    } catch (const Failure& e) {
        EXPECT_STREQ(e.what(), "No more filters can be set");
    }
    EXPECT_EQ(waitable.filterCount(), 8u);
    ASSERT_EQ(write(m_descriptor, "x", 1), 1);
    EXPECT_TRUE(waitable.wait(1000000));
    EXPECT_TRUE(waitable.hasFired(KQueueWaitable::kWrite));
}

TEST_F(KQueueWaitableTest, MaskBitsMakeOneFileFilterAndOneReadFilter) {
    KQueueWaitable writeOnly(m_descriptor);
    writeOnly.setEvents(KQueueWaitable::kWrite);
    EXPECT_EQ(writeOnly.filterCount(), 1u);
    KQueueWaitable all(m_descriptor);
    all.setEvents(KQueueWaitable::kRename | KQueueWaitable::kDelete | KQueueWaitable::kWrite |
                  KQueueWaitable::kRead);
    EXPECT_EQ(all.filterCount(), 2u);
}

TEST_F(KQueueWaitableTest, WriteFiresOnlyForWatchersOfWrites) {
    KQueueWaitable writes(m_descriptor);
    writes.setEvents(KQueueWaitable::kWrite);
    KQueueWaitable renames(m_descriptor);
    renames.setEvents(KQueueWaitable::kRename);
    EXPECT_FALSE(writes.wait(0));
    ASSERT_EQ(write(m_descriptor, "abc", 3), 3);
    EXPECT_TRUE(writes.wait(1000000));
    EXPECT_TRUE(writes.hasFired(KQueueWaitable::kWrite));
    EXPECT_FALSE(writes.hasFired(KQueueWaitable::kRename));
    EXPECT_FALSE(writes.hasFired(KQueueWaitable::kRead));
    EXPECT_FALSE(writes.wait(0));  // taken
    EXPECT_FALSE(renames.wait(0));
    EXPECT_FALSE(renames.hasFired(KQueueWaitable::kWrite));
}

TEST_F(KQueueWaitableTest, EventFromAnotherThreadWakesABlockedWait) {
    KQueueWaitable waitable(m_descriptor);
    waitable.setEvents(KQueueWaitable::kRename);
    std::thread mover([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        rename(m_path.c_str(), (m_path + ".moved").c_str());
    });
    EXPECT_TRUE(waitable.wait(kWaitForever));
    mover.join();
    EXPECT_TRUE(waitable.hasFired(KQueueWaitable::kRename));
}

TEST_F(KQueueWaitableTest, ZeroTimeOutDoesNotBlockAndTimeOutExpires) {
    KQueueWaitable waitable(m_descriptor);
    waitable.setEvents(KQueueWaitable::kDelete);
    auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(waitable.wait(0));
    EXPECT_FALSE(waitable.wait(30000));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(25));
}

TEST_F(KQueueWaitableTest, ReadFilterFiresOnReadableDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    KQueueWaitable waitable(ends[0]);
    waitable.setEvents(KQueueWaitable::kRead);
    EXPECT_FALSE(waitable.wait(0));
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_TRUE(waitable.wait(1000000));
    EXPECT_TRUE(waitable.hasFired(KQueueWaitable::kRead));
    EXPECT_FALSE(waitable.hasFired(KQueueWaitable::kWrite));
    EXPECT_FALSE(waitable.hasFired(3));  // not one bit
    close(ends[0]);
    close(ends[1]);
}

TEST(KQueueWaitable, BadDescriptorFailsToSetEvent) {
    KQueueWaitable waitable(-1);
    try {
        waitable.setEvents(KQueueWaitable::kRename);
        FAIL();
    } catch (const Failure& e) {
        EXPECT_STREQ(e.what(), "Failed to set event");
    }
    EXPECT_EQ(waitable.filterCount(), 0u);
    EXPECT_THROW(waitable.setEvents(KQueueWaitable::kRead), Failure);
}

}  // namespace
}  // namespace qn::sys
