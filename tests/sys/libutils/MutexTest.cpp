#include "sys/libutils/Mutex.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace qn::sys {
namespace {

TEST(Mutex, IsRecursive) {
    Mutex mutex;
    mutex.lock();
    EXPECT_TRUE(mutex.tryLock());
    mutex.unlock();
    mutex.unlock();
}

TEST(Mutex, ExcludesOtherThreads) {
    Mutex mutex;
    mutex.lock();
    bool gained = true;
    std::thread other([&] { gained = mutex.tryLock(); });
    other.join();
    EXPECT_FALSE(gained);
    mutex.unlock();

    long counter = 0;
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                std::lock_guard<Mutex> guard(mutex);
                ++counter;
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(counter, 40000);
}

}  // namespace
}  // namespace qn::sys
