#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/Exception.h"
#include "sys/libutils/InstrumentationDirectory.h"
#include "sys/libutils/InstrumentationManager.h"
#include "sys/libutils/InstrumentationReader.h"
#include "sys/libutils/InstrumentedValue.h"

namespace qn::sys::instrumentation {
namespace {

// Names of this process alone, so that tests running side by side never meet.
std::string unique(const std::string& what) {
    return "qntest_" + what + "_" + std::to_string(::getpid());
}

std::uint32_t codeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const MessageException& failure) {
        return failure.code();
    }
    return 0;
}

class Counting : public Instrumented {
  public:
    Counting(Manager* manager, const std::string& module, const std::string& instance)
        : Identity(module, instance), Instrumented(manager) {}
};

TEST(InstrumentationDirectory, HoldsTwentyNamesOfAtMostHundredCharacters) {
    Directory directory(unique("dir"));
    EXPECT_TRUE(directory.isShared());
    directory.add(std::string(100, 'n'));
    EXPECT_EQ(codeOf([&] { directory.add(std::string(101, 'n')); }), 35u);
    EXPECT_EQ(codeOf([&] { directory.add(std::string(100, 'n')); }), 38u);
    for (int i = 1; i < 20; ++i) {
        directory.add("p" + std::to_string(i));
    }
    EXPECT_EQ(codeOf([&] { directory.add("p21"); }), 36u);
    EXPECT_EQ(directory.list().size(), 20u);
    directory.remove("p1");
    directory.remove("absent");
    const auto names = directory.list();
    ASSERT_EQ(names.size(), 19u);
    EXPECT_EQ(names[1], "p2");
}

// A directory that already holds `taken` and fills up with others to `count`.
std::unique_ptr<Directory> prefilled(const std::string& name, const std::string& taken, int count) {
    auto directory = std::make_unique<Directory>(name);
    directory->add(taken);
    for (int i = 1; i < count; ++i) {
        directory->add("other" + std::to_string(i));
    }
    return directory;
}

TEST(InstrumentationManager, FullDirectoryMovesThroughNumberedNamesAndGivesUpAfterTen) {
    const std::string dir = unique("full");
    std::vector<std::string> tried;
    const auto make = [&](const std::string& name) {
        tried.push_back(name);
        return std::make_unique<Manager>(prefilled(dir, "someone", 20), name, 4);
    };
    EXPECT_EQ(codeOf([&] { Manager::createWithFallback("agent", make); }), 36u);
    ASSERT_EQ(tried.size(), 10u);
    EXPECT_EQ(tried[1], "agent#1");
    EXPECT_EQ(tried[9], "agent#9");

    // A name in use moves on to the next one.
    tried.clear();
    auto manager = Manager::createWithFallback("agent", [&](const std::string& name) {
        tried.push_back(name);
        return std::make_unique<Manager>(prefilled(dir, "agent", 5), name, 4);
    });
    EXPECT_EQ(tried, (std::vector<std::string>{"agent", "agent#1"}));
    EXPECT_EQ(manager->name(), "agent#1");
}

TEST(InstrumentationManager, VariableBeyondTheTableOrWithATakenNameCountsPrivately) {
    Manager manager(unique("vars"), unique("proc"), 400);
    Counting owner(&manager, "Mod", "one");
    std::vector<std::unique_ptr<InstrumentedValueA>> values;
    for (int i = 0; i < 400; ++i) {
        values.push_back(std::make_unique<InstrumentedValueA>(&owner, "v" + std::to_string(i), i));
        ASSERT_TRUE(values.back()->hasSlot()) << i;
    }
    EXPECT_EQ(manager.freeSlots(), 0u);
    InstrumentedValueA extra(&owner, "v400", 41);
    EXPECT_FALSE(extra.hasSlot());
    ++extra;
    EXPECT_EQ(extra.get(), 42);

    // A freed slot is the next one taken.
    values.pop_back();
    EXPECT_EQ(manager.freeSlots(), 1u);
    InstrumentedValue64 wide(&owner, "wide", 1);
    EXPECT_TRUE(wide.hasSlot());

    // Same module, instance and name: the second one is private.
    InstrumentedValueB first(&owner, "v0", 0);
    EXPECT_FALSE(first.hasSlot());
    first += 5;
    EXPECT_EQ(values[0]->get(), 0);
    EXPECT_EQ(first.get(), 5);
}

