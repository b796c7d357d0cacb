#pragma once
// Reference-counted host objects. Surfaces, stream updates, display modes, streams and
// host strings are handed out as pointers to objects of this kind; the logic's
// correctness is partly stated in their counts, so every backend counts them.

#include <cstdint>

namespace qn::platform {

class CFObject {
  public:
    virtual ~CFObject() = default;
    virtual void retain() = 0;
    virtual void release() = 0;
    virtual long retainCount() const = 0;
};

using CFTypeRef = CFObject*;

inline CFTypeRef CFRetain(CFTypeRef object) {
    object->retain();
    return object;
}
inline void CFRelease(CFTypeRef object) {
    object->release();
}
inline long CFGetRetainCount(CFTypeRef object) {
    return object->retainCount();
}

// A host string handed out by reference (audio object names).
using CFStringEncoding = std::uint32_t;
constexpr CFStringEncoding kCFStringEncodingMacRoman = 0;
constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

class CFStringObject : public CFObject {
  public:
    // The characters in the given encoding without a copy, or null when the host cannot
    // give them that way.
    virtual const char* cStringPtr(CFStringEncoding encoding) const = 0;
};

using CFStringRef = CFStringObject*;

inline CFStringEncoding CFStringGetSystemEncoding() {
    return kCFStringEncodingMacRoman;
}
inline const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
    return string->cStringPtr(encoding);
}

}  // namespace qn::platform
