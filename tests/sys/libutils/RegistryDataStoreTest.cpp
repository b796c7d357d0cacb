#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sys/libutils/GroupOption.h"
#include "sys/libutils/MultiOption.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionString.h"
#include "sys/libutils/PersistException.h"
#include "sys/libutils/PersistTree.h"
#include "sys/libutils/RegistryDataStore.h"
#include "tests/sys/libutils/HiveTestSupport.h"

namespace qn::sys::option {
namespace {

class RegistryStore : public qn::test::HiveFixture {
  protected:
    // Plants a value in a section of key `key`, as another program would have.
    void plant(const std::string& key, const std::string& name, const std::string& text,
               PersistFlags section) {
        PersistTree tree(key);
        PersistValues values = tree.read(section);
        values.setString(name, text);
        tree.write(values, section);
    }
    void plantSubKey(const std::string& key, const std::string& name, PersistFlags section) {
        PersistTree parent(key);
        PersistTree child(parent, name);
        PersistValues values;
        values.setString("inside", "1");
        child.write(values, section);
    }
};

TEST_F(RegistryStore, PrecedenceIsDefaultThenStoreThenCommandLineAndOnlyProgramValuesPersist) {
    plant("App", "n", "7", PersistLocalMachine);
    GroupOption group("App", "App", "");
    Int n("n", 1, "", "N");
    Int m("m", 2, "", "M");
    String s("s", "", "", "S");
    group.add(n);
    group.add(m);
    group.add(s);
    EXPECT_EQ(n.get(), 7);
    EXPECT_EQ(n.getSource(), SourceMachineStore);
    EXPECT_EQ(m.get(), 2);
    EXPECT_EQ(m.getSource(), SourceDefault);

    ::testing::internal::CaptureStdout();
    group.parse("-n 9 -m 3");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(n.get(), 9);
    EXPECT_EQ(m.get(), 3);

    const std::string before = fileText();
    group.save(group.store());
    EXPECT_EQ(fileText(), before);

    s.set("chosen");
    group.save(group.store());
    PersistTree tree("App");
    EXPECT_EQ(tree.read(PersistCurrentUser).getString("s", "?"), "chosen");
    EXPECT_FALSE(tree.read(PersistCurrentUser).exists("n"));
    EXPECT_FALSE(tree.read(PersistCurrentUser).exists("m"));
    EXPECT_EQ(tree.read(PersistLocalMachine).getString("n", "?"), "7");
}

TEST_F(RegistryStore, PerUserStoreAnswersFromTheUserSectionFirst) {
    plant("App", "colour", "machine", PersistLocalMachine);
    plant("App", "colour", "user", PersistCurrentUser);
    plantSubKey("App", "view", PersistCurrentUser);
    plant("App", "view", "machine view", PersistLocalMachine);

    RegistryDataStore perUser("App", true);
    RegistryDataStore machine("App", false);
    EXPECT_EQ(perUser.getValue("colour"), std::make_pair(SourceUserStore, std::string("user")));
    EXPECT_EQ(machine.getValue("colour"),
              std::make_pair(SourceMachineStore, std::string("machine")));
    // A sub-key of that name in the user section: the machine's value answers.
    EXPECT_EQ(perUser.getValue("view"),
              std::make_pair(SourceMachineStore, std::string("machine view")));
    EXPECT_EQ(perUser.getValue("none").first, SourceNone);

    std::vector<std::string> names;
    perUser.listValues(names);
    EXPECT_EQ(names, (std::vector<std::string>{"colour", "colour", "view"}));
    names.clear();
    perUser.listChildren(names);
    EXPECT_EQ(names, std::vector<std::string>{"view"});

    // Only a key is a child; the user's is found although the machine's is a value.
    EXPECT_EQ(machine.getChild("colour", false), nullptr);
    DataStore* view = perUser.getChild("view", false);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->getValue("inside").second, "1");
    EXPECT_EQ(perUser.getChild("view", false), view);
}

TEST_F(RegistryStore, NewChildKeyReachesTheFileWithItsFirstValue) {
    RegistryDataStore store("App", true);
    DataStore* child = store.getChild("fresh", true);
    ASSERT_NE(child, nullptr);
    EXPECT_FALSE(PersistTree("App").read(PersistCurrentUser).exists("fresh"));
    child->setValue("v", "1", SourceCommandLine);
    EXPECT_FALSE(PersistTree("App").read(PersistCurrentUser).exists("fresh"));
    EXPECT_EQ(child->getValue("v").first, SourceNone);
    child->setValue("v", "1", SourceProgram);
    EXPECT_EQ(child->getValue("v"), std::make_pair(SourceUserStore, std::string("1")));
    PersistTree parent("App");
    EXPECT_EQ(PersistTree(parent, "fresh").read(PersistCurrentUser).getString("v", "?"), "1");

    // A composite saves into its own sub-key of the store.
    Composite view("view", "");
    Int* width = static_cast<Int*>(view.add(Int("width", 0, "", "")));
    width->set(800);
    view.save(store);
    EXPECT_EQ(PersistTree(parent, "view").read(PersistCurrentUser).getString("width", "?"), "800");
}

TEST_F(RegistryStore, RemovedValueReturnsAtRefreshSinceTheHiveKeepsIt) {
    plant("App", "keep", "here", PersistLocalMachine);
    RegistryDataStore store("App", false);
    store.remove("keep");
    EXPECT_EQ(store.getValue("keep").first, SourceNone);
    store.refresh();
    EXPECT_EQ(store.getValue("keep").second, "here");

    VolatileRegistryDataStore marked("Temp", false);
    marked.setValue("x", "1", SourceProgram);
    VolatileRegistryDataStore again("Temp", false);
    EXPECT_EQ(again.getValue("x").second, "1");
}

TEST_F(RegistryStore, AValueTheHiveCannotTakeIsKeptInMemory) {
    plant("App", "colour", "old", PersistCurrentUser);
    RegistryDataStore store("App", true);
    // Read-only by its mode: refused by the hive itself, for root as for anyone.
    ASSERT_EQ(::chmod(m_hive.c_str(), 0400), 0);
    PersistTree tree("App");
    ASSERT_THROW(tree.write(tree.read(PersistCurrentUser), PersistCurrentUser), PersistWriteFailed);
    const std::string before = fileText();

    store.setValue("colour", "new", SourceProgram);
    EXPECT_EQ(store.getValue("colour"), std::make_pair(SourceUserStore, std::string("new")));
    EXPECT_EQ(fileText(), before);
    // Until the store reads the hive again.
    store.refresh();
    EXPECT_EQ(store.getValue("colour").second, "old");
}

}  // namespace
}  // namespace qn::sys::option
