#include "sys/libutils/Event.h"

#include <gtest/gtest.h>

#include <functional>

#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"
#include "tests/sys/libutils/HiveTestSupport.h"

namespace qn::sys {
namespace {

struct Tick {
    int n = 0;
};
using Ticks = EventTemplate<Tick>;

// Counts the list's transitions.
struct CountingSource : Ticks::Source {
    void firstHandlerAdded() override { ++firsts; }
    void lastHandlerRemoved() override { ++lasts; }
    int firsts = 0;
    int lasts = 0;
};

struct Named : Ticks::Handler {
    Named(std::vector<std::string>& seen, std::string name) : seen(seen), name(std::move(name)) {}
    void handle(Ticks::Source&, const Tick& tick) override {
        seen.push_back(name + std::to_string(tick.n));
        if (onHandle) {
            onHandle();
        }
    }
    std::vector<std::string>& seen;
    std::string name;
    std::function<void()> onHandle;
};

TEST(EventTemplate, HandlersRunInOrderFromACopyOfTheList) {
    std::vector<std::string> seen;
    CountingSource source;
    Named a(seen, "a"), b(seen, "b"), c(seen, "c");
    a.addedToSource(source);
    source.addHandler(&b);
    EXPECT_EQ(source.firsts, 1);
    // a removes b and adds c while the event is delivered: this event still reaches b and
    // not c; the next one reaches a and c.
    bool changed = false;
    a.onHandle = [&] {
        if (!changed) {
            changed = true;
            source.removeHandler(&b);
            source.addHandler(&c);
        }
    };
    source.fire(Tick{1});
    source.fire(Tick{2});
    EXPECT_EQ(seen, (std::vector<std::string>{"a1", "b1", "a2", "c2"}));
    EXPECT_TRUE(source.hasHandlers());
    a.removedFromSource(source);
    source.removeHandler(&c);
    EXPECT_FALSE(source.hasHandlers());
    EXPECT_EQ(source.firsts, 1);
    EXPECT_EQ(source.lasts, 1);
}

// Every module's lines go to one recorder.
struct Recorder : Logger::Output {
    void write(std::int64_t, std::int32_t, const char*, std::int32_t, const std::string& module,
               const std::string&, const char*, const std::string& message) override {
        if (module == "AssertLogger") {
            lines.push_back(message);
        }
    }
    std::vector<std::string> lines;
};

struct RecordingConfiguration : LoggerConfiguration {
    void resolveModule(Logger&, const std::string&, std::int32_t& level,
                       Logger::OutputLevels& outputs) override {
        level = Logger::VERBOSE;
        outputs.emplace_back(&recorder, Logger::VERBOSE);
    }
    Recorder recorder;
};

class EventAssertion : public qn::test::HiveFixture {
  protected:
    void SetUp() override {
        HiveFixture::SetUp();
        auto config = std::make_unique<RecordingConfiguration>();
        m_config = config.get();
        m_logger = std::make_unique<Logger>("test", Logger::VERBOSE, false, false, nullptr,
                                            std::move(config));
    }
    // The assertion texts, with the line number taken out.
    std::vector<std::string> failures() const {
        std::vector<std::string> out;
        for (auto line : m_config->recorder.lines) {
            const auto at = line.find(" at line ");
            const auto in = line.find(" in file ");
            if (at != std::string::npos && in != std::string::npos) {
                line.erase(at, in - at);
            }
            out.push_back(line);
        }
        return out;
    }
    RecordingConfiguration* m_config = nullptr;
    std::unique_ptr<Logger> m_logger;
};

TEST_F(EventAssertion, MisuseFailsTheNamedAssertionsAndChangesNothing) {
    std::vector<std::string> seen;
    Named a(seen, "a"), never(seen, "never");
    {
        CountingSource source;
        source.addHandler(nullptr);
        source.removeHandler(nullptr);
        // Removing a handler that was never added.
        source.removeHandler(&never);
        EXPECT_EQ(source.firsts, 0);
        EXPECT_EQ(source.lasts, 0);
        EXPECT_FALSE(source.hasHandlers());
        source.addHandler(&a);
        // Goes with a handler left.
    }
    EXPECT_EQ(failures(), (std::vector<std::string>{
                              "Assert failure: handler in file sys/libutils/Event",
                              "Assert failure: handler in file sys/libutils/Event",
                              "Assert failure: i != m_handlers.end() in file sys/libutils/Event",
                              "Assert failure: !hasHandlers() in file sys/libutils/Event"}));
}

}  // namespace
}  // namespace qn::sys
