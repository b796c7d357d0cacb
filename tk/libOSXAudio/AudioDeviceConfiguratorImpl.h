#pragma once

#include "sys/libutils/Logger.h"
#include "tk/libOSXAudio/AudioDeviceConfigurator.h"

namespace qn::tk::osx {

class AudioDeviceConfiguratorImpl : public sys::Logger::Logged,
                                    public AudioDeviceConfigurator,
                                    public AudioDeviceEvents::Handler {
  public:
    // Handles the lister's events from now until its own end; the lister is not owned.
    explicit AudioDeviceConfiguratorImpl(QuintorAudioDeviceLister* lister);
    ~AudioDeviceConfiguratorImpl() override;

    void handle(AudioDeviceEvents::Source& source, const AudioDeviceEvent& event) override;

  private:
    QuintorAudioDeviceLister* m_lister;
    double m_sampleRate;
};

}  // namespace qn::tk::osx
