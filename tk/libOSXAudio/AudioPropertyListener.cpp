#include "tk/libOSXAudio/AudioPropertyListener.h"

#include "platform/Backend.h"

namespace qn::tk::osx {

AudioPropertyListener::AudioPropertyListener(platform::AudioObjectID object,
                                             const platform::AudioObjectPropertyAddress& address,
                                             platform::AudioObjectPropertyListenerProc proc,
                                             void* clientData)
    : m_object(object), m_address(address), m_proc(proc), m_clientData(clientData) {
    platform::coreAudio().AudioObjectAddPropertyListener(m_object, &m_address, m_proc,
                                                         m_clientData);
}

AudioPropertyListener::~AudioPropertyListener() {
    platform::coreAudio().AudioObjectRemovePropertyListener(m_object, &m_address, m_proc,
                                                            m_clientData);
}

}  // namespace qn::tk::osx
