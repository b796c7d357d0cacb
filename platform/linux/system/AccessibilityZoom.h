#pragma once
// UAZoomEnabled. No desktop-neutral way tells whether a screen magnifier runs, and the
// agent only passes the answer on with a sleep-state change; so it is always off.

namespace qn::platform::linux_host {

constexpr bool accessibilityZoomEnabled() {
    return false;
}

}  // namespace qn::platform::linux_host
