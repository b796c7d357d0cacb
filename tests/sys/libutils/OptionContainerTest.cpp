#include <gtest/gtest.h>

#include "sys/libutils/CollectionImpl.h"
#include "sys/libutils/MapImpl.h"
#include "sys/libutils/MultiOption.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionString.h"
#include "sys/libutils/PointerMap.h"
#include "tests/sys/libutils/AssertTestSupport.h"
#include "tests/sys/libutils/HiveTestSupport.h"
#include "tests/sys/libutils/MemoryDataStore.h"

namespace qn::sys::option {
namespace {

using testing::MemoryDataStore;

// A list of texts; each element lies under its position.
class TextList : public CollectionImpl {
  public:
    using CollectionImpl::CollectionImpl;
    std::unique_ptr<Option> clone() const override { return std::make_unique<TextList>(*this); }

  protected:
    void listElements(DataStore& store, std::vector<std::string>& names) override {
        store.listValues(names);
    }
    std::unique_ptr<Option> createElement(const std::string& name) override {
        return std::make_unique<String>(name, "", "", "");
    }
};

class NumberMap : public MapImpl {
  public:
    using MapImpl::MapImpl;
    std::unique_ptr<Option> clone() const override { return std::make_unique<NumberMap>(*this); }

  protected:
    void listElements(DataStore& store, std::vector<std::string>& names) override {
        store.listValues(names);
    }
    std::unique_ptr<Option> createElement(const std::string& name) override {
        return std::make_unique<Int>(name, 0, "", "");
    }
};

// Elements are texts or numbers; a Directory has no type text and is never saved.
class MixedMap : public PointerMap {
  public:
    using PointerMap::PointerMap;
    std::unique_ptr<Option> clone() const override { return std::make_unique<MixedMap>(*this); }

  protected:
    std::unique_ptr<Option> createForType(const std::string& typeName) override {
        if (typeName == "int") {
            return std::make_unique<Int>("", 0, "", "");
        }
        if (typeName == "string") {
            return std::make_unique<String>("", "", "", "");
        }
        return nullptr;
    }
    std::string getTypeOf(const Option& option) const override {
        if (dynamic_cast<const Directory*>(&option) != nullptr) {
            return "";
        }
        if (dynamic_cast<const String*>(&option) != nullptr) {
            return "string";
        }
        return dynamic_cast<const Int*>(&option) != nullptr ? "int" : "";
    }
};

TEST(OptionContainer, CompositeKeepsItsMembersInASubKey) {
    Composite view("view", "the view");
    String* colour = static_cast<String*>(view.add(String("colour", "red", "", "C")));
    Int* width = static_cast<Int*>(view.add(Int("width", 10, "", "W")));
    EXPECT_EQ(view.getOption("width"), width);
    EXPECT_EQ(view.getOption("none"), nullptr);

    MemoryDataStore store;
    view.load(store);  // no sub-key: nothing happens
    EXPECT_EQ(colour->get(), "red");
    view.save(store);  // the sub-key is made, but no default reaches it
    ASSERT_TRUE(store.hasChild("view"));
    EXPECT_TRUE(store.child("view").values().empty());

    width->set(640);
    view.save(store);
    EXPECT_EQ(store.child("view").values().at("width"), "640");
    store.child("view").put("colour", "blue");
    view.load(store);
    EXPECT_EQ(colour->get(), "blue");
    EXPECT_EQ(view.getCommandLine(), "-colour blue -width 640 ");

    // A copy is deep: changing it leaves the original alone.
    Composite copy(view);
    static_cast<Int*>(copy.getOption("width"))->set(1);
    EXPECT_EQ(width->get(), 640);

    view.forget(store);
    EXPECT_FALSE(store.hasChild("view"));
}

TEST(OptionContainer, CollectionSavesByPositionAndLoadReplacesAll) {
    TextList list("names", "");
    list.add(String("first", "a", "", ""))->setName("first");
    static_cast<String*>(list.addNew())->set("b");
    static_cast<String*>(&list.at(0))->set("a");

    MemoryDataStore store;
    list.save(store);
    EXPECT_EQ(store.child("names").values(),
              (std::map<std::string, std::string>{{"0", "a"}, {"1", "b"}}));

    // An absent key keeps the members; a present one replaces them all.
    TextList other("other", "");
    other.add(String("keep", "k", "", ""));
    other.load(store);
    ASSERT_EQ(other.size(), 1u);
    EXPECT_EQ(other.at(0).getName(), "keep");
    TextList loaded("names", "");
    loaded.add(String("gone", "", "", ""));
    loaded.load(store);
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded.at(1).getValueText(), "b");

