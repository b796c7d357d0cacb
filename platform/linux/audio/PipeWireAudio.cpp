#include "platform/linux/audio/PipeWireAudio.h"

#include <pipewire/impl-module.h>
#include <pipewire/pipewire.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>
#include <spa/utils/result.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "platform/linux/audio/AudioHostString.h"
#include "platform/linux/audio/PipeWireFormat.h"
#include "platform/linux/audio/PipeWireOwners.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_audio {

namespace {

constexpr AudioObjectPropertyAddress kDevicesAddress{kAudioHardwarePropertyDevices,
                                                     kAudioObjectPropertyScopeGlobal,
                                                     kAudioObjectPropertyElementMaster};
// The server's first answer; after it, a node bound during the first listing is ready.
constexpr int kStartWaitSeconds = 10;
constexpr int kRoundTripSeconds = 10;

bool sameListener(const AudioObjectPropertyAddress& a, AudioObjectPropertyListenerProc procA,
                  void* dataA, const AudioObjectPropertyAddress& b,
                  AudioObjectPropertyListenerProc procB, void* dataB) {
    return a.mSelector == b.mSelector && a.mScope == b.mScope && a.mElement == b.mElement &&
           procA == procB && dataA == dataB;
}

// The backend's own log lines, made only when the first is written, so that building
// the backend before the agent's logger starts does not start a logger of its own.
struct BackendLog : sys::Logger::Logged {
    BackendLog() : sys::Identity("PipeWireAudio", "") {}
};

}  // namespace

struct PipeWireAudio::Node {
    std::uint32_t id = 0;
    PwProxy proxy;
    // After the proxy, so that it goes first.
    SpaListener objectListener;
    bool haveInfo = false;
    NodeModel model;
    std::optional<double> rate;
    int syncSeq = -1;
    bool listed = false;

    pw_node* node() const { return reinterpret_cast<pw_node*>(proxy.get()); }
};

// Declared in the order opposite to the one they must go in.
struct PipeWireAudio::Connection {
    PwContext context;
    PwCore core;
    SpaListener coreListener;
    PwRegistry registry;
    SpaListener registryListener;
};

struct PipeWireAudio::Events {
    static void onCoreDone(void* data, std::uint32_t id, int seq) {
        static_cast<PipeWireAudio*>(data)->coreDone(id, seq);
    }
    static void onCoreError(void* data, std::uint32_t id, int, int res, const char*) {
        auto* self = static_cast<PipeWireAudio*>(data);
        if (id == PW_ID_CORE && res == -EPIPE) {
            // The server went away: so did every device, each a change of the list.
            while (!self->m_nodes.empty()) {
                self->removeNode(self->m_nodes.begin()->first);
            }
            self->m_started = true;
            self->m_roundTripDone = true;
            self->m_loop.signal();
        }
    }
    static void onGlobal(void* data, std::uint32_t id, std::uint32_t, const char* type,
                         std::uint32_t, const spa_dict* props) {
        if (std::strcmp(type, PW_TYPE_INTERFACE_Node) != 0 || !props) {
            return;
        }
        // Id 0 is the core's, and the server gives 1 to an object made before any node,
        // so 1 can stand for the system object.
        if (id > kAudioObjectSystemObject &&
            isAudioNodeClass(spa_dict_lookup(props, PW_KEY_MEDIA_CLASS))) {
            static_cast<PipeWireAudio*>(data)->addNode(id);
        }
    }
    static void onGlobalRemove(void* data, std::uint32_t id) {
        static_cast<PipeWireAudio*>(data)->removeNode(id);
    }
    static void onNodeInfo(void* data, const pw_node_info* info) {
        auto* node = static_cast<Node*>(data);
        if (!info->props || (node->haveInfo && !(info->change_mask & PW_NODE_CHANGE_MASK_PROPS))) {
            return;
        }
        NodeProperties properties;
        const spa_dict_item* item;
        spa_dict_for_each(item, info->props) {
            properties[item->key] = item->value ? item->value : "";
        }
        node->model = nodeModel(properties);
        node->haveInfo = true;
    }
    static void onNodeParam(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                            const spa_pod* param) {
        auto* node = static_cast<Node*>(data);
        if (id != SPA_PARAM_EnumFormat) {
            return;
        }
        if (const auto rate = rateOfFormat(param)) {
            node->rate = rate;
        }
    }

