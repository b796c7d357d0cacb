#pragma once
// The one pattern of every call on the Manager's proxy: the call stands in a handler for
// the proxy's exception type, and the caller logs the reason. Any other exception passes.

#include <optional>
#include <ostream>
#include <string>

#include "platform/Foundation.h"

namespace qn::app::osx::qnuapp {

// Runs the call; the reason when it raised ProxyException, nothing when it returned.
template <typename Call>
std::optional<std::string> tryManagerCall(Call&& call) {
    try {
        call();
        return std::nullopt;
    } catch (const platform::ProxyException& e) {
        return e.reason();
    }
}

// A reason written as ASCII: `out << Ascii{reason}`. A reason that ASCII cannot express
// leaves the stream failed, so the rest of the line is lost, as with a null C string.
struct Ascii {
    const std::string& text;
};
std::ostream& operator<<(std::ostream& out, const Ascii& reason);

}  // namespace qn::app::osx::qnuapp
