#include "tools/qnmanager/ManagerObject.h"

#include <cstring>
#include <memory>

#include "platform/linux/bus/ManagerWire.h"
#include "tools/transcript/TranscriptLines.h"

namespace qn::tools::qnmanager {

using platform::linux_host::BusMessagePtr;
using platform::linux_host::kManagerLocator;

int ManagerObject::attach(sd_bus* bus) {
    detach();
    return sd_bus_add_object(bus, m_slot.receive(), kManagerLocator.path, &onMessage, this);
}

void ManagerObject::detach() {
    m_lateReplies.clear();
    m_slot.reset();
}

int ManagerObject::onMessage(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    return static_cast<ManagerObject*>(userdata)->handle(message, error);
}

int ManagerObject::handle(sd_bus_message* message, sd_bus_error* error) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) {
        return 0;
    }
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Introspectable",
                                      "Introspect")) {
        return sd_bus_reply_method_return(message, "s",
                                          platform::linux_host::managerIntrospectionXml().c_str());
    }
    const char* interface = sd_bus_message_get_interface(message);
    if (interface == nullptr || std::strcmp(interface, kManagerLocator.interface) != 0) {
        // Not ours: sd-bus answers with the standard unknown-method error.
        return 0;
    }
    const auto* method = platform::linux_host::methodForMember(sd_bus_message_get_member(message));
    if (method == nullptr) {
        return 0;
    }
    std::vector<platform::Value> arguments;
    if (platform::linux_host::readArguments(message, *method, arguments) < 0) {
        return sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS, "%s takes (%s)",
                                 method->selector,
                                 platform::linux_host::signatureOf(*method).c_str());
    }
    auto line = transcript::callLine(method->selector, arguments);
    const CallRules::Rule rule = m_rules.take(method->selector);
    // The answer is on its way before the line is written: a reader who has the line
    // may stop this process without cutting the caller's call short.
    const auto answered = [&](int r) {
        sd_bus_flush(sd_bus_message_get_bus(message));
        m_transcript.write(line);
        return r < 0 ? r : 1;
    };
    if (rule.refusal) {
        line["raised"] = *rule.refusal;
        return answered(
            sd_bus_reply_method_errorf(message, kRefusedError, "%s", rule.refusal->c_str()));
    }
    if (rule.delaySeconds > 0) {
        line["delayed"] = rule.delaySeconds;
        m_transcript.write(line);
        // The reply waits on the loop; the stand-in goes on serving meanwhile.
        auto kept = std::make_shared<BusMessagePtr>(sd_bus_message_ref(message));
        m_lateReplies.emplace_back();
        auto entry = std::prev(m_lateReplies.end());
        *entry = m_loop.addTimer(platform::linux_host::EventLoop::now() +
                                     static_cast<std::uint64_t>(rule.delaySeconds * 1e6),
                                 "late-reply",
                                 [this, kept, entry, selector = std::string(method->selector),
                                  arguments]() -> std::uint64_t {
                                     sd_bus_reply_method_return(kept->get(), "");
                                     m_lateReplies.erase(entry);
                                     if (m_observer) {
                                         m_observer(selector, arguments);
                                     }
                                     return 0;
                                 });
        return 1;
    }
    const int r = answered(sd_bus_reply_method_return(message, ""));
    if (r >= 0 && m_observer) {
        m_observer(method->selector, arguments);
    }
    return r;
}

}  // namespace qn::tools::qnmanager