    static constexpr pw_core_events core = [] {
        pw_core_events e{};
        e.version = PW_VERSION_CORE_EVENTS;
        e.done = &onCoreDone;
        e.error = &onCoreError;
        return e;
    }();
    static constexpr pw_registry_events registry = [] {
        pw_registry_events e{};
        e.version = PW_VERSION_REGISTRY_EVENTS;
        e.global = &onGlobal;
        e.global_remove = &onGlobalRemove;
        return e;
    }();
    static constexpr pw_node_events node = [] {
        pw_node_events e{};
        e.version = PW_VERSION_NODE_EVENTS;
        e.info = &onNodeInfo;
        e.param = &onNodeParam;
        return e;
    }();
};

PipeWireAudio::PipeWireAudio() : m_loop("qn-audio"), m_connection(std::make_unique<Connection>()) {
    if (!m_loop.loop()) {
        m_unreachable = "no PipeWire loop";
        m_attempted = true;
        return;
    }
    PipeWireThreadLoop::Lock lock(m_loop);
    if (!m_loop.start()) {
        m_unreachable = "no PipeWire thread";
        m_attempted = true;
        return;
    }
    m_loop.invoke(&PipeWireAudio::connectOnThread, this);
}

PipeWireAudio::~PipeWireAudio() {
    {
        // The connection's invocation must have run before the loop goes.
        PipeWireThreadLoop::Lock lock(m_loop);
        if (!m_attempted) {
            m_loop.waitUntil([this] { return m_attempted; }, kStartWaitSeconds);
        }
    }
    // No callback may run while the objects go.
    m_loop.stop();
    disconnect();
}

void PipeWireAudio::connectOnThread(void* data) {
    auto* self = static_cast<PipeWireAudio*>(data);
    self->connect();
    self->m_attempted = true;
    if (!self->core() && !self->m_listeners.empty()) {
        self->warnOnceIfUnreachable();
    }
    self->m_loop.signal();
}

void PipeWireAudio::waitUntilStarted() {
    const auto ready = [this] { return m_attempted && (!core() || m_started); };
    if (ready() || m_loop.inThread()) {
        return;
    }
    if (!m_loop.waitUntil(ready, kStartWaitSeconds) && core()) {
        // A slow server: what it lists later counts as plugged in.
        m_started = true;
    }
}

void PipeWireAudio::connect() {
    Connection& c = *m_connection;
    // No client configuration file: of the modules it lists only the protocol is needed
    // to look at nodes, and the rest (stream, filter and export support, D-Bus for
    // realtime priority) took a millisecond or more of each start. Silent, as that file
    // keeps PipeWire's own log.
    c.context.reset(pw_context_new(m_loop.loop(),
                                   pw_properties_new(PW_KEY_CONFIG_NAME, "null", "support.dbus",
                                                     "false", "log.level", "0", nullptr),
                                   0));
    if (!c.context) {
        m_unreachable = std::string("no PipeWire context (") + std::strerror(errno) + ")";
        return;
    }
    if (!pw_context_load_module(c.context.get(), "libpipewire-module-protocol-native", nullptr,
                                nullptr)) {
        m_unreachable = std::string("no PipeWire protocol module (") + std::strerror(errno) + ")";
        return;
    }
    c.core.reset(pw_context_connect(c.context.get(), nullptr, 0));
    if (!c.core) {
        m_unreachable = std::string("cannot connect to PipeWire (") + std::strerror(errno) + ")";
        return;
    }
    pw_core_add_listener(c.core.get(), c.coreListener.receive(), &Events::core, this);
    c.registry.reset(pw_core_get_registry(c.core.get(), PW_VERSION_REGISTRY, 0));
    pw_registry_add_listener(c.registry.get(), c.registryListener.receive(), &Events::registry,
                             this);
    m_startSeq = pw_core_sync(c.core.get(), PW_ID_CORE, 0);
}

