#include "sys/libutils/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "sys/libutils/Conversions.h"
#include "sys/libutils/MessageSource.h"

namespace qn::sys {
namespace {

class TableSource : public MessageSource {
  public:
    std::wstring getMessage(std::uint32_t code) const override {
        auto found = m_table.find(code);
        return found == m_table.end() ? L"?" : found->second;
    }
    std::map<std::uint32_t, std::wstring> m_table;
};

TEST(ExceptionText, WithoutSourceShowsCodeOnly) {
    EXPECT_EQ(IntException(35, 7).getMessage(), L"Message 0x00000023");
    EXPECT_EQ(StringException(38, "name").getMessage(), L"Message 0x00000026");
    EXPECT_EQ(MessageException(12).getMessage(), L"Message 0x0000000C");
    EXPECT_STREQ(FileException(14, L"/x").what(), "Message 0x0000000E");
}

TEST(ExceptionText, ParametersFillThePattern) {
    TableSource source;
    source.m_table[1] = L"code %1";
    source.m_table[5] = L"%1 failed: %2";
    source.m_table[6] = L"value=%1";
    source.m_table[7] = L"wrapped <%1>";
    ScopedMessageSource scope(&source);

    // An empty argument adds nothing; the ones behind it move down.
    EXPECT_EQ(StringException(5, L"").getMessage(), L" failed: ");
    EXPECT_EQ(StringException(5, "open").getMessage(), L"open failed: ");
    EXPECT_EQ(IntException(6, -42).getMessage(), L"value=-42");
    EXPECT_EQ(FileException(6, L"/tmp/a").getMessage(), L"value=/tmp/a");
    EXPECT_EQ(WrappedException(7, IntException(6, 3)).getMessage(), L"wrapped <value=3>");
    EXPECT_EQ(SystemMessageException(6, 2).getMessage(),
              L"value=posix 0x00000002: No such file or directory");
    EXPECT_EQ(ErrorCodeException(11).getMessage(), L"code 11");
}

TEST(ExceptionText, ScopedSourceRestoresFormer) {
    TableSource source;
    source.m_table[12] = L"unknown argument";
    {
        ScopedMessageSource scope(&source);
        EXPECT_EQ(MessageException(12).getMessage(), L"unknown argument");
    }
    EXPECT_EQ(MessageException(12).getMessage(), L"Message 0x0000000C");
}

TEST(ExceptionText, ErrorCodesAndSystemErrors) {
    EXPECT_EQ(ErrorCodeException(0).getMessage(), L"");
    EXPECT_EQ(ErrorCodeException(10).getMessage(), L"Message 0x0000000A");
    EXPECT_EQ(ErrorCodeException(11).getMessage(), L"Message 0x00000001");
    EXPECT_EQ(SystemError(10, 13).getMessage(),
              L"Message 0x0000000A, posix 0x0000000d: Permission denied");
    EXPECT_EQ(SystemErrorCodeException(22).getMessage(), L"posix 0x00000016: Invalid argument");
    errno = EPIPE;
    SocketError socket(1);
    EXPECT_EQ(socket.systemCode(), static_cast<std::uint64_t>(EPIPE));
}

TEST(ExceptionText, InternalErrorShowsSystemTextOnlyForCodeZero) {
    EXPECT_EQ(InternalError(1, 5, L"detail").getMessage(),
              L"Internal error \"Message 0x00000001\", detail");
    std::wstring zero = L"posix 0x00000000: " + ToWideString(std::strerror(0));
    EXPECT_EQ(InternalError(1, 0, L"detail").getMessage(),
              L"Internal error \"Message 0x00000001\", " + zero + L"\", detail");
}

TEST(ExceptionText, WhatIsNarrowWithQuestionMarks) {
    TableSource source;
    source.m_table[3] = L"caf\u00e9 %1";
    ScopedMessageSource scope(&source);
    StringException e(3, L"\u00fc");
    EXPECT_STREQ(e.what(), "caf? ?");
    const std::exception& asStd = e;
    EXPECT_STREQ(asStd.what(), "caf? ?");
}

TEST(ExceptionCopies, CloneAndRaiseKeepDynamicType) {
    StringException original(38, "in use");
    std::unique_ptr<Exception> copy = original.clone();
    ASSERT_NE(dynamic_cast<StringException*>(copy.get()), nullptr);
    EXPECT_EQ(static_cast<StringException&>(*copy).text(), L"in use");

    const Exception& asBase = SystemError(1, 4);
    try {
        asBase.raise();
        FAIL() << "raise returned";
    } catch (const SystemError& e) {
        EXPECT_EQ(e.systemCode(), 4u);
    }
}

TEST(ExceptionCopies, WrappedOwnsItsOwnInner) {
    auto inner = std::make_unique<IntException>(6, 9);
    WrappedException wrapped(7, *inner);
    inner.reset();  // the wrapper holds a clone, not the original
    WrappedException copy(wrapped);
    EXPECT_NE(copy.inner(), wrapped.inner());
    EXPECT_NE(dynamic_cast<const IntException*>(copy.inner()), nullptr);
    EXPECT_EQ(copy.getMessage(), L"Message 0x00000007");
}

TEST(ExceptionFailure, CarriesItsText) {
    EXPECT_STREQ(Failure("No more filters can be set").what(), "No more filters can be set");
}

}  // namespace
}  // namespace qn::sys
