#pragma once
// CoreAudio over PipeWire. The devices are the audio nodes, one object id per node (its
// PipeWire global id); the system object (id 1) lists those whose info properties and
// format have arrived. Names, manufacturer and model UID come from the node's info
// properties, the actual rate from its EnumFormat, and the nominal rate is written as
// "audio.rate" in its Props. Listeners of the device list are called on PipeWire's
// thread, with its lock held, so that a removal from another thread waits for them.
//
// Self-contained: the constructor starts the thread and returns; the context (which
// loads PipeWire's configuration and modules) is made and connected on that thread, off
// the agent's start-up. A listener may be added at once; every query waits (bounded) for
// the server's first answer. The destructor stops the thread before anything goes.
// Without a reachable PipeWire there is no device and one WARN line: at the first call
// through the port once the connection has failed, or when it fails while a listener is
// in (the port is in use, so the agent's logger stands).

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/CoreAudio.h"
#include "platform/linux/audio/PipeWireNodeModel.h"
#include "platform/linux/audio/PipeWireThreadLoop.h"

struct pw_core;

namespace qn::platform::linux_audio {

class PipeWireAudio : public CoreAudio {
  public:
    PipeWireAudio();
    ~PipeWireAudio() override;
    PipeWireAudio(const PipeWireAudio&) = delete;
    PipeWireAudio& operator=(const PipeWireAudio&) = delete;

    // Waits until the connection has been tried.
    bool connected();
    // Waits until the server has handled every request sent so far (false on time-out
    // or without a connection). For tests that look at the server from outside.
    bool roundTrip();

    bool AudioObjectHasProperty(AudioObjectID inObjectID,
                                const AudioObjectPropertyAddress* inAddress) override;
    OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                            const AudioObjectPropertyAddress* inAddress,
                                            UInt32 inQualifierDataSize, const void* inQualifierData,
                                            UInt32* outDataSize) override;
    OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32* ioDataSize, void* outData) override;
    OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32 inDataSize, const void* inData) override;
    OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID,
                                            const AudioObjectPropertyAddress* inAddress,
                                            AudioObjectPropertyListenerProc inListener,
                                            void* inClientData) override;
    OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID,
                                               const AudioObjectPropertyAddress* inAddress,
                                               AudioObjectPropertyListenerProc inListener,
                                               void* inClientData) override;

    struct Node;
    struct Events;
    struct Connection;

  private:
    struct Listener {
        AudioObjectPropertyAddress address;
        AudioObjectPropertyListenerProc proc;
        void* clientData;
    };

    void connect();
    // On PipeWire's thread: the connection, and the warning if it failed while in use.
    static void connectOnThread(void* self);
    // With the lock held: until the connection has been tried and, when made, the first
    // listing is in (bounded: a slow server's later nodes count as plugged in). Never
    // waits on PipeWire's own thread.
    void waitUntilStarted();
    void disconnect();
    void warnOnceIfUnreachable();
    // Under the loop's lock, all of them.
    void addNode(std::uint32_t id);
    void removeNode(std::uint32_t id);
    void nodeReady(Node& node);
    void coreDone(std::uint32_t id, int seq);
    void deviceListChanged();
    const Node* listedNode(AudioObjectID id) const;
    // Null without a connection.
    pw_core* core() const;

    PipeWireThreadLoop m_loop;
    // Before the nodes, whose proxies must go before it.
    std::unique_ptr<Connection> m_connection;
    std::map<std::uint32_t, std::unique_ptr<Node>> m_nodes;
    std::vector<Listener> m_listeners;
    // The connection has been tried (on PipeWire's thread).
    bool m_attempted = false;
    // Nodes ready before the first answer are present at start: they fire nothing.
    bool m_started = false;
    int m_startSeq = -1;
    bool m_secondStartSync = false;
    int m_roundTripSeq = -1;
    bool m_roundTripDone = false;
    std::string m_unreachable;
    std::once_flag m_warned;
};

}  // namespace qn::platform::linux_audio