void PipeWireAudio::disconnect() {
    // Nobody is told of devices that go with the backend.
    m_listeners.clear();
    m_nodes.clear();
    m_connection.reset();
}

pw_core* PipeWireAudio::core() const {
    return m_connection ? m_connection->core.get() : nullptr;
}

bool PipeWireAudio::connected() {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    return core() != nullptr;
}

void PipeWireAudio::warnOnceIfUnreachable() {
    if (m_unreachable.empty()) {
        return;
    }
    std::call_once(m_warned, [this] {
        BackendLog log;
        QN_LOG(log, sys::Logger::WARN)
            << "No audio: " << m_unreachable << "; going on without audio devices";
    });
}

bool PipeWireAudio::roundTrip() {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    if (!core()) {
        return false;
    }
    m_roundTripDone = false;
    m_roundTripSeq = pw_core_sync(core(), PW_ID_CORE, 0);
    return m_loop.waitUntil([this] { return m_roundTripDone; }, kRoundTripSeconds);
}

void PipeWireAudio::addNode(std::uint32_t id) {
    auto node = std::make_unique<Node>();
    node->id = id;
    node->proxy.reset(static_cast<pw_proxy*>(pw_registry_bind(
        m_connection->registry.get(), id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0)));
    if (!node->proxy) {
        return;
    }
    pw_proxy_add_object_listener(node->proxy.get(), node->objectListener.receive(), &Events::node,
                                 node.get());
    std::uint32_t formats[] = {SPA_PARAM_EnumFormat};
    pw_node_subscribe_params(node->node(), formats, 1);
    // Binding sends the info; the subscription sends the formats. Both are in before the
    // answer to this sync.
    node->syncSeq = pw_core_sync(core(), PW_ID_CORE, 0);
    m_nodes[id] = std::move(node);
}

void PipeWireAudio::removeNode(std::uint32_t id) {
    const auto found = m_nodes.find(id);
    if (found == m_nodes.end()) {
        return;
    }
    const bool wasListed = found->second->listed;
    m_nodes.erase(found);
    // A node that came and went before the first answer was never there for anyone.
    if (wasListed && m_started) {
        deviceListChanged();
    }
}

void PipeWireAudio::coreDone(std::uint32_t id, int seq) {
    if (id != PW_ID_CORE) {
        return;
    }
    if (!m_started && seq == m_startSeq) {
        if (!m_secondStartSync) {
            // Every first global has been seen and its node bound; the nodes' own syncs
            // answer before this second one.
            m_secondStartSync = true;
            m_startSeq = pw_core_sync(core(), PW_ID_CORE, 0);
        } else {
            m_started = true;
            m_loop.signal();
        }
    }
    if (seq == m_roundTripSeq) {
        m_roundTripDone = true;
        m_loop.signal();
    }
    for (auto& [nodeId, node] : m_nodes) {
        if (node->syncSeq == seq) {
            node->syncSeq = -1;
            nodeReady(*node);
        }
    }
}

void PipeWireAudio::nodeReady(Node& node) {
    if (!node.haveInfo || node.listed) {
        return;
    }
    node.listed = true;
    // Nodes there before the first answer are present at start, like the devices a
    // host has when a program starts listening.
    if (m_started) {
        deviceListChanged();
    }
}

void PipeWireAudio::deviceListChanged() {
    const std::vector<Listener> listeners = m_listeners;
    for (const auto& l : listeners) {
        if (l.address.mSelector != kAudioHardwarePropertyDevices) {
            continue;
        }
        // A listener removed by an earlier one is not called.
        const bool still = std::any_of(m_listeners.begin(), m_listeners.end(), [&](const auto& m) {
            return sameListener(m.address, m.proc, m.clientData, l.address, l.proc, l.clientData);
        });
        if (still) {
            l.proc(kAudioObjectSystemObject, 1, &kDevicesAddress, l.clientData);
        }
    }
}

