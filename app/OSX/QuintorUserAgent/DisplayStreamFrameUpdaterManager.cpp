#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterManager.h"

#include <memory>

namespace qn::app::osx::qnuapp {

DisplayStreamFrameUpdaterManager::DisplayStreamFrameUpdaterManager()
    : sys::Identity("DisplayStreamFrameUpdaterManager", "") {}

DisplayStreamFrameUpdaterManager::~DisplayStreamFrameUpdaterManager() {
    for (const auto& [displayId, updater] : m_displayStreamFrameUpdaters) {
        updater->stop();
    }
}

void DisplayStreamFrameUpdaterManager::startStream(std::uint32_t displayId,
                                                   std::uint32_t frameBufferIndex,
                                                   std::int64_t token) {
    const auto found = m_displayStreamFrameUpdaters.find(displayId);
    if (found != m_displayStreamFrameUpdaters.end()) {
        // An updater already there is started again as it stands.
        found->second->start(displayId, frameBufferIndex, static_cast<std::uint64_t>(token));
        return;
    }
    // Owned here until its start has returned: a start that ends the process (a display
    // id of 0) must not leave an updater that no stopped status will ever delete.
    auto updater = std::make_unique<DisplayStreamFrameUpdaterImpl>(
        m_qnmProxy, m_exceptionHandlingDelegate, &m_driverControlFactory, &m_memoryMapperFactory);
    updater->start(displayId, frameBufferIndex, static_cast<std::uint64_t>(token));
    m_displayStreamFrameUpdaters.emplace(displayId, updater.release());
}

void DisplayStreamFrameUpdaterManager::stopStream(std::uint32_t displayId) {
    const auto found = m_displayStreamFrameUpdaters.find(displayId);
    if (found == m_displayStreamFrameUpdaters.end()) {
        return;
    }
    found->second->stop();
    m_displayStreamFrameUpdaters.erase(found);
}

void DisplayStreamFrameUpdaterManager::releaseFrameSurface(std::uint32_t displayId,
                                                           std::uint64_t surfaceAddress) {
    // A release after a stop finds nobody, and its surface stays unreleased.
    const auto found = m_displayStreamFrameUpdaters.find(displayId);
    if (found != m_displayStreamFrameUpdaters.end()) {
        found->second->releaseFrameSurface(surfaceAddress);
    }
}

DisplayStreamFrameUpdaterImpl* DisplayStreamFrameUpdaterManager::updater(
    std::uint32_t displayId) const {
    const auto found = m_displayStreamFrameUpdaters.find(displayId);
    return found == m_displayStreamFrameUpdaters.end() ? nullptr : found->second;
}

}  // namespace qn::app::osx::qnuapp
