#include "app/OSX/QuintorUserAgent/MessagePanel.h"

#include "app/OSX/QuintorUserAgent/WindowMessagePanel.h"

#include <utility>

namespace qn::app::osx::qnuapp {

namespace {

MessagePanel::Factory& installedFactory() {
    static MessagePanel::Factory factory;
    return factory;
}

}  // namespace

MessagePanel* MessagePanel::make() {
    const auto& factory = installedFactory();
    return factory ? factory() : &WindowMessagePanel::instance();
}

MessagePanel::ScopedFactory::ScopedFactory(Factory factory)
    : m_previous(std::exchange(installedFactory(), std::move(factory))) {}

MessagePanel::ScopedFactory::~ScopedFactory() {
    installedFactory() = std::move(m_previous);
}

}  // namespace qn::app::osx::qnuapp
