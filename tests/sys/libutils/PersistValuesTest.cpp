#include "sys/libutils/PersistValues.h"

#include <gtest/gtest.h>

#include <string>

#include "sys/libutils/PersistException.h"

using namespace qn::sys;

TEST(PersistValues, NumbersAreAtoiOfTheText) {
    PersistValues values;
    values.setString("mixed", "12abc");
    values.setString("word", "abc");
    values.setInt("negative", -42);
    EXPECT_EQ(values.getInt("mixed"), 12);
    EXPECT_EQ(values.getInt("word"), 0);
    EXPECT_EQ(values.getString("negative"), "-42");
    EXPECT_EQ(values.getInt("absent", 7), 7);
    EXPECT_THROW(values.getInt("absent"), PersistNotFound);
}

TEST(PersistValues, BooleansLookAtTheFirstLetter) {
    PersistValues values;
    for (const char* yes : {"Yes", "y", "TRUE", "t1"}) {
        values.setString("b", yes);
        EXPECT_TRUE(values.getBool("b")) << yes;
    }
    for (const char* no : {"1", "on", "no", ""}) {
        values.setString("b", no);
        EXPECT_FALSE(values.getBool("b")) << no;
    }
    values.setBool("flag", true);
    EXPECT_EQ(values.getString("flag"), "yes");
    values.setBool("flag", false);
    EXPECT_EQ(values.getString("flag"), "no");
    EXPECT_TRUE(values.getBool("absent", true));
}

TEST(PersistValues, FallbacksDifferOnSubKeys) {
    PersistValues values;
    values.setEntry("key", PersistEntry::subKey());
    EXPECT_TRUE(values.exists("key"));
    EXPECT_TRUE(values.isSubKey("key"));
    EXPECT_FALSE(values.isValue("key"));
    EXPECT_EQ(values.getString("key", "fallback"), "fallback");
    EXPECT_THROW(values.getString("key"), PersistBadLeaf);
    EXPECT_THROW(values.getInt("key", 1), PersistBadLeaf);
    EXPECT_THROW(values.getBool("key", true), PersistBadLeaf);
    values.setString("key", "now a leaf");
    EXPECT_TRUE(values.isValue("key"));
}

TEST(PersistValues, MergeNeverOverwritesAndEraseIsQuiet) {
    PersistValues mine;
    mine.setString("a", "mine");
    PersistValues theirs;
    theirs.setString("a", "theirs");
    theirs.setEntry("b", PersistEntry::subKey());
    mine.merge(theirs);
    EXPECT_EQ(mine.getString("a"), "mine");
    EXPECT_TRUE(mine.isSubKey("b"));
    mine.erase("b");
    mine.erase("never there");
    EXPECT_EQ(mine.size(), 1u);
}

TEST(PersistEntry, ValueOfSubKeyThrowsAndTextsAreFixed) {
    PersistEntry key;
    EXPECT_FALSE(key.isLeaf());
    EXPECT_THROW(key.value(), PersistBadLeaf);
    EXPECT_THROW(key.setValue("x"), PersistBadLeaf);
    PersistEntry leaf = PersistEntry::leaf("v");
    leaf.setValue("w");
    EXPECT_EQ(leaf.value(), "w");
    EXPECT_STREQ(PersistNotFound().what(), "Persistent value not found");
    EXPECT_STREQ(PersistBadLeaf().what(), "Persistent name is not a leaf");
    EXPECT_STREQ(PersistBadFlags().what(), "PersistFlags not valid for operation");
    EXPECT_STREQ(PersistBadAccess().what(), "Persistent access failure");
}
