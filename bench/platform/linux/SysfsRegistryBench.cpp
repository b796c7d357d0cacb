// One registry lookup for a display over sysfs, as the agent makes it for every report:
// the walk over all IODisplayConnect services to the adapter's display. The peer reads
// the same files with bare POSIX calls and no port in between, so the difference is
// what the port's handles, paths and values cost.

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/linux/sysfs/SysfsIOKit.h"
#include "tests/support/FakeDrmTree.h"
#include "tests/support/RegistryWalk.h"

namespace {

using qn::platform::sysfs::SysfsIOKit;

// N connectors, every other one on an adapter's card; the display looked up is the
// adapter connector that comes last in name order, so the walk visits every service.
struct Tree {
    explicit Tree(int connectors) {
        for (int i = 0; i < connectors; ++i) {
            const bool adapter = i % 2 == 1;
            const auto card = static_cast<std::uint32_t>(i);
            tree.addCard(card, adapter ? "quintor" : "i915");
            tree.addConnector(card, "DVI-I-1", 100 + card,
                              qn::test::makeEdid(static_cast<std::uint16_t>(0x1000 + i),
                                                 static_cast<std::uint16_t>(i)));
            driven.push_back(100 + card);
            if (adapter) {
                // Name order is text order: "card9-" comes after "card10-".
                const std::string name = "card" + std::to_string(card);
                if (last.empty() || name > last) {
                    last = name;
                    vendor = static_cast<std::uint16_t>(0x1000 + i);
                    model = static_cast<std::uint16_t>(i);
                }
            }
        }
    }
    qn::test::FakeDrmTree tree;
    std::vector<std::uint32_t> driven;
    std::string last;
    std::uint16_t vendor = 0;
    std::uint16_t model = 0;
};

void BM_RegistryLookup(benchmark::State& state) {
    const int connectors = static_cast<int>(state.range(0));
    Tree tree(connectors < 2 ? 2 : connectors);
    SysfsIOKit io(tree.tree.root(), [&] { return tree.driven; });
    for (auto _ : state) {
        const auto index = qn::test::registryIndexFor(io, tree.vendor, tree.model);
        if (index == 0xffffffff) {
            state.SkipWithError("the adapter was not found");
            break;
        }
        benchmark::DoNotOptimize(index);
    }
    state.SetLabel(std::to_string(connectors < 2 ? 2 : connectors) + " connectors");
}

std::size_t readFile(const std::string& path, char* buffer, std::size_t size) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    const ssize_t got = ::read(fd, buffer, size);
    ::close(fd);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

// The same files read once each, as little code as can read them.
void BM_BareFileReads(benchmark::State& state) {
    const int connectors = static_cast<int>(state.range(0));
    Tree tree(connectors < 2 ? 2 : connectors);
    const std::string drm = tree.tree.root() + "/sys/class/drm";
    char buffer[256];
    for (auto _ : state) {
        DIR* dir = ::opendir(drm.c_str());
        std::size_t bytes = 0;
        while (dirent* entry = ::readdir(dir)) {
            if (std::strncmp(entry->d_name, "card", 4) != 0 || !std::strchr(entry->d_name, '-')) {
                continue;
            }
            const std::string connector = drm + "/" + entry->d_name;
            bytes += readFile(connector + "/connector_id", buffer, sizeof buffer);
            bytes += readFile(connector + "/edid", buffer, sizeof buffer);
            const std::string card(entry->d_name, std::strchr(entry->d_name, '-'));
            bytes += static_cast<std::size_t>(
                ::readlink((drm + "/" + card + "/device/driver").c_str(), buffer, sizeof buffer));
        }
        ::closedir(dir);
        benchmark::DoNotOptimize(bytes);
    }
}

BENCHMARK(BM_RegistryLookup)->Arg(2)->Arg(8)->Arg(64);
BENCHMARK(BM_BareFileReads)->Arg(2)->Arg(8)->Arg(64);

}  // namespace

BENCHMARK_MAIN();
