#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"

#include <utility>

namespace qn::app::osx::qnuapp {

namespace {

QNUAMessageWindowController::Factory& installedFactory() {
    static QNUAMessageWindowController::Factory factory;
    return factory;
}

}  // namespace

QNUAMessageWindowController* QNUAMessageWindowController::alloc_init() {
    const auto& factory = installedFactory();
    return factory ? factory() : nullptr;
}

QNUAMessageWindowController::ScopedFactory::ScopedFactory(Factory factory)
    : m_previous(std::exchange(installedFactory(), std::move(factory))) {}

QNUAMessageWindowController::ScopedFactory::~ScopedFactory() {
    installedFactory() = std::move(m_previous);
}

}  // namespace qn::app::osx::qnuapp
