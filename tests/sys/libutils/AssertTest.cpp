#include <gtest/gtest.h>

#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"
#include "sys/libutils/posix/qnassert.h"
#include "tests/sys/libutils/AssertTestSupport.h"
#include "tests/sys/libutils/HiveTestSupport.h"
#include "tests/sys/libutils/SeamCapture.h"

namespace qn::sys {
namespace {

// Every module's lines go to one recorder; modules named in `quiet` are set to FATAL.
struct Recorder : Logger::Output {
    void write(std::int64_t, std::int32_t level, const char*, std::int32_t,
               const std::string& module, const std::string&, const char*,
               const std::string& message) override {
        lines.push_back(module + ":" + std::to_string(level) + ":" + message);
    }
    std::vector<std::string> lines;
};

struct RecordingConfiguration : LoggerConfiguration {
    void resolveModule(Logger&, const std::string& module, std::int32_t& level,
                       Logger::OutputLevels& outputs) override {
        level = module == quiet ? Logger::FATAL : Logger::VERBOSE;
        outputs.emplace_back(&recorder, Logger::VERBOSE);
    }
    Recorder recorder;
    std::string quiet;
};

class Assertion : public qn::test::HiveFixture {
  protected:
    void SetUp() override {
        HiveFixture::SetUp();
        auto config = std::make_unique<RecordingConfiguration>();
        m_config = config.get();
        m_logger = std::make_unique<Logger>("test", Logger::VERBOSE, false, false, nullptr,
                                            std::move(config));
        // After the logger, which puts its own sink on the seam as it starts.
        m_seam = std::make_unique<testing::SeamCapture>();
    }

    // The recorded lines that are not the logger's banner.
    std::vector<std::string> logged() const {
        std::vector<std::string> lines;
        for (const auto& line : m_config->recorder.lines) {
            if (line.rfind("test:", 0) != 0) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    // Fails an assertion and returns what reached the standard error.
    std::string failOnce(int& line) {
        ::testing::internal::CaptureStderr();
        const int one = 1;
        QN_ASSERT(one == 2);
        line = __LINE__ - 1;
        return ::testing::internal::GetCapturedStderr();
    }

    RecordingConfiguration* m_config = nullptr;
    std::unique_ptr<Logger> m_logger;
    std::unique_ptr<testing::SeamCapture> m_seam;
};

TEST_F(Assertion, DefaultLogsAndCallsTheCrashDumpHookThenGoesOn) {
    int line = 0;
    EXPECT_EQ(failOnce(line), "");
    const std::vector<std::string> expected{"AssertLogger:2:Assert failure: one == 2 at line " +
                                            std::to_string(line) +
                                            " in file tests/sys/libutils/AssertTest.cpp"};
    EXPECT_EQ(logged(), expected);
    ASSERT_EQ(m_seam->lines().size(), 1u);
    EXPECT_EQ(m_seam->lines()[0].module, "AssertCrashDumper");
    EXPECT_EQ(m_seam->lines()[0].message, "dumpOSCore called - not yet implemented");
}

TEST_F(Assertion, ZeroDoesNothingAndTheMaskIsReadAtEachFailure) {
    testing::setAssertBehaviour(0);
    int line = 0;
    EXPECT_EQ(failOnce(line), "");
    EXPECT_TRUE(logged().empty());
    EXPECT_TRUE(m_seam->lines().empty());

    // Other bits than the four are ignored.
    testing::setAssertBehaviour(16 | 1);
    failOnce(line);
    EXPECT_EQ(logged().size(), 1u);
    EXPECT_TRUE(m_seam->lines().empty());
}

TEST_F(Assertion, LoggerModuleAtFatalWritesNoLine) {
    m_config->quiet = "AssertLogger";
    int line = 0;
    failOnce(line);
    EXPECT_TRUE(logged().empty());
    EXPECT_EQ(m_seam->lines().size(), 1u);
}

TEST_F(Assertion, FourTellsTheUserOnStandardErrorWithoutNewline) {
    testing::setAssertBehaviour(4);
    int line = 0;
    const std::string said = failOnce(line);
    EXPECT_EQ(said, "Assert failure: one == 2 at line " + std::to_string(line) +
                        " in file tests/sys/libutils/AssertTest.cpp");
    EXPECT_EQ(logged(),
              std::vector<std::string>{"AssertMessager:6:Warning user of assert failure."});

    // Wide text leaves the stream in hexadecimal, which the line number then shows.
    ::testing::internal::CaptureStderr();
    assertFailed(L"a\u00e9b", L"f", 255);
    std::cerr << std::dec;
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Assert failure: ae9b at line ff in file f");
}

TEST_F(Assertion, TwelveTellsTheUserThenAborts) {
    testing::setAssertBehaviour(12);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const int one = 1;
            QN_ASSERT(one == 3);
        },
        "^Assert failure: one == 3 at line [0-9]+ in file tests/sys/libutils/AssertTest.cpp$");
}

}  // namespace
}  // namespace qn::sys
