#pragma once
// One property of a simulated audio object, with the statuses its calls give.

#include <string>
#include <vector>

#include "platform/CoreAudio.h"

namespace qn::platform::sim {

struct SimAudioProperty {
    enum class Type { Float64, UInt32, String, ObjectList };
    Type type = Type::UInt32;
    double real = 0;
    std::uint32_t integer = 0;
    std::string text;
    // A string that the host cannot hand out as a direct C string.
    bool directPointer = true;
    std::vector<AudioObjectID> objects;
    OSStatus sizeStatus = noErr;
    OSStatus getStatus = noErr;
    OSStatus setStatus = noErr;

    static SimAudioProperty float64(double value) {
        SimAudioProperty p;
        p.type = Type::Float64;
        p.real = value;
        return p;
    }
    static SimAudioProperty uint32(std::uint32_t value) {
        SimAudioProperty p;
        p.type = Type::UInt32;
        p.integer = value;
        return p;
    }
    static SimAudioProperty string(std::string value) {
        SimAudioProperty p;
        p.type = Type::String;
        p.text = std::move(value);
        return p;
    }
};

}  // namespace qn::platform::sim
