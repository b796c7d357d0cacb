#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "sys/libutils/Formatter.h"

namespace qn::sys {

// Every failure of the foundation library is one of these. The text is made
// only when asked for, from the code's pattern and the parameters, so that a
// throw never depends on the message source.
class Exception {
  public:
    virtual ~Exception() = default;
    virtual std::unique_ptr<Exception> clone() const = 0;
    [[noreturn]] virtual void raise() const = 0;
    virtual std::wstring getMessage() const = 0;
};

class ExceptionBase : public Exception, public std::exception {
  public:
    // The message made narrow, "?" for each character not below 128.
    const char* what() const noexcept override;

  private:
    mutable std::string m_what;
};

// Clone and raise keep the dynamic type; every concrete class uses this.
#define QN_EXCEPTION_COPYABLE(Class)                               \
    std::unique_ptr<::qn::sys::Exception> clone() const override { \
        return std::make_unique<Class>(*this);                     \
    }                                                              \
    [[noreturn]] void raise() const override {                     \
        throw Class(*this);                                        \
    }

class MessageException : public ExceptionBase {
  public:
    explicit MessageException(std::uint32_t code) : m_code(code) {}
    QN_EXCEPTION_COPYABLE(MessageException)
    std::wstring getMessage() const final;
    std::uint32_t code() const { return m_code; }
    virtual WFormatter& addParameters(WFormatter& formatter) const { return formatter; }

  private:
    std::uint32_t m_code;
};

class StringException : public MessageException {
  public:
    StringException(std::uint32_t code, const char* text);
    StringException(std::uint32_t code, const std::string& text);
    StringException(std::uint32_t code, const wchar_t* text);
    StringException(std::uint32_t code, std::wstring text);
    QN_EXCEPTION_COPYABLE(StringException)
    WFormatter& addParameters(WFormatter& formatter) const override;
    const std::wstring& text() const { return m_text; }

  private:
    std::wstring m_text;
};

class IntException : public MessageException {
  public:
    IntException(std::uint32_t code, std::int32_t value) : MessageException(code), m_value(value) {}
    QN_EXCEPTION_COPYABLE(IntException)
    WFormatter& addParameters(WFormatter& formatter) const override;

  private:
    std::int32_t m_value;
};

class WrappedException : public MessageException {
  public:
    WrappedException(std::uint32_t code, const Exception& inner);
    WrappedException(const WrappedException& other);
    WrappedException& operator=(const WrappedException&) = delete;
    QN_EXCEPTION_COPYABLE(WrappedException)
    WFormatter& addParameters(WFormatter& formatter) const override;
    const Exception* inner() const { return m_inner.get(); }

  private:
    std::unique_ptr<Exception> m_inner;
};

class FileException : public MessageException {
  public:
    FileException(std::uint32_t code, std::wstring path)
        : MessageException(code), m_path(std::move(path)) {}
    QN_EXCEPTION_COPYABLE(FileException)
    WFormatter& addParameters(WFormatter& formatter) const override;

  private:
    std::wstring m_path;
};

class SystemMessageException : public MessageException {
  public:
    SystemMessageException(std::uint32_t code, std::uint64_t systemCode)
        : MessageException(code), m_systemCode(systemCode) {}
    QN_EXCEPTION_COPYABLE(SystemMessageException)
    WFormatter& addParameters(WFormatter& formatter) const override;

  private:
    std::uint64_t m_systemCode;
};

// A code with no parameters: 0 is silent, 1..10 are their own patterns, and
// higher codes share the pattern of code 1 with the number as argument.
class ErrorCodeException : public ExceptionBase {
  public:
    explicit ErrorCodeException(std::uint32_t code) : m_code(code) {}
    QN_EXCEPTION_COPYABLE(ErrorCodeException)
    std::wstring getMessage() const override;
    std::uint32_t code() const { return m_code; }

  private:
    std::uint32_t m_code;
};

class SystemError : public ErrorCodeException {
  public:
    SystemError(std::uint32_t code, std::uint64_t systemCode)
        : ErrorCodeException(code), m_systemCode(systemCode) {}
    QN_EXCEPTION_COPYABLE(SystemError)
    std::wstring getMessage() const override;
    std::uint64_t systemCode() const { return m_systemCode; }

  private:
    std::uint64_t m_systemCode;
};

// Takes its system code from errno when built.
class SocketError : public SystemError {
  public:
    explicit SocketError(std::uint32_t code);
    QN_EXCEPTION_COPYABLE(SocketError)
};

class InternalError : public SystemError {
  public:
    InternalError(std::uint32_t code, std::uint64_t systemCode, std::wstring detail)
        : SystemError(code, systemCode), m_detail(std::move(detail)) {}
    QN_EXCEPTION_COPYABLE(InternalError)
    std::wstring getMessage() const override;

  private:
    std::wstring m_detail;
};

class SystemErrorCodeException : public Exception {
  public:
    explicit SystemErrorCodeException(std::uint64_t systemCode) : m_systemCode(systemCode) {}
    QN_EXCEPTION_COPYABLE(SystemErrorCodeException)
    std::wstring getMessage() const override;
    std::uint64_t systemCode() const { return m_systemCode; }

  private:
    std::uint64_t m_systemCode;
};

// Named by the last-resort handler; nothing throws it.
class SystemException {
  public:
    virtual ~SystemException() = default;
    virtual const char* what() const = 0;
};

// A bare text, thrown where no code was ever assigned.
class Failure : public std::exception {
  public:
    explicit Failure(std::string text) : m_text(std::move(text)) {}
    const char* what() const noexcept override { return m_text.c_str(); }

  private:
    std::string m_text;
};

}  // namespace qn::sys
