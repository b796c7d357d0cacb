// Uncontended lock and unlock, one thread: qn::sys::Mutex (recursive, on the
// heap) against the standard mutexes for comparison.
#include <benchmark/benchmark.h>

#include <mutex>

#include "sys/libutils/Mutex.h"

namespace {

void BM_MutexLockUnlock(benchmark::State& state) {
    qn::sys::Mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MutexLockUnlock);

void BM_MutexNestedLockUnlock(benchmark::State& state) {
    qn::sys::Mutex mutex;
    mutex.lock();
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
        benchmark::ClobberMemory();
    }
    mutex.unlock();
}
BENCHMARK(BM_MutexNestedLockUnlock);

void BM_StdRecursiveMutexLockUnlock(benchmark::State& state) {
    std::recursive_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_StdRecursiveMutexLockUnlock);

void BM_StdMutexLockUnlock(benchmark::State& state) {
    std::mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_StdMutexLockUnlock);

}  // namespace
