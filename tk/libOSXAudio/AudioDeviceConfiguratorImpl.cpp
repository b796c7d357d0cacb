#include "tk/libOSXAudio/AudioDeviceConfiguratorImpl.h"

namespace qn::tk::osx {

using sys::Logger;

std::unique_ptr<AudioDeviceConfigurator> AudioDeviceConfigurator::create(
    QuintorAudioDeviceLister* lister) {
    return std::make_unique<AudioDeviceConfiguratorImpl>(lister);
}

AudioDeviceConfiguratorImpl::AudioDeviceConfiguratorImpl(QuintorAudioDeviceLister* lister)
    : sys::Identity("AudioDeviceConfiguratorImpl", ""), m_lister(lister), m_sampleRate(48000.0) {
    m_lister->addHandler(this);
}

AudioDeviceConfiguratorImpl::~AudioDeviceConfiguratorImpl() {
    m_lister->removeHandler(this);
}

void AudioDeviceConfiguratorImpl::handle(AudioDeviceEvents::Source&,
                                         const AudioDeviceEvent& event) {
    // The actual rate decides, the nominal one is written: a device whose rate cannot be
    // read (0.0) gets the write too.
    if (event.device->actualSampleRate() == m_sampleRate) {
        return;
    }
    QN_LOG(*this, Logger::DEBUG) << "setting 48kHz on " << event.device->modelUID();
    event.device->setNominalSampleRate(m_sampleRate);
}

}  // namespace qn::tk::osx
