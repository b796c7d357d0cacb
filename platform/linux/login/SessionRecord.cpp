#include "platform/linux/login/SessionRecord.h"

#include "platform/Quartz.h"

namespace qn::platform::linux_host::login {

namespace {

constexpr SessionAttributeBits sessionHasGraphicAccess = 0x0010;
constexpr SessionAttributeBits sessionIsRemote = 0x1000;

}  // namespace

Value sessionDictionary(const std::optional<SessionRecord>& session) {
    if (!session) {
        return Value();
    }
    Value dictionary = Value::dictionary();
    dictionary.set(kCGSSessionOnConsoleKey, Value::boolean(session->active));
    dictionary.set(kCGSessionLoginDoneKey, Value::boolean(session->sessionClass != "greeter"));
    dictionary.set(kCGSessionUserIDKey, Value::number(static_cast<std::int64_t>(session->uid)));
    dictionary.set(kCGSessionUserNameKey, Value::string(session->userName));
    return dictionary;
}

SessionAttributeBits sessionAttributes(const SessionRecord& session) {
    SessionAttributeBits bits = 0;
    if (session.type == "x11" || session.type == "wayland" || session.type == "mir") {
        bits |= sessionHasGraphicAccess;
    }
    if (session.remote) {
        bits |= sessionIsRemote;
    }
    return bits;
}

}  // namespace qn::platform::linux_host::login
