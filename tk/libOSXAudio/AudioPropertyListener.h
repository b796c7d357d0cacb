#pragma once

#include "platform/CoreAudio.h"

namespace qn::tk::osx {

// A property listener on one audio object, registered for the life of this object.
class AudioPropertyListener {
  public:
    // The registration's result is not looked at: a listener that did not take is
    // simply never called.
    AudioPropertyListener(platform::AudioObjectID object,
                          const platform::AudioObjectPropertyAddress& address,
                          platform::AudioObjectPropertyListenerProc proc, void* clientData);
    ~AudioPropertyListener();
    AudioPropertyListener(const AudioPropertyListener&) = delete;
    AudioPropertyListener& operator=(const AudioPropertyListener&) = delete;

  private:
    platform::AudioObjectID m_object;
    platform::AudioObjectPropertyAddress m_address;
    platform::AudioObjectPropertyListenerProc m_proc;
    void* m_clientData;
};

}  // namespace qn::tk::osx
