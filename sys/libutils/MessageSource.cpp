#include "sys/libutils/MessageSource.h"

#include "sys/libutils/Conversions.h"
#include "sys/libutils/Hex.h"

namespace qn::sys {

namespace {
MessageSource* g_source = nullptr;
}

MessageSource* setMessageSource(MessageSource* source) {
    MessageSource* former = g_source;
    g_source = source;
    return former;
}

std::wstring messageFor(std::uint32_t code) {
    if (g_source != nullptr) {
        return g_source->getMessage(code);
    }
    return L"Message 0x" + ToWideString(U32ToHexString(code));
}

}  // namespace qn::sys
