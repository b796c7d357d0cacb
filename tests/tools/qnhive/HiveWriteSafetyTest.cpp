#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sys/libutils/HivePath.h"
#include "sys/libutils/PersistTree.h"
#include "tests/sys/libutils/ChildProcess.h"
#include "tests/sys/libutils/HiveTestSupport.h"
#include "tools/qnhive/HiveTool.h"

using namespace qn::tools;

namespace {

class HiveWriteSafety : public qn::test::HiveFixture {
  protected:
    int run(const std::vector<std::string>& arguments, std::string* err = nullptr) {
        std::vector<std::string> all{"--file", m_hive};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::ostringstream out;
        std::ostringstream errors;
        const int status = runHiveTool(all, out, errors);
        m_out = out.str();
        if (err != nullptr) {
            *err = errors.str();
        }
        return status;
    }
    // The value of machine/Big/target as qnhive reads it, or what is wrong.
    // get checks first that the file is a whole hive.
    std::string target() {
        std::string err;
        if (run({"get", "machine", "Big", "target"}, &err) != HiveToolOk) {
            return "no value: " + err;
        }
        return m_out;
    }
    // The same through one parse of the file (a 3 MB hive is read a hundred
    // times): a cut or empty file has no such value.
    std::string storedTarget() {
        qn::sys::HivePath::set(m_hive);
        try {
            const qn::sys::PersistValues values =
                qn::sys::PersistTree("Big").read(qn::sys::PersistLocalMachine);
            return values.isValue("target") ? values.getString("target") + "\n" : "no value";
        } catch (const std::exception& failure) {
            return std::string("not a hive: ") + failure.what();
        }
    }
    // Where a writer stands at a kill: whether it has a file open in the hive's folder that
    // is neither the hive nor its lock, and not yet in the hive's place (an unnamed new file
    // keeps its first name in /proc after it is linked in, so the inode tells).
    enum class Moment { Other, Replacing, Finished };
    // Stops the writer, looks, and kills it; the writer is reaped when this returns.
    Moment stopLookAndKill(pid_t writer) {
        ::kill(writer, SIGSTOP);
        int status = 0;
        while (::waitpid(writer, &status, WUNTRACED) < 0) {
        }
        if (!WIFSTOPPED(status)) {
            return Moment::Finished;
        }
        struct stat hive {};
        const bool hiveThere = ::stat(m_hive.c_str(), &hive) == 0;
        Moment moment = Moment::Other;
        const std::string folder = m_dir.string() + "/";
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(
                 "/proc/" + std::to_string(writer) + "/fd", error)) {
            const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
            struct stat file {};
            if (target.rfind(folder, 0) == 0 && target != m_hive &&
                target != m_hive + " (deleted)" && target != m_hive + ".lock" &&
                ::stat(entry.path().c_str(), &file) == 0 &&
                !(hiveThere && file.st_ino == hive.st_ino && file.st_dev == hive.st_dev)) {
                moment = Moment::Replacing;
            }
        }
        ::kill(writer, SIGKILL);
        qn::test::waitForChild(writer);
        return moment;
    }
    std::string m_out;
};

// A hive of about size bytes: many values under machine/Big, and "target".
std::string bigHive(std::size_t size, const std::string& value) {
    std::string inside =
        "<node name=\"Software\">\r\n<node name=\"Quintor\">\r\n<node name=\"Big\">\r\n"
        "<value name=\"target\">" +
        value + "</value>\r\n";
    for (std::size_t i = 0; inside.size() < size; ++i) {
        inside += "<value name=\"filler" + std::to_string(i) + "\">" + std::string(80, 'x') +
                  "</value>\r\n";
    }
    inside += "</node>\r\n</node>\r\n</node>\r\n";
    return qn::test::hiveWithMachine(inside);
}

}  // namespace

// The set needs room for a second copy of the text; a 64 KiB file system
// holding a 40 KB hive has none.
TEST_F(HiveWriteSafety, AFullDiskLeavesTheHiveWhole) {
    const std::string before = bigHive(40000, "old");
    const std::string report = qn::test::reportFromChild([&]() -> std::string {
        if (::unshare(CLONE_NEWNS) != 0) {
            return std::string("cannot unshare the mount namespace: ") + std::strerror(errno);
        }
        if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            return std::string("cannot make mounts private: ") + std::strerror(errno);
        }
        if (::mount("qnfull", m_dir.c_str(), "tmpfs", 0, "size=64k") != 0) {
            return std::string("cannot mount a 64 KiB tmpfs: ") + std::strerror(errno);
        }
        putFile(before);
        if (fileText() != before) {
            return "the starting hive does not fit";
        }
        std::string err;
        const int status = run({"set", "machine", "Big", "target", "new"}, &err);
        std::string problems;
        if (status != HiveToolNotWritten) {
            problems += "status " + std::to_string(status) + "; ";
        }
        if (err.find("No space left on device") == std::string::npos) {
            problems += "message: " + err;
        }
        if (fileText() != before) {
            problems += "the hive changed; ";
        }
        if (target() != "old\n") {
            problems += "target reads " + target();
        }
        ::umount(m_dir.c_str());
        return problems;
    });
    EXPECT_EQ(report, "");
}

