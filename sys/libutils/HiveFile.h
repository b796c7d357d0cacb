#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace qn::sys {

// The steps of replacing the hive, in order; a test can end a writer at each.
enum class HiveWriteStep { TemporaryOpened, HalfWritten, Synced, Renamed };
using HiveWriteObserver = std::function<void(HiveWriteStep)>;

// The hive file on disk: its template, and the whole-file read and replacement.
class HiveFile {
  public:
    // The 153-byte template, seven lines ended by CR LF.
    static std::string_view templateText();
    // The file's text up to its first zero byte. A missing file is created
    // from the template first (never replacing one that another process made
    // meanwhile); the bare texts "Cannot create hive" and "Still cannot open
    // hive" are thrown as const char*.
    static std::string readText(const std::string& path);
    // Replaces the file by a new one holding text: written beside it, flushed,
    // given its mode and owner, renamed over it. Throws PersistWriteFailed
    // with the reason when that cannot be done; the old file is then whole.
    static void writeText(const std::string& path, const std::string& text,
                          const HiveWriteObserver& observer = {});
    // The file a path names, symbolic links followed (the last may dangle).
    static std::string resolve(const std::string& path);
};

}  // namespace qn::sys