TEST(InstrumentationManager, RegionHoldsNamedValuesThatAnotherReaderSees) {
    const std::string dir = unique("region");
    const std::string name = unique("proc");
    Manager manager(dir, name, 8);
    Counting owner(&manager, "Frame Updater", "7");
    InstrumentedValueA frames(&owner, "frames sent", 3);
    InstrumentedValue64 bytes(&owner, "bytes", 1);
    frames++;
    --frames;
    frames += 10;
    bytes = std::int64_t(1) << 40;
    EXPECT_EQ(frames++, 13);

    InstrumentationReader reader(dir);
    EXPECT_EQ(reader.processes(), std::vector<std::string>{name});
    const auto region = reader.read(name);
    EXPECT_EQ(region.slots, 8u);
    EXPECT_EQ(region.freeSlots, 6u);
    ASSERT_EQ(region.variables.size(), 2u);
    EXPECT_EQ(region.variables[0].name, "Frame_Updater|7|frames_sent");
    EXPECT_EQ(region.variables[0].value, 14);
    EXPECT_EQ(region.variables[1].kind, layout::Kind::Wide);
    EXPECT_EQ(region.variables[1].value, std::int64_t(1) << 40);
}

TEST(InstrumentationManager, SecondProcessReadsTheCountersWhileTheFirstWritesThem) {
    const std::string dir = unique("live");
    const std::string name = unique("writer");
    Manager manager(dir, name, 4);
    Counting owner(&manager, "Live", "0");
    InstrumentedValue64 counter(&owner, "ticks", 0);
    constexpr std::int64_t kSteps = 5;
    constexpr std::int64_t kRun = 200000;

    int toReader[2];
    int toWriter[2];
    ASSERT_EQ(::pipe(toReader), 0);
    ASSERT_EQ(::pipe(toWriter), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The reader: each step must be seen as written, then the free run
        // must never go backwards and must end at its last value.
        int status = 0;
        try {
            InstrumentationReader reader(dir);
            auto value = [&] { return reader.read(name).variables.at(0).value; };
            char step = 0;
            for (std::int64_t i = 1; i <= kSteps && status == 0; ++i) {
                if (::read(toReader[0], &step, 1) != 1 || value() != i) {
                    status = 1;
                }
                if (::write(toWriter[1], "k", 1) != 1) {
                    status = 2;
                }
            }
            std::int64_t last = 0;
            while (status == 0 && last != kSteps + kRun) {
                const std::int64_t now = value();
                if (now < last) {
                    status = 3;
                }
                last = now;
            }
        } catch (...) {
            status = 4;
        }
        ::_exit(status);
    }
    char ack = 0;
    for (std::int64_t i = 1; i <= kSteps; ++i) {
        counter = i;
        ASSERT_EQ(::write(toReader[1], "s", 1), 1);
        ASSERT_EQ(::read(toWriter[0], &ack, 1), 1);
    }
    for (std::int64_t i = 0; i < kRun; ++i) {
        ++counter;
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    for (int fd : {toReader[0], toReader[1], toWriter[0], toWriter[1]}) {
        ::close(fd);
    }
}

TEST(InstrumentationManager, ReaderRefusesAGoneProcessAndTheManagerLeavesTheDirectory) {
    const std::string dir = unique("gone");
    InstrumentationReader reader(dir);
    {
        Manager manager(dir, unique("short"), 2);
        EXPECT_EQ(reader.processes().size(), 1u);
    }
    EXPECT_THROW(reader.read(unique("short")), ErrorCodeException);
    EXPECT_THROW(reader.processes(), ErrorCodeException);
}

}  // namespace
}  // namespace qn::sys::instrumentation