TEST_F(HiveWriteSafety, AFileSizeLimitBelowTheTextLeavesTheHiveWhole) {
    const std::string before = bigHive(40000, "old");
    putFile(before);
    const std::string report = qn::test::reportFromChild([&]() -> std::string {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{20000, 20000};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            return "cannot set RLIMIT_FSIZE";
        }
        std::string err;
        const int status = run({"set", "machine", "Big", "target", "new"}, &err);
        if (status != HiveToolNotWritten || err.find("File too large") == std::string::npos) {
            return "status " + std::to_string(status) + ": " + err;
        }
        return "";
    });
    EXPECT_EQ(report, "");
    EXPECT_EQ(fileText(), before);
}

TEST_F(HiveWriteSafety, AReadOnlyHiveIsAPermissionError) {
    putFile(bigHive(100, "old"));
    ASSERT_EQ(::chmod(m_hive.c_str(), 0400), 0);
    std::string err;
    EXPECT_EQ(run({"set", "machine", "Big", "target", "new"}, &err), HiveToolNotWritten);
    EXPECT_EQ(err, "qnhive: not written: " + m_hive + " is read-only (mode 0400)\n");
    EXPECT_EQ(target(), "old\n");
}

// Kills land anywhere in the set: before, during and after the replacement. Each kill is
// placed by stopping the writer first and looking at its open files, so that a kill while
// the new text was being written is known to be one.
TEST_F(HiveWriteSafety, KillsAtRandomMomentsOfASetOnABigHive) {
    putFile(bigHive(3 * 1024 * 1024, "value-0"));
    // How long one set takes here, so that the kills spread over it.
    const auto start = std::chrono::steady_clock::now();
    const pid_t timed = ::fork();
    if (timed == 0) {
        ::_exit(run({"set", "machine", "Big", "target", "value-0"}));
    }
    ASSERT_EQ(qn::test::waitForChild(timed), HiveToolOk);
    const auto span = std::chrono::duration_cast<std::chrono::microseconds>(
                          std::chrono::steady_clock::now() - start)
                          .count();
    std::mt19937 random(20261123);
    std::uniform_int_distribution<long> moment(0, span);
    std::string current = "value-0";
    int kept = 0;
    int changed = 0;
    int replacing = 0;
    // A hundred kills, and more (up to 400) until five have landed in the write: a
    // tenth of them usually do, but the share is the machine's to decide.
    int kills = 0;
    for (int i = 1; i <= 100 || (replacing < 5 && i <= 400); ++i) {
        const std::string next = "value-" + std::to_string(i);
        const pid_t writer = ::fork();
        if (writer == 0) {
            ::_exit(run({"set", "machine", "Big", "target", next}));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        ++kills;
        const Moment at = stopLookAndKill(writer);
        const std::string found = storedTarget();
        ASSERT_TRUE(found == current + "\n" || found == next + "\n")
            << "after kill " << i << ": " << found;
        if (at == Moment::Replacing) {
            ++replacing;
            EXPECT_EQ(found, current + "\n") << "kill " << i << " while the new text was written";
        }
        if (at == Moment::Finished) {
            EXPECT_EQ(found, next + "\n") << "set " << i << " ended before its kill";
        }
        if (found == next + "\n") {
            current = next;
            ++changed;
        } else {
            ++kept;
        }
    }
    std::cout << kills << " kills: " << kept << " left the old value, " << changed << " the new; "
              << replacing << " landed while the new text was being written\n";
    // The spread is what makes this a test of the write: kills before the replacement
    // was in place, after it, and in the middle of writing it.
    EXPECT_GE(kept, 5);
    EXPECT_GE(changed, 5);
    EXPECT_GE(replacing, 5);
}

TEST_F(HiveWriteSafety, EightConcurrentSetsAllLand) {
    putFile(bigHive(200000, "old"));
    int gate[2];
    ASSERT_EQ(::pipe(gate), 0);
    std::vector<pid_t> writers;
    for (int w = 0; w < 8; ++w) {
        const pid_t writer = ::fork();
        if (writer == 0) {
            ::close(gate[1]);
            char byte;
            (void)::read(gate[0], &byte, 1);  // all start together when the gate closes
            int failures = 0;
            for (int round = 0; round < 5; ++round) {
                failures += run({"set", "machine", "Big", "writer" + std::to_string(w),
                                 "round" + std::to_string(round)}) != HiveToolOk;
            }
            ::_exit(failures);
        }
        writers.push_back(writer);
    }
    ::close(gate[0]);
    ::close(gate[1]);
    for (const pid_t writer : writers) {
        EXPECT_EQ(qn::test::waitForChild(writer), 0);
    }
    for (int w = 0; w < 8; ++w) {
        EXPECT_EQ(run({"get", "machine", "Big", "writer" + std::to_string(w)}), HiveToolOk);
        EXPECT_EQ(m_out, "round4\n");
    }
}

TEST_F(HiveWriteSafety, PrintRefusesKeysNestedBeyondItsLimit) {
    std::string deep;
    std::string tail;
    for (int i = 0; i < 37000; ++i) {
        deep += "<node name=\"k\">";
        tail += "</node>";
    }
    putFile(qn::test::hiveWithMachine(deep + tail + "\r\n"));
    std::string err;
    EXPECT_EQ(run({"print"}, &err), HiveToolNotAHive);
    EXPECT_EQ(err, m_hive + ": keys nested deeper than 1000 levels; not printed\n");
    EXPECT_EQ(m_out, "");
    EXPECT_EQ(run({"check"}), HiveToolOk);
}