const PipeWireAudio::Node* PipeWireAudio::listedNode(AudioObjectID id) const {
    const auto found = m_nodes.find(id);
    return found != m_nodes.end() && found->second->listed ? found->second.get() : nullptr;
}

namespace {

enum class Kind { Real, Integer, String, Unknown };

Kind kindOf(AudioObjectPropertySelector selector) {
    switch (selector) {
        case kAudioDevicePropertyActualSampleRate:
        case kAudioDevicePropertyNominalSampleRate:
            return Kind::Real;
        case kAudioDevicePropertyTransportType:
            return Kind::Integer;
        case kAudioObjectPropertyName:
        case kAudioObjectPropertyManufacturer:
        case kAudioDevicePropertyModelUID:
            return Kind::String;
        default:
            return Kind::Unknown;
    }
}

UInt32 sizeOf(Kind kind) {
    switch (kind) {
        case Kind::Real:
            return sizeof(Float64);
        case Kind::Integer:
            return sizeof(UInt32);
        case Kind::String:
            return sizeof(CFStringRef);
        case Kind::Unknown:
            break;
    }
    return 0;
}

}  // namespace

bool PipeWireAudio::AudioObjectHasProperty(AudioObjectID object,
                                           const AudioObjectPropertyAddress* address) {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    warnOnceIfUnreachable();
    if (object == kAudioObjectSystemObject) {
        return address->mSelector == kAudioHardwarePropertyDevices;
    }
    const Node* node = listedNode(object);
    if (!node) {
        return false;
    }
    const Kind kind = kindOf(address->mSelector);
    // A node without a raw format has no rate to tell.
    return kind != Kind::Unknown && (kind != Kind::Real || node->rate.has_value());
}

OSStatus PipeWireAudio::AudioObjectGetPropertyDataSize(AudioObjectID object,
                                                       const AudioObjectPropertyAddress* address,
                                                       UInt32, const void*, UInt32* outDataSize) {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    warnOnceIfUnreachable();
    if (object == kAudioObjectSystemObject) {
        if (address->mSelector != kAudioHardwarePropertyDevices) {
            return kAudioHardwareUnknownPropertyError;
        }
        const auto listed = std::count_if(m_nodes.begin(), m_nodes.end(),
                                          [](const auto& n) { return n.second->listed; });
        *outDataSize = static_cast<UInt32>(listed * sizeof(AudioObjectID));
        return noErr;
    }
    if (!listedNode(object)) {
        return kAudioHardwareBadObjectError;
    }
    const Kind kind = kindOf(address->mSelector);
    if (kind == Kind::Unknown) {
        return kAudioHardwareUnknownPropertyError;
    }
    *outDataSize = sizeOf(kind);
    return noErr;
}

OSStatus PipeWireAudio::AudioObjectGetPropertyData(AudioObjectID object,
                                                   const AudioObjectPropertyAddress* address,
                                                   UInt32, const void*, UInt32* ioDataSize,
                                                   void* outData) {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    warnOnceIfUnreachable();
    if (object == kAudioObjectSystemObject) {
        if (address->mSelector != kAudioHardwarePropertyDevices) {
            return kAudioHardwareUnknownPropertyError;
        }
        // As many ids as fit, in ascending order.
        std::vector<AudioObjectID> ids;
        for (const auto& [id, node] : m_nodes) {
            if (node->listed) {
                ids.push_back(id);
            }
        }
        const auto n = std::min<std::size_t>(*ioDataSize / sizeof(AudioObjectID), ids.size());
        std::memcpy(outData, ids.data(), n * sizeof(AudioObjectID));
        *ioDataSize = static_cast<UInt32>(n * sizeof(AudioObjectID));
        return noErr;
    }
    const Node* node = listedNode(object);
    if (!node) {
        return kAudioHardwareBadObjectError;
    }
    const Kind kind = kindOf(address->mSelector);
    if (kind == Kind::Unknown) {
        return kAudioHardwareUnknownPropertyError;
    }
    if (*ioDataSize < sizeOf(kind)) {
        return kAudioHardwareBadPropertySizeError;
    }
    *ioDataSize = sizeOf(kind);
    switch (kind) {
        case Kind::Real: {
            if (!node->rate) {
                return kAudioHardwareUnknownPropertyError;
            }
            const Float64 rate = *node->rate;
            std::memcpy(outData, &rate, sizeof(rate));
            return noErr;
        }
        case Kind::Integer:
            std::memcpy(outData, &node->model.transportType, sizeof(UInt32));
            return noErr;
        case Kind::String: {
            const std::string& text =
                address->mSelector == kAudioObjectPropertyName           ? node->model.name
                : address->mSelector == kAudioObjectPropertyManufacturer ? node->model.manufacturer
                                                                         : node->model.modelUID;
            CFStringRef string = new AudioHostString(text);
            std::memcpy(outData, &string, sizeof(string));
            return noErr;
        }
        case Kind::Unknown:
            break;
    }
    return kAudioHardwareUnknownPropertyError;
}

