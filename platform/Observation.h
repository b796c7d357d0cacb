#pragma once
// An observer's registration on a notification centre, as an owned Registration:
// dropping it removes exactly that registration.

#include <string>

#include "platform/Foundation.h"
#include "platform/Registration.h"

namespace qn::platform {

inline Registration observe(NSNotificationCenter& center, const void* observer,
                            NSNotificationHandler selector, const std::string& name,
                            const void* object) {
    center.addObserver(observer, std::move(selector), name, object);
    return Registration(
        [&center, observer, name, object] { center.removeObserver(observer, name, object); });
}

}  // namespace qn::platform
