#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <vector>

#include "platform/LifetimeToken.h"
#include "platform/Registration.h"
#include "platform/linux/UniqueHandle.h"

namespace qn::platform {
namespace {

TEST(Registration, UnregistersOnceWhenItsOnlyOwnerGoes) {
    int removed = 0;
    {
        Registration first([&] { ++removed; });
        Registration moved(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_TRUE(moved);
        Registration assigned;
        assigned = std::move(moved);
        EXPECT_EQ(removed, 0);
    }
    EXPECT_EQ(removed, 1);

    // Taking another registration drops the one held.
    int a = 0, b = 0;
    Registration held([&] { ++a; });
    held = Registration([&] { ++b; });
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 0);
    held.reset();
    held.reset();
    EXPECT_EQ(b, 1);
}

TEST(LifetimeToken, GuardedWorkRunsOnlyWhileItsOwnerLives) {
    struct Owner {
        int calls = 0;
        LifetimeToken token;
    };
    std::function<void(int)> callback;
    std::optional<Owner> owner(std::in_place);
    callback = owner->token.guard(*owner, [](Owner& o, int by) { o.calls += by; });
    const LifetimeWatch watch = owner->token.watch();
    callback(2);
    EXPECT_EQ(owner->calls, 2);
    EXPECT_TRUE(watch.alive());
    owner.reset();
    // The host may still call; nothing happens and nothing freed is touched.
    callback(5);
    EXPECT_FALSE(watch.alive());
}

struct Handle {
    int unrefs = 0;
};
Handle* unrefHandle(Handle* handle) {
    ++handle->unrefs;
    return nullptr;
}
using HandlePtr = linux_host::UniqueHandle<Handle, unrefHandle>;

TEST(UniqueHandle, DropsEachReferenceOnceWithTheLibrarysUnref) {
    Handle a, b;
    {
        HandlePtr owner(&a);
        HandlePtr moved(std::move(owner));
        EXPECT_FALSE(owner);
        EXPECT_EQ(moved.get(), &a);
        EXPECT_EQ(a.unrefs, 0);
        // An out-parameter call drops what was held before the library fills the slot.
        Handle** slot = moved.receive();
        EXPECT_EQ(a.unrefs, 1);
        EXPECT_EQ(*slot, nullptr);
        *slot = &b;
    }
    EXPECT_EQ(a.unrefs, 1);
    EXPECT_EQ(b.unrefs, 1);
}

}  // namespace
}  // namespace qn::platform
