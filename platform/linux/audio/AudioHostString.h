#pragma once
// A host string handed out by the audio backend: a counted copy of the text, owned by
// whoever got it and freed by its last release.

#include <atomic>
#include <string>

#include "platform/CoreFoundation.h"

namespace qn::platform::linux_audio {

class AudioHostString : public CFStringObject {
  public:
    explicit AudioHostString(std::string text) : m_text(std::move(text)) {}

    void retain() override { ++m_count; }
    void release() override {
        if (--m_count == 0) {
            delete this;
        }
    }
    long retainCount() const override { return m_count.load(); }
    // The text is kept in UTF-8, which the system encoding's callers read as it is.
    const char* cStringPtr(CFStringEncoding) const override { return m_text.c_str(); }

  private:
    ~AudioHostString() override = default;
    std::string m_text;
    std::atomic<long> m_count{1};
};

}  // namespace qn::platform::linux_audio
