// One key read and one key written through the hive file, as a caller of
// PersistTree sees it: each call opens, reads and parses the whole file, and a
// write also splices the text and rewrites the file. The hive lies in a
// temporary directory (tmpfs or disk, whichever the machine's /tmp is).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/config/HiveText.h"
#include "sys/libutils/HiveFile.h"
#include "sys/libutils/HivePath.h"
#include "sys/libutils/PersistTree.h"

namespace {

class HiveFile {
  public:
    explicit HiveFile(std::size_t size) {
        char pattern[] = "/tmp/qnhivebenchXXXXXX";
        m_dir = mkdtemp(pattern);
        const std::string path = m_dir + "/.qn.xml";
        qn::sys::HiveFile::writeText(path, qn::bench::makeHiveText(size));
        qn::sys::HivePath::set(path);
    }
    ~HiveFile() { std::filesystem::remove_all(m_dir); }

  private:
    std::string m_dir;
};

void BM_HiveReadKey(benchmark::State& state) {
    HiveFile hive(static_cast<std::size_t>(state.range(0)));
    const qn::sys::PersistTree tree("Module3");
    for (auto _ : state) {
        qn::sys::PersistValues values = tree.read(qn::sys::PersistLocalMachine);
        benchmark::DoNotOptimize(values);
    }
}

void BM_HiveWriteKey(benchmark::State& state) {
    HiveFile hive(static_cast<std::size_t>(state.range(0)));
    const qn::sys::PersistTree tree("Module3");
    qn::sys::PersistValues values;
    int i = 0;
    for (auto _ : state) {
        // Same length each time, so the file keeps its size.
        values.setInt("filesize", 100000 + (i++ % 900000));
        tree.write(values, qn::sys::PersistLocalMachine);
    }
}

}  // namespace

BENCHMARK(BM_HiveReadKey)->Arg(4 * 1024)->Arg(200 * 1024);
BENCHMARK(BM_HiveWriteKey)->Arg(4 * 1024)->Arg(200 * 1024);

BENCHMARK_MAIN();
