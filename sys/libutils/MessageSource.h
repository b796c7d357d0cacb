#pragma once

#include <cstdint>
#include <string>

namespace qn::sys {

// Gives the wide message pattern of a numeric exception code.
class MessageSource {
  public:
    virtual ~MessageSource() = default;
    virtual std::wstring getMessage(std::uint32_t code) const = 0;
};

// Installs the process-wide source and returns the former one. Meant to be set
// before threads start: the pointer is not protected.
MessageSource* setMessageSource(MessageSource* source);

// Restores the former source at the end of a scope.
class ScopedMessageSource {
  public:
    explicit ScopedMessageSource(MessageSource* source) : m_former(setMessageSource(source)) {}
    ~ScopedMessageSource() { setMessageSource(m_former); }
    ScopedMessageSource(const ScopedMessageSource&) = delete;
    ScopedMessageSource& operator=(const ScopedMessageSource&) = delete;

  private:
    MessageSource* m_former;
};

// The pattern of a code: the installed source's, or "Message 0x" and eight digits.
std::wstring messageFor(std::uint32_t code);

}  // namespace qn::sys
