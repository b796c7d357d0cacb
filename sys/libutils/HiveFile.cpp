#include "sys/libutils/HiveFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "sys/libutils/PersistException.h"
#include "sys/libutils/posix/FileDescriptor.h"

namespace qn::sys {

namespace {

constexpr std::string_view kTemplateLines[] = {
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n",
    "<QN_HIVE>\r\n",
    "<node name=\"HKEY_CURRENT_USER\">\r\n",
    "</node>\r\n",
    "<node name=\"HKEY_LOCAL_MACHINE\">\r\n",
    "</node>\r\n",
    "</QN_HIVE>\r\n",
};

[[noreturn]] void fail(const std::string& what, int error) {
    throw PersistWriteFailed(what + ": " + std::strerror(error));
}

std::string octal(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// A new file in the hive's directory that nobody sees until it is published.
// An unnamed file is used where the file system has them, so that a writer
// killed half-way leaves nothing behind; elsewhere a named temporary, removed
// on every failure.
class Replacement {
  public:
    Replacement(std::string target, mode_t createMode) : m_target(std::move(target)) {
        const std::filesystem::path target_path(m_target);
        m_dir = target_path.parent_path().string();
        if (m_dir.empty()) {
            m_dir = ".";
        }
        m_base = target_path.filename().string();
        m_fd.reset(::open(m_dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, createMode));
        if (!m_fd.valid() && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
            std::string pattern = m_dir + "/." + m_base + ".new-XXXXXX";
            m_fd.reset(::mkostemp(pattern.data(), O_CLOEXEC));
            if (m_fd.valid()) {
                m_named = pattern;
                const mode_t mask = ::umask(0);
                ::umask(mask);
                ::fchmod(m_fd.get(), createMode & ~mask);
            }
        }
        if (!m_fd.valid()) {
            fail("cannot create a new file in " + m_dir, errno);
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (!m_named.empty()) {
            ::unlink(m_named.c_str());
        }
    }

    int fd() const { return m_fd.get(); }

    void write(const std::string& text, const HiveWriteObserver& observer) {
        const std::size_t half = text.size() / 2;
        if (!writeAll(fd(), text.data(), half)) {
            fail("cannot write the new text in " + m_dir, errno);
        }
        if (observer) {
            observer(HiveWriteStep::HalfWritten);
        }
        if (!writeAll(fd(), text.data() + half, text.size() - half)) {
            fail("cannot write the new text in " + m_dir, errno);
        }
        if (::fsync(fd()) != 0) {
            fail("cannot flush the new text in " + m_dir + " to disk", errno);
        }
        if (observer) {
            observer(HiveWriteStep::Synced);
        }
    }

    // Puts the file in place. Without replace an existing file wins and the
    // answer is false.
    bool publish(bool replace) {
        if (!replace) {
            if (::linkat(AT_FDCWD, nameForLink().c_str(), AT_FDCWD, m_target.c_str(),
                         AT_SYMLINK_FOLLOW) != 0) {
                if (errno == EEXIST) {
                    return false;
                }
                fail("cannot create " + m_target, errno);
            }
            return true;
        }
        if (m_named.empty()) {
            giveName();
        }
        if (::rename(m_named.c_str(), m_target.c_str()) != 0) {
            fail("cannot rename the new file over " + m_target, errno);
        }
        m_named.clear();
        return true;
    }

    // Makes the rename itself durable. The new text is in place by now, so a
    // failure here is not a failed write.
    void syncDirectory() const {
        const FileDescriptor dir(::open(m_dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (dir.valid()) {
            ::fsync(dir.get());
        }
    }

  private:
    std::string nameForLink() const {
        return m_named.empty() ? "/proc/self/fd/" + std::to_string(fd()) : m_named;
    }

    void giveName() {
        const std::string source = nameForLink();
        for (unsigned attempt = 0; attempt < 100; ++attempt) {
            const std::string name = m_dir + "/." + m_base + ".new-" + std::to_string(::getpid()) +
                                     "-" + std::to_string(attempt);
            if (::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) ==
                0) {
                m_named = name;
                return;
            }
            if (errno != EEXIST) {
                fail("cannot name the new file in " + m_dir, errno);
            }
        }
        fail("cannot name the new file in " + m_dir, EEXIST);
    }

    std::string m_target;
    std::string m_dir;
    std::string m_base;
    std::string m_named;
    FileDescriptor m_fd;
};

// Creates the hive from its template unless another process did so first.
void createFromTemplate(const std::string& target) {
    try {
        Replacement file(target, 0666);
        file.write(std::string(HiveFile::templateText()), {});
        file.publish(false);
        file.syncDirectory();
    } catch (const PersistWriteFailed&) {
        throw "Cannot create hive";
    }
}

}  // namespace

std::string_view HiveFile::templateText() {
    static const std::string text = [] {
        std::string joined;
        for (const std::string_view line : kTemplateLines) {
            joined.append(line);
        }
        return joined;
    }();
    return text;
}

std::string HiveFile::resolve(const std::string& path) {
    std::filesystem::path resolved(path);
    std::error_code error;
    for (int hops = 0; std::filesystem::is_symlink(resolved, error); ++hops) {
        const std::filesystem::path link = std::filesystem::read_symlink(resolved, error);
        if (error || hops == 40) {
            break;
        }
        resolved = link.is_absolute() ? link : resolved.parent_path() / link;
    }
    return resolved.string();
}

std::string HiveFile::readText(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        createFromTemplate(resolve(path));
        file = std::fopen(path.c_str(), "rb");
        if (file == nullptr) {
            throw "Still cannot open hive";
        }
    }
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<std::int32_t>(std::ftell(file));
    if (size <= 0) {
        std::fclose(file);
        return {};
    }
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::fseek(file, 0, SEEK_SET);
    const std::size_t got = std::fread(text.data(), 1, static_cast<std::size_t>(size), file);
    std::fclose(file);
    if (got == 0) {
        return {};
    }
    // Taken as a C string: the text ends at the file's first zero byte.
    text.resize(std::strlen(text.c_str()));
    return text;
}

void HiveFile::writeText(const std::string& path, const std::string& text,
                         const HiveWriteObserver& observer) {
    const std::string target = resolve(path);
    struct stat old {};
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if (exists) {
        // A rename would replace even a file the caller may not write.
        if ((old.st_mode & 0222) == 0) {
            throw PersistWriteFailed(target + " is read-only (mode " + octal(old.st_mode) + ")");
        }
        if (::access(target.c_str(), W_OK) != 0) {
            fail("cannot write " + target, errno);
        }
    }
    Replacement file(target, 0666);
    if (observer) {
        observer(HiveWriteStep::TemporaryOpened);
    }
    if (exists) {
        struct stat mine {};
        ::fstat(file.fd(), &mine);
        if ((mine.st_uid != old.st_uid || mine.st_gid != old.st_gid) &&
            ::fchown(file.fd(), old.st_uid, old.st_gid) != 0) {
            fail("cannot keep the owner " + std::to_string(old.st_uid) + ":" +
                     std::to_string(old.st_gid) + " of " + target,
                 errno);
        }
        if (::fchmod(file.fd(), old.st_mode & 07777) != 0) {
            fail("cannot keep the mode " + octal(old.st_mode) + " of " + target, errno);
        }
    }
    file.write(text, observer);
    file.publish(true);
    if (observer) {
        observer(HiveWriteStep::Renamed);
    }
    file.syncDirectory();
}

}  // namespace qn::sys
