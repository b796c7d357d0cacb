// Treats the input as the hive file: reads a few keys from both sections,
// writes one value, and reads it back. Every outcome the hive defines (a
// result, a PersistException, the Failure of an unrecognised file) is fine;
// the sanitizers look for everything else.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sys/libutils/Exception.h"
#include "sys/libutils/HivePath.h"
#include "sys/libutils/PersistException.h"
#include "sys/libutils/PersistTree.h"

using namespace qn::sys;

namespace {

const std::string& hiveFile() {
    static const std::string path = [] {
        // On tmpfs: every write of the hive flushes the file and its folder,
        // which costs milliseconds on a disk and nothing here.
        char pattern[] = "/dev/shm/qnhivefuzzXXXXXX";
        const char* dir = mkdtemp(pattern);
        if (dir == nullptr) {
            std::abort();
        }
        static std::string directory = dir;
        // The scratch hive goes when the fuzzer ends.
        std::atexit([] {
            std::remove((directory + "/.qn.xml").c_str());
            std::remove(directory.c_str());
        });
        return directory + "/.qn.xml";
    }();
    return path;
}

void readKeys() {
    for (const PersistFlags flags : {PersistCurrentUser, PersistLocalMachine}) {
        const PersistTree logger("Logger");
        const PersistValues values = logger.read(flags);
        for (const auto& [name, entry] : values) {
            if (entry.isLeaf()) {
                (void)values.getInt(name);
            } else {
                (void)PersistTree(logger, name).read(flags);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HivePath::set(hiveFile());
    FILE* file = std::fopen(hiveFile().c_str(), "wb");
    if (file == nullptr) {
        std::abort();
    }
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    try {
        readKeys();
        PersistValues values;
        values.setString("verbosity", "INFO");
        PersistTree("Logger").write(values, PersistLocalMachine);
        readKeys();
    } catch (const Failure&) {
    } catch (const PersistException&) {
    }
    return 0;
}
