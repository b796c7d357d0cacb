#include "platform/Value.h"

#include <gtest/gtest.h>

namespace qn::platform {
namespace {

TEST(ValueTest, BooleanFalseIsOneObjectThatANumberZeroOrAMissingKeyIsNot) {
    Value session = Value::dictionary();
    session.set("kCGSessionLoginDoneKey", Value::boolean(false));
    session.set("zero", Value::number(std::int64_t{0}));

    EXPECT_TRUE(session.get("kCGSessionLoginDoneKey").isSameObject(kCFBooleanFalse()));
    EXPECT_FALSE(session.get("zero").isSameObject(kCFBooleanFalse()));
    EXPECT_FALSE(session.get("absent").isSameObject(kCFBooleanFalse()));
    EXPECT_FALSE(session.get("zero").boolValue());
    EXPECT_EQ(CFGetTypeID(session.get("zero")), CFNumberGetTypeID());
}

TEST(ValueTest, ChangingACopyLeavesTheOriginalAlone) {
    Value matching = Value::dictionary();
    matching.set("IOProviderClass", Value::string("QuintorParent"));
    Value copy = matching;
    copy.set("IOPropertyMatch", Value::dictionary());
    EXPECT_EQ(matching.count(), 1u);
    EXPECT_EQ(copy.count(), 2u);
    EXPECT_NE(matching, copy);
}

TEST(ValueTest, NumbersConvertTheWayTheHostsAccessorsDo) {
    EXPECT_EQ(Value::number(-1.7).intValue(), -1);
    EXPECT_EQ(Value::number(std::int64_t{-1}).unsignedIntValue(), 0xFFFFFFFFu);
    EXPECT_EQ(Value::number(std::int64_t{1} << 40).intValue(), 0);
    EXPECT_EQ(Value::number(2.0), Value::number(std::int64_t{2}));
    EXPECT_EQ(Value::string("x").longLongValue(), 0);
}

}  // namespace
}  // namespace qn::platform
