#include "sys/libutils/Exception.h"

#include <cerrno>

#include "sys/libutils/Conversions.h"
#include "sys/libutils/MessageSource.h"
#include "sys/libutils/posix/Exception.h"

namespace qn::sys {

const char* ExceptionBase::what() const noexcept {
    m_what = ToNarrowString(getMessage());
    return m_what.c_str();
}

std::wstring MessageException::getMessage() const {
    WFormatter formatter;
    formatter.setPattern(messageFor(m_code));
    addParameters(formatter);
    return formatter.result();
}

StringException::StringException(std::uint32_t code, const char* text)
    : MessageException(code), m_text(ToWideString(text)) {}

StringException::StringException(std::uint32_t code, const std::string& text)
    : MessageException(code), m_text(ToWideString(text)) {}

StringException::StringException(std::uint32_t code, const wchar_t* text)
    : MessageException(code), m_text(text) {}

StringException::StringException(std::uint32_t code, std::wstring text)
    : MessageException(code), m_text(std::move(text)) {}

WFormatter& StringException::addParameters(WFormatter& formatter) const {
    return (formatter << m_text).next();
}

WFormatter& IntException::addParameters(WFormatter& formatter) const {
    return (formatter << m_value).next();
}

WrappedException::WrappedException(std::uint32_t code, const Exception& inner)
    : MessageException(code), m_inner(inner.clone()) {}

WrappedException::WrappedException(const WrappedException& other)
    : MessageException(other), m_inner(other.m_inner ? other.m_inner->clone() : nullptr) {}

WFormatter& WrappedException::addParameters(WFormatter& formatter) const {
    return (formatter << (m_inner ? m_inner->getMessage() : std::wstring())).next();
}

WFormatter& FileException::addParameters(WFormatter& formatter) const {
    return (formatter << m_path).next();
}

WFormatter& SystemMessageException::addParameters(WFormatter& formatter) const {
    return (formatter << systemErrorText(m_systemCode)).next();
}

std::wstring ErrorCodeException::getMessage() const {
    if (m_code == 0) {
        return std::wstring();
    }
    if (m_code <= 10) {
        return messageFor(m_code);
    }
    WFormatter formatter;
    formatter.setPattern(messageFor(1));
    (formatter << m_code).next();
    return formatter.result();
}

std::wstring SystemError::getMessage() const {
    return ErrorCodeException::getMessage() + L", " + systemErrorText(m_systemCode);
}

SocketError::SocketError(std::uint32_t code)
    : SystemError(code, static_cast<std::uint64_t>(errno)) {}

std::wstring InternalError::getMessage() const {
    std::wstring text = L"Internal error \"" + ErrorCodeException::getMessage() + L"\", ";
    // The system text stands only for code zero; settled behaviour, kept as is.
    if (systemCode() == 0) {
        text += systemErrorText(systemCode()) + L"\", ";
    }
    return text + m_detail;
}

std::wstring SystemErrorCodeException::getMessage() const {
    return systemErrorText(m_systemCode);
}

}  // namespace qn::sys
