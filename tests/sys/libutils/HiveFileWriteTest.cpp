#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "sys/libutils/HiveFile.h"
#include "sys/libutils/PersistException.h"
#include "tests/sys/libutils/ChildProcess.h"
#include "tests/sys/libutils/HiveTestSupport.h"

using qn::sys::HiveFile;
using qn::sys::HiveWriteStep;

namespace {

class HiveFileWrite : public qn::test::HiveFixture {
  protected:
    std::size_t entriesInDirectory() const {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(m_dir)) {
            ++count;
        }
        return count;
    }
};

const std::string kOld = qn::test::hiveWithMachine("<value name=\"v\">old</value>\r\n");
const std::string kNew = qn::test::hiveWithMachine("<value name=\"v\">new, and longer</value>\r\n");

}  // namespace

TEST_F(HiveFileWrite, AWriterEndedAtEachStepLeavesTheOldOrTheNewFileWhole) {
    const struct {
        HiveWriteStep step;
        const std::string* expected;
    } cases[] = {
        {HiveWriteStep::TemporaryOpened, &kOld},
        {HiveWriteStep::HalfWritten, &kOld},
        {HiveWriteStep::Synced, &kOld},
        {HiveWriteStep::Renamed, &kNew},
    };
    for (const auto& c : cases) {
        putFile(kOld);
        const std::string report = qn::test::reportFromChild([&] {
            HiveFile::writeText(m_hive, kNew, [&](HiveWriteStep step) {
                if (step == c.step) {
                    ::_exit(0);  // as abrupt as a kill: no unwinding, no clean-up
                }
            });
            return std::string("the write ran past the step");
        });
        EXPECT_EQ(report, "the child ended without a report, status 0");
        EXPECT_EQ(fileText(), *c.expected) << static_cast<int>(c.step);
        // Only the hive: an abandoned new file leaves no name behind.
        EXPECT_EQ(entriesInDirectory(), 1U) << static_cast<int>(c.step);
    }
}

TEST_F(HiveFileWrite, KeepsModeOwnerAndTheSymbolicLink) {
    const std::filesystem::path real = m_dir / "real.xml";
    std::filesystem::create_directory(m_dir / "links");
    const std::filesystem::path link = m_dir / "links" / "hive.xml";
    std::filesystem::create_symlink("../real.xml", link);
    putFile(kOld);
    std::filesystem::rename(m_hive, real);
    ASSERT_EQ(::chmod(real.c_str(), 0640), 0);
    ASSERT_EQ(::chown(real.c_str(), 4321, 4322), 0) << "the test runs as root to give away files";

    HiveFile::writeText(link.string(), kNew);

    EXPECT_TRUE(std::filesystem::is_symlink(link));
    struct stat after {};
    ASSERT_EQ(::stat(real.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640U);
    EXPECT_EQ(after.st_uid, 4321U);
    EXPECT_EQ(after.st_gid, 4322U);
    std::ifstream in(real, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), kNew);
}

TEST_F(HiveFileWrite, RefusesAReadOnlyHiveAndSaysWhy) {
    putFile(kOld);
    ASSERT_EQ(::chmod(m_hive.c_str(), 0444), 0);
    try {
        HiveFile::writeText(m_hive, kNew);
        ADD_FAILURE() << "a read-only hive was replaced";
    } catch (const qn::sys::PersistWriteFailed& failure) {
        EXPECT_EQ(std::string(failure.what()), m_hive + " is read-only (mode 0444)");
    }
    EXPECT_EQ(fileText(), kOld);
}

TEST_F(HiveFileWrite, CreatesAMissingHiveThroughADanglingLink) {
    const std::filesystem::path link = m_dir / "link.xml";
    std::filesystem::create_symlink(".qn.xml", link);
    EXPECT_EQ(HiveFile::readText(link.string()), HiveFile::templateText());
    EXPECT_EQ(fileText(), HiveFile::templateText());
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    // A directory that does not exist gives the bare text callers expect.
    EXPECT_THROW(HiveFile::readText((m_dir / "missing" / "hive.xml").string()), const char*);
}