OSStatus PipeWireAudio::AudioObjectSetPropertyData(AudioObjectID object,
                                                   const AudioObjectPropertyAddress* address,
                                                   UInt32, const void*, UInt32 inDataSize,
                                                   const void* inData) {
    PipeWireThreadLoop::Lock lock(m_loop);
    waitUntilStarted();
    warnOnceIfUnreachable();
    const Node* node = listedNode(object);
    if (!node) {
        return kAudioHardwareBadObjectError;
    }
    if (address->mSelector != kAudioDevicePropertyNominalSampleRate) {
        return kAudioHardwareIllegalOperationError;
    }
    if (inDataSize != sizeof(Float64)) {
        return kAudioHardwareBadPropertySizeError;
    }
    Float64 rate = 0;
    std::memcpy(&rate, inData, sizeof(rate));
    if (!(rate > 0 && rate < 1e7)) {
        return kAudioHardwareIllegalOperationError;
    }
    std::uint8_t buffer[256];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const spa_pod* props = buildRateProps(builder, static_cast<std::int32_t>(std::lround(rate)));
    const int sent = pw_node_set_param(node->node(), SPA_PARAM_Props, 0, props);
    if (sent < 0) {
        return kAudioHardwareUnspecifiedError;
    }
    // Read the format again, in case the node does not announce the change itself.
    pw_node_enum_params(node->node(), 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
    return noErr;
}

OSStatus PipeWireAudio::AudioObjectAddPropertyListener(AudioObjectID object,
                                                       const AudioObjectPropertyAddress* address,
                                                       AudioObjectPropertyListenerProc proc,
                                                       void* clientData) {
    PipeWireThreadLoop::Lock lock(m_loop);
    warnOnceIfUnreachable();
    // Only the device list changes are told; other objects have nothing to say.
    if (object != kAudioObjectSystemObject) {
        return listedNode(object) ? kAudioHardwareIllegalOperationError
                                  : kAudioHardwareBadObjectError;
    }
    m_listeners.push_back(Listener{*address, proc, clientData});
    return noErr;
}

OSStatus PipeWireAudio::AudioObjectRemovePropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress* address,
                                                          AudioObjectPropertyListenerProc proc,
                                                          void* clientData) {
    // Taking the lock waits for a listener running on PipeWire's thread.
    PipeWireThreadLoop::Lock lock(m_loop);
    warnOnceIfUnreachable();
    if (object != kAudioObjectSystemObject) {
        return kAudioHardwareBadObjectError;
    }
    const auto found = std::find_if(m_listeners.begin(), m_listeners.end(), [&](const Listener& l) {
        return sameListener(l.address, l.proc, l.clientData, *address, proc, clientData);
    });
    if (found == m_listeners.end()) {
        return kAudioHardwareIllegalOperationError;
    }
    m_listeners.erase(found);
    return noErr;
}

}  // namespace qn::platform::linux_audio
