#pragma once
// One owner per PipeWire handle the audio backend holds, each dropped by PipeWire's own
// call, and the owner of a listener's hook. Whoever holds them declares them so that
// they go in this order: a hook before the object it listens to (the object's hook
// list, freed with it, links to the hook), a proxy before its core, the core before its
// context. Every owner goes on the thread loop's thread or with its lock held (or once
// the loop has stopped).

#include <pipewire/pipewire.h>

#include "platform/linux/UniqueHandle.h"

namespace qn::platform::linux_audio {

namespace pipewire_owners {
inline pw_context* destroyContext(pw_context* context) {
    pw_context_destroy(context);
    return nullptr;
}
inline pw_core* disconnectCore(pw_core* core) {
    pw_core_disconnect(core);
    return nullptr;
}
inline pw_registry* destroyRegistry(pw_registry* registry) {
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    return nullptr;
}
inline pw_proxy* destroyProxy(pw_proxy* proxy) {
    pw_proxy_destroy(proxy);
    return nullptr;
}
}  // namespace pipewire_owners

using PwContext = linux_host::UniqueHandle<pw_context, &pipewire_owners::destroyContext>;
using PwCore = linux_host::UniqueHandle<pw_core, &pipewire_owners::disconnectCore>;
using PwRegistry = linux_host::UniqueHandle<pw_registry, &pipewire_owners::destroyRegistry>;
using PwProxy = linux_host::UniqueHandle<pw_proxy, &pipewire_owners::destroyProxy>;

// A listener's place in an object's hook list: removed from it when this goes. Fixed in
// memory, since the list points at it.
class SpaListener {
  public:
    SpaListener() = default;
    SpaListener(const SpaListener&) = delete;
    SpaListener& operator=(const SpaListener&) = delete;
    ~SpaListener() { remove(); }

    // Removes the listener added before, if any, then gives the hook for an
    // add_listener call to fill.
    spa_hook* receive() {
        remove();
        return &m_hook;
    }
    void remove() {
        // A zeroed hook is in no list; zeroing again makes a second removal harmless.
        spa_hook_remove(&m_hook);
        m_hook = spa_hook{};
    }

  private:
    spa_hook m_hook{};
};

}  // namespace qn::platform::linux_audio
