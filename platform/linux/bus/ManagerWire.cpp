#include "platform/linux/bus/ManagerWire.h"

#include <cerrno>
#include <cstdint>

namespace qn::platform::linux_host {

namespace {

using A = ManagerArgument;

const char* typeOf(A argument) {
    switch (argument) {
        case A::UInt32:
            return "u";
        case A::UInt64:
            return "t";
        case A::Double:
            return "d";
        case A::Boolean:
            return "b";
        case A::Rect:
            return "(dddd)";
        case A::Delta:
            return "(ii)";
    }
    return "";
}

bool hasType(A argument, const Value& value) {
    switch (argument) {
        case A::UInt32:
        case A::UInt64:
        case A::Double:
            return value.isNumber();
        case A::Boolean:
            return value.isBoolean();
        case A::Rect:
            return value.isArray() && value.count() == 4;
        case A::Delta:
            return value.isArray() && value.count() == 2;
    }
    return false;
}

int appendOne(sd_bus_message* m, A argument, const Value& v) {
    switch (argument) {
        case A::UInt32: {
            const std::uint32_t u = v.unsignedIntValue();
            return sd_bus_message_append_basic(m, 'u', &u);
        }
        case A::UInt64: {
            const auto n = static_cast<std::uint64_t>(v.longLongValue());
            return sd_bus_message_append_basic(m, 't', &n);
        }
        case A::Double: {
            const double d = v.doubleValue();
            return sd_bus_message_append_basic(m, 'd', &d);
        }
        case A::Boolean: {
            const int b = v.boolValue() ? 1 : 0;
            return sd_bus_message_append_basic(m, 'b', &b);
        }
        case A::Rect: {
            const auto& a = v.arrayValue();
            return sd_bus_message_append(m, "(dddd)", a[0].doubleValue(), a[1].doubleValue(),
                                         a[2].doubleValue(), a[3].doubleValue());
        }
        case A::Delta: {
            const auto& a = v.arrayValue();
            return sd_bus_message_append(m, "(ii)", a[0].intValue(), a[1].intValue());
        }
    }
    return -EINVAL;
}

int readOne(sd_bus_message* m, A argument, Value& out) {
    int r = 0;
    switch (argument) {
        case A::UInt32: {
            std::uint32_t u = 0;
            r = sd_bus_message_read_basic(m, 'u', &u);
            out = Value::number(static_cast<std::int64_t>(u));
            break;
        }
        case A::UInt64: {
            std::uint64_t t = 0;
            r = sd_bus_message_read_basic(m, 't', &t);
            out = Value::number(static_cast<std::int64_t>(t));
            break;
        }
        case A::Double: {
            double d = 0;
            r = sd_bus_message_read_basic(m, 'd', &d);
            out = Value::number(d);
            break;
        }
        case A::Boolean: {
            int b = 0;
            r = sd_bus_message_read_basic(m, 'b', &b);
            out = Value::boolean(b != 0);
            break;
        }
        case A::Rect: {
            double x = 0, y = 0, w = 0, h = 0;
            r = sd_bus_message_read(m, "(dddd)", &x, &y, &w, &h);
            out = Value::array(
                {Value::number(x), Value::number(y), Value::number(w), Value::number(h)});
            break;
        }
        case A::Delta: {
            std::int32_t dx = 0, dy = 0;
            r = sd_bus_message_read(m, "(ii)", &dx, &dy);
            out = Value::array({Value::number(std::int64_t{dx}), Value::number(std::int64_t{dy})});
            break;
        }
    }
    // A missing argument reads as 0 from sd-bus; for a call it is a malformed message.
    return r == 0 ? -ENXIO : (r < 0 ? r : 0);
}

int appendVariant(sd_bus_message* m, const Value& v);

int appendDictionary(sd_bus_message* m, const Value& v) {
    int r = sd_bus_message_open_container(m, 'a', "{sv}");
    for (const auto& [key, element] : v.dictionaryValue()) {
        if (r >= 0)
            r = sd_bus_message_open_container(m, 'e', "sv");
        if (r >= 0)
            r = sd_bus_message_append_basic(m, 's', key.c_str());
        if (r >= 0)
            r = appendVariant(m, element);
        if (r >= 0)
            r = sd_bus_message_close_container(m);
    }
    if (r >= 0)
        r = sd_bus_message_close_container(m);
    return r;
}

int appendVariant(sd_bus_message* m, const Value& v) {
    int r = 0;
    switch (v.type()) {
        case Value::Type::Boolean:
            return sd_bus_message_append(m, "v", "b", v.boolValue() ? 1 : 0);
        case Value::Type::Number:
            return v.isFloat() ? sd_bus_message_append(m, "v", "d", v.doubleValue())
                               : sd_bus_message_append(m, "v", "x", v.longLongValue());
        case Value::Type::String:
            return sd_bus_message_append(m, "v", "s", v.stringValue().c_str());
        case Value::Type::Data:
            r = sd_bus_message_open_container(m, 'v', "ay");
            if (r >= 0)
                r = sd_bus_message_append_array(m, 'y', v.dataValue().data(), v.dataValue().size());
            break;
        case Value::Type::Array:
            r = sd_bus_message_open_container(m, 'v', "av");
            if (r >= 0)
                r = sd_bus_message_open_container(m, 'a', "v");
            for (const auto& element : v.arrayValue()) {
                if (r >= 0)
                    r = appendVariant(m, element);
            }
            if (r >= 0)
                r = sd_bus_message_close_container(m);
            break;
        case Value::Type::Dictionary:
        case Value::Type::Null:
            r = sd_bus_message_open_container(m, 'v', "a{sv}");
            if (r >= 0)
                r = appendDictionary(m, v);
            break;
    }
    if (r >= 0)
        r = sd_bus_message_close_container(m);
    return r;
}

int readVariant(sd_bus_message* m, Value& out);

int readDictionary(sd_bus_message* m, Value& out) {
    out = Value::dictionary();
    int r = sd_bus_message_enter_container(m, 'a', "{sv}");
    if (r <= 0)
        return r < 0 ? r : -ENXIO;
    while ((r = sd_bus_message_enter_container(m, 'e', "sv")) > 0) {
        const char* key = nullptr;
        Value element;
        r = sd_bus_message_read_basic(m, 's', &key);
        if (r >= 0)
            r = readVariant(m, element);
        if (r >= 0)
            r = sd_bus_message_exit_container(m);
        if (r < 0)
            return r;
        out.set(key, element);
    }
    if (r < 0)
        return r;
    return sd_bus_message_exit_container(m);
}

int readVariant(sd_bus_message* m, Value& out) {
    char type = 0;
    const char* contents = nullptr;
    int r = sd_bus_message_peek_type(m, &type, &contents);
    if (r <= 0 || type != 'v' || contents == nullptr)
        return r < 0 ? r : -ENXIO;
    const std::string inner = contents;
    r = sd_bus_message_enter_container(m, 'v', contents);
    if (r < 0)
        return r;
    if (inner == "a{sv}") {
        r = readDictionary(m, out);
    } else if (inner == "ay") {
        const void* bytes = nullptr;
        std::size_t size = 0;
        r = sd_bus_message_read_array(m, 'y', &bytes, &size);
        const auto* begin = static_cast<const std::uint8_t*>(bytes);
        out = Value::data(Value::Bytes(begin, begin + (r >= 0 ? size : 0)));
    } else if (inner == "av") {
        out = Value::array();
        r = sd_bus_message_enter_container(m, 'a', "v");
        while (r >= 0 && !sd_bus_message_at_end(m, false)) {
            Value element;
            r = readVariant(m, element);
            if (r >= 0)
                out.append(element);
        }
        if (r >= 0)
            r = sd_bus_message_exit_container(m);
    } else if (inner.size() == 1) {
        // Basic types, widened to the value type's number.
        union {
            std::uint8_t y;
            int b;
            std::int16_t n;
            std::uint16_t q;
            std::int32_t i;
            std::uint32_t u;
            std::int64_t x;
            std::uint64_t t;
            double d;
            const char* s;
        } basic{};
        r = sd_bus_message_read_basic(m, inner[0], &basic);
        if (r >= 0) {
            switch (inner[0]) {
                case 'y':
                    out = Value::number(std::int64_t{basic.y});
                    break;
                case 'b':
                    out = Value::boolean(basic.b != 0);
                    break;
                case 'n':
                    out = Value::number(std::int64_t{basic.n});
                    break;
                case 'q':
                    out = Value::number(std::int64_t{basic.q});
                    break;
                case 'i':
                    out = Value::number(std::int64_t{basic.i});
                    break;
                case 'u':
                    out = Value::number(std::int64_t{basic.u});
                    break;
                case 'x':
                    out = Value::number(basic.x);
                    break;
                case 't':
                    out = Value::number(static_cast<std::int64_t>(basic.t));
                    break;
                case 'd':
                    out = Value::number(basic.d);
                    break;
                case 's':
                case 'o':
                case 'g':
                    out = Value::string(basic.s);
                    break;
                default:
                    r = -EINVAL;
            }
        }
    } else {
        // Other containers carry nothing the agent reads: skip them whole.
        r = sd_bus_message_skip(m, contents);
    }
    if (r < 0)
        return r;
    return sd_bus_message_exit_container(m);
}

}  // namespace

std::string memberForSelector(const std::string& selector) {
    std::string member = selector;
    if (!member.empty() && member.back() == ':') {
        member.pop_back();
    }
    for (char& c : member) {
        if (c == ':') {
            c = '_';
        }
    }
    return member;
}

const ManagerMethod* methodForMember(const std::string& member) {
    for (const auto& method : managerMethods()) {
        if (memberForSelector(method.selector) == member) {
            return &method;
        }
    }
    return nullptr;
}

std::string signatureOf(const ManagerMethod& method) {
    std::string signature;
    for (const A argument : method.arguments) {
        signature += typeOf(argument);
    }
    return signature;
}

int appendArguments(sd_bus_message* message, const ManagerMethod& method,
                    const std::vector<Value>& arguments) {
    if (arguments.size() != method.arguments.size()) {
        return -EINVAL;
    }
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!hasType(method.arguments[i], arguments[i])) {
            return -EINVAL;
        }
        if (const int r = appendOne(message, method.arguments[i], arguments[i]); r < 0) {
            return r;
        }
    }
    return 0;
}

