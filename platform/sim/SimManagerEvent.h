#pragma once
// One line of the simulated Manager's transcript.

#include <string>
#include <vector>

#include "platform/Value.h"

namespace qn::platform::sim {

struct SimManagerEvent {
    enum class Kind {
        Lookup,      // name: the registered name; found: whether a proxy was given
        Call,        // name: the selector; arguments; raised: the reason, if it raised
        Post,        // name: the notification; userInfo
        Died,        // the Manager went away
        Registered,  // the Manager (again) owns its name
    };
    Kind kind = Kind::Call;
    double time = 0;
    std::string name;
    std::vector<Value> arguments;
    Value userInfo;
    bool found = false;
    // For calls: false when the connection was already dead and the Manager never saw it.
    bool delivered = true;
    std::string raised;

    static SimManagerEvent make(Kind kind, double time, std::string name = {}) {
        SimManagerEvent event;
        event.kind = kind;
        event.time = time;
        event.name = std::move(name);
        return event;
    }
};

}  // namespace qn::platform::sim
