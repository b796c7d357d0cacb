#include "tools/qnscenario/StreamTranscript.h"

#include <algorithm>
#include <cstring>

#include "platform/ManagerProtocol.h"

namespace qn::tools::qnscenario {

using platform::sim::SimSurface;
using platform::sim::SimUserClientCall;

namespace {
constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";
}  // namespace

StreamTranscript::StreamTranscript(platform::sim::SimHost& host, Writer writer)
    : m_host(host), m_writer(std::move(writer)) {
    // Every change is a line of its own, so that each step of a frame's ownership shows.
    m_host.quartz().setSurfaceWatcher([this](SimSurface& surface) {
        if (std::find(m_changed.begin(), m_changed.end(), &surface) == m_changed.end()) {
            m_changed.push_back(&surface);
        }
        flush();
    });
}

std::string StreamTranscript::name(const SimSurface& surface) {
    const auto found = m_names.find(&surface);
    if (found != m_names.end()) {
        return "surface " + std::to_string(found->second);
    }
    const int number = static_cast<int>(m_names.size()) + 1;
    m_names[&surface] = number;
    return "surface " + std::to_string(number);
}

const SimSurface* StreamTranscript::surfaceAt(std::uint64_t address) const {
    for (const auto& stream : m_host.quartz().streams()) {
        for (const auto& surface : stream->surfaces) {
            if (reinterpret_cast<std::uint64_t>(surface->baseAddress()) == address) {
                return surface.get();
            }
        }
    }
    return nullptr;
}

nlohmann::ordered_json StreamTranscript::address(std::uint64_t value) {
    if (const auto* surface = surfaceAt(value)) {
        return name(*surface);
    }
    return value;
}

void StreamTranscript::normalise(nlohmann::ordered_json& line,
                                 const platform::sim::SimManagerEvent& event) {
    using Kind = platform::sim::SimManagerEvent::Kind;
    if (event.kind == Kind::Call && event.name == kFrameAvailable && event.arguments.size() == 5) {
        line["args"][2] = address(static_cast<std::uint64_t>(event.arguments[2].longLongValue()));
    } else if (event.kind == Kind::Post &&
               event.name == platform::QNM_Notification_Release_Frame_Surface) {
        const auto value =
            event.userInfo.get(platform::QNM_Notification_Display_Stream_FrameSurfaceAddr);
        if (value.isNumber()) {
            line["userInfo"][platform::QNM_Notification_Display_Stream_FrameSurfaceAddr] =
                address(static_cast<std::uint64_t>(value.longLongValue()));
        }
    }
}

nlohmann::ordered_json StreamTranscript::driverLine(const SimUserClientCall& call) {
    const auto* entry = m_host.ioKit().entry(call.service);
    nlohmann::ordered_json line{
        {"driver", entry ? entry->properties.get("Name").stringValue() : std::string("?")}};
    if (call.kind == SimUserClientCall::Kind::MapMemory) {
        line["map"] = call.selector;
        line["options"] = call.options;
    } else {
        line["selector"] = call.selector;
        if (call.structInput.size() == 20) {
            std::uint32_t size = 0;
            std::uint64_t source = 0;
            std::uint64_t mapped = 0;
            std::memcpy(&size, call.structInput.data(), 4);
            std::memcpy(&source, call.structInput.data() + 4, 8);
            std::memcpy(&mapped, call.structInput.data() + 12, 8);
            line["record"] = {{"size", size}, {"source", address(source)}, {"mapped", mapped}};
        } else if (!call.structInput.empty()) {
            line["inputBytes"] = call.structInput.size();
        }
        if (call.hasStructOutput) {
            line["outputBytes"] = call.structOutputCapacity;
        }
    }
    if (call.result != platform::KERN_SUCCESS) {
        line["result"] = call.result;
    }
    return line;
}

void StreamTranscript::flush() {
    if (m_flushing || m_changed.empty()) {
        return;
    }
    m_flushing = true;
    // In the order the names were given; new ones after, in the order they changed.
    std::vector<std::pair<int, SimSurface*>> changed;
    for (auto* surface : m_changed) {
        const auto found = m_names.find(surface);
        changed.emplace_back(found == m_names.end() ? 1 << 30 : found->second, surface);
    }
    m_changed.clear();
    std::stable_sort(changed.begin(), changed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [order, surface] : changed) {
        const std::pair<std::int32_t, long> counts{surface->useCount(), surface->retainCount()};
        const auto written = m_written.find(surface);
        if (written != m_written.end() && written->second == counts) {
            continue;
        }
        m_written[surface] = counts;
        m_writer({{"surface", name(*surface)}, {"use", counts.first}, {"retain", counts.second}});
    }
    m_flushing = false;
}

}  // namespace qn::tools::qnscenario