int readArguments(sd_bus_message* message, const ManagerMethod& method,
                  std::vector<Value>& arguments) {
    arguments.clear();
    for (const A argument : method.arguments) {
        Value value;
        if (const int r = readOne(message, argument, value); r < 0) {
            return r;
        }
        arguments.push_back(value);
    }
    // Trailing arguments mean another signature than the protocol's.
    return sd_bus_message_at_end(message, false) > 0 ? 0 : -EBADMSG;
}

int appendUserInfo(sd_bus_message* message, const Value& userInfo) {
    return appendDictionary(message, userInfo);
}

int readUserInfo(sd_bus_message* message, Value& userInfo) {
    const int r = readDictionary(message, userInfo);
    return r < 0 ? r : 0;
}

std::string managerIntrospectionXml() {
    std::string xml =
        "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n"
        "<node>\n"
        " <interface name=\"org.freedesktop.DBus.Introspectable\">\n"
        "  <method name=\"Introspect\">\n"
        "   <arg name=\"xml\" type=\"s\" direction=\"out\"/>\n"
        "  </method>\n"
        " </interface>\n"
        " <interface name=\"org.freedesktop.DBus.Peer\">\n"
        "  <method name=\"Ping\"/>\n"
        "  <method name=\"GetMachineId\">\n"
        "   <arg name=\"machine_uuid\" type=\"s\" direction=\"out\"/>\n"
        "  </method>\n"
        " </interface>\n";
    xml += " <interface name=\"" + std::string(kManagerLocator.interface) + "\">\n";
    for (const auto& method : managerMethods()) {
        xml += "  <method name=\"" + memberForSelector(method.selector) + "\"";
        if (method.arguments.empty()) {
            xml += "/>\n";
            continue;
        }
        xml += ">\n";
        // Each argument is named after its part of the selector.
        const std::string selector = method.selector;
        std::size_t begin = 0;
        for (const A argument : method.arguments) {
            const std::size_t colon = selector.find(':', begin);
            xml += "   <arg name=\"" + selector.substr(begin, colon - begin) + "\" type=\"" +
                   typeOf(argument) + "\" direction=\"in\"/>\n";
            begin = colon + 1;
        }
        xml += "  </method>\n";
    }
    for (const auto& notification : managerNotifications()) {
        xml += std::string("  <signal name=\"") + notification.name +
               "\">\n   <arg name=\"userInfo\" type=\"a{sv}\"/>\n  </signal>\n";
    }
    xml += " </interface>\n</node>\n";
    return xml;
}

}  // namespace qn::platform::linux_host
