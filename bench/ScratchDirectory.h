#pragma once
// A folder of the benchmark run's own for the files it writes, made at first use and
// removed with everything in it when the program ends: log files grow to hundreds of
// megabytes while measuring.

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace qn::bench {

inline const std::string& scratchDirectory() {
    static const std::string* dir = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnbenchXXXXXX").string();
        auto* made = new std::string(::mkdtemp(pattern.data()));
        std::atexit([] { std::filesystem::remove_all(*dir); });
        return made;
    }();
    return *dir;
}

}  // namespace qn::bench