    // Saving an empty list leaves an empty key.
    loaded.remove("0");
    loaded.removeAt(0);
    EXPECT_EQ(loaded.size(), 0u);
    loaded.save(store);
    ASSERT_TRUE(store.hasChild("names"));
    EXPECT_TRUE(store.child("names").values().empty());
}

TEST(OptionContainer, MapIndexFollowsAddRemoveAndLoad) {
    NumberMap map("sizes", "");
    Int small("small", 1, "", "");
    small.set(1);
    map.add(small);
    map.adopt(std::make_unique<Int>("big", 9, "", ""));
    EXPECT_TRUE(map.find("big"));
    EXPECT_EQ(map.get("small")->getValueText(), "1");
    map.remove("big");
    EXPECT_FALSE(map.find("big"));

    MemoryDataStore store;
    map.save(store);
    EXPECT_EQ(store.child("sizes").values(), (std::map<std::string, std::string>{{"small", "1"}}));
    store.child("sizes").put("medium", "5");
    NumberMap loaded("sizes", "");
    loaded.load(store);
    ASSERT_TRUE(loaded.find("medium"));
    EXPECT_EQ(loaded.get("medium")->getValueText(), "5");
    EXPECT_EQ(loaded.size(), 2u);
    NumberMap copy(loaded);
    EXPECT_NE(copy.get("medium"), loaded.get("medium"));
    loaded.removeAt(0);
    EXPECT_EQ(loaded.size(), 1u);
}

TEST(OptionContainer, PointerMapStoresTypeAndValueAndSkipsUntyped) {
    MixedMap map("mixed", "");
    Int count("count", 0, "", "");
    count.set(3);
    String label("label", "", "", "");
    label.set("hi");
    map.add(count);
    map.add(label);
    map.add(Directory("where", "/tmp", "", ""));

    MemoryDataStore store;
    map.save(store);
    MemoryDataStore& saved = store.child("mixed");
    EXPECT_EQ(saved.childCount(), 2u);
    EXPECT_EQ(saved.child("count").values(),
              (std::map<std::string, std::string>{{"type", "int"}, {"value", "3"}}));

    saved.child("odd").put("type", "unknown");
    MixedMap loaded("mixed", "");
    loaded.load(store);
    EXPECT_EQ(loaded.size(), 2u);
    ASSERT_TRUE(loaded.find("label"));
    EXPECT_EQ(loaded.get("label")->getValueText(), "hi");
    EXPECT_NE(dynamic_cast<Int*>(loaded.get("count")), nullptr);
}

class OptionAssertion : public qn::test::HiveFixture {};

TEST_F(OptionAssertion, DuplicateCompositeMemberIsReportedUnderTheOptionSource) {
    testing::setAssertBehaviour(4);
    Composite view("view", "");
    view.add(String("colour", "", "", ""));
    ::testing::internal::CaptureStderr();
    view.add(String("colour", "", "", ""));
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.rfind("Assert failure: getOption(prototypeInstance.getName()) == 0 at line ", 0),
              0u)
        << said;
    EXPECT_NE(said.find(" in file sys/libutils/Option"), std::string::npos) << said;
    // The assertion returns; the code behind it goes on.
    EXPECT_EQ(view.size(), 2u);
}

}  // namespace
}  // namespace qn::sys::option
