#include <gtest/gtest.h>

#include <cstring>

#include "tests/tk/libOSXAudio/AudioTestSupport.h"
#include "tk/libOSXAudio/AudioDeviceImpl.h"
#include "tk/libOSXAudio/AudioProperty.h"

namespace qn::tk::osx {
namespace {

using namespace platform;
using platform::sim::SimAudioProperty;
using testing::Lines;

TEST(ModelUID, VendorIsTheHexBetweenFirstAndLastColon) {
    EXPECT_EQ(vendorIdOfModelUID("abc"), std::nullopt);
    EXPECT_EQ(vendorIdOfModelUID("USB Audio:ABCD"), std::nullopt);
    EXPECT_EQ(vendorIdOfModelUID(":"), std::nullopt);
    EXPECT_EQ(vendorIdOfModelUID("USB Audio:ABCD:1"), 43981u);
    EXPECT_EQ(vendorIdOfModelUID("usb:abcd:0x0001"), 43981u);
    EXPECT_EQ(vendorIdOfModelUID("usb:AbCd:1"), 43981u);
    // More than two colons: all between first and last goes to the parser, which stops
    // at the first character that is no hex digit.
    EXPECT_EQ(vendorIdOfModelUID("usb:abcd:7:1"), 43981u);
    EXPECT_EQ(vendorIdOfModelUID("a:1:2:b"), 1u);
    // Nothing that reads: 0.
    EXPECT_EQ(vendorIdOfModelUID("usb::1"), 0u);
    EXPECT_EQ(vendorIdOfModelUID("usb:xyz:1"), 0u);
    EXPECT_EQ(vendorIdOfModelUID("usb:123456789:1"), 0u);
}

TEST(ModelUID, PropertyNamesAsTheLogPrintsThem) {
    EXPECT_STREQ(audioPropertyName(kAudioDevicePropertyModelUID), "kAudioDevicePropertyModelUID");
    EXPECT_STREQ(audioPropertyName(kAudioObjectPropertyManufacturer),
                 "kAudioObjectPropertyManufacturer");
    EXPECT_STREQ(audioPropertyName(kAudioHardwarePropertyDevices), "unrecognized property");
}

class AudioDeviceTest : public testing::AudioFixture {};

TEST_F(AudioDeviceTest, ReadsAndWritesThroughThePort) {
    auto adapter = testing::audioDevice(7, "usb:abcd:1");
    adapter.name = "Adapter Audio";
    adapter.manufacturer = "Maker";
    audio().addDevice(adapter);
    AudioDeviceImpl device(7);
    EXPECT_EQ(device.actualSampleRate(), 44100.0);
    EXPECT_EQ(device.transportType(), fourCharCode("usb "));
    EXPECT_EQ(device.name(), "Adapter Audio");
    EXPECT_EQ(device.manufacturer(), "Maker");
    EXPECT_EQ(device.vendorId(), 43981u);
    EXPECT_TRUE(device.isQuintorDevice());

    device.setNominalSampleRate(48000.0);
    const auto calls = audio().setCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].selector, kAudioDevicePropertyNominalSampleRate);
    double written = 0;
    ASSERT_EQ(calls[0].bytes.size(), sizeof(written));
    std::memcpy(&written, calls[0].bytes.data(), sizeof(written));
    EXPECT_EQ(written, 48000.0);
    EXPECT_EQ(newLines(), Lines{});
    // One string per read; a release too many would be a fault of the host.
    EXPECT_EQ(audio().stringsHandedOut(), 4u);
}

TEST_F(AudioDeviceTest, MissingPropertiesGiveZeroValuesAndWarnings) {
    audio().addDevice(testing::audioDevice(7, "abc"));
    audio().removeProperty(7, kAudioDevicePropertyActualSampleRate);
    audio().removeProperty(7, kAudioDevicePropertyTransportType);
    audio().removeProperty(7, kAudioObjectPropertyName);
    AudioDeviceImpl device(7);
    EXPECT_EQ(device.actualSampleRate(), 0.0);
    EXPECT_EQ(device.transportType(), 0u);
    EXPECT_EQ(device.name(), "");
    // No colon in the model UID: no vendor, said at VERBOSE.
    EXPECT_EQ(device.vendorId(), 0u);
    EXPECT_FALSE(device.isQuintorDevice());
    EXPECT_EQ(newLines(),
              (Lines{"WARN [AudioDevice] Device: 7 does not have sample rate property.",
                     "WARN [AudioDevice] Device: 7 does not have transport property.",
                     "WARN [AudioDevice] Device 7 has no kAudioObjectPropertyName property",
                     "VERBOSE [AudioDevice] Device: 7 has no VID. Probably not a USB device.",
                     "VERBOSE [AudioDevice] Device: 7 has no VID. Probably not a USB device."}));

    // One colon: no vendor either; an empty model UID gives 0 without a line.
    audio().setProperty(7, kAudioDevicePropertyModelUID, SimAudioProperty::string("usb:abcd"));
    EXPECT_EQ(device.vendorId(), 0u);
    audio().setProperty(7, kAudioDevicePropertyModelUID, SimAudioProperty::string(""));
    EXPECT_EQ(device.vendorId(), 0u);
    EXPECT_EQ(newLines(),
              Lines{"VERBOSE [AudioDevice] Device: 7 has no VID. Probably not a USB device."});
}

TEST_F(AudioDeviceTest, FailingCallsAreLoggedWithTheirStatusInDecimal) {
    audio().addDevice(testing::audioDevice(9, "usb:abcd:1"));
    const OSStatus what = kAudioHardwareUnspecifiedError;
    audio().setStatuses(9, kAudioDevicePropertyActualSampleRate, noErr, what, noErr);
    audio().setStatuses(9, kAudioDevicePropertyTransportType, noErr, what, noErr);
    audio().setStatuses(9, kAudioDevicePropertyModelUID, noErr, what, noErr);
    audio().setStatuses(9, kAudioDevicePropertyNominalSampleRate, noErr, noErr, what);
    AudioDeviceImpl device(9);
    EXPECT_EQ(device.actualSampleRate(), 0.0);
    EXPECT_EQ(device.transportType(), 0u);
    EXPECT_EQ(device.modelUID(), "");
    device.setNominalSampleRate(48000.0);
    const std::string code = std::to_string(what);
    EXPECT_EQ(
        newLines(),
        (Lines{"ERROR [AudioDevice] Failed to get sample rate from device: 9 (error code: " + code +
                   ")",
               "ERROR [AudioDevice] Failed to get transport rate from device: 9 (error "
               "code: " +
                   code + ")",
               "ERROR [AudioDevice] Failed to get kAudioDevicePropertyModelUID property "
               "from device: 9 (error code: " +
                   code + ")",
               "ERROR [AudioDevice] Failed to set sample rate on device 9 (error code: " + code +
                   ")"}));
}

TEST_F(AudioDeviceTest, AStringWithoutDirectCharactersReadsEmpty) {
    audio().addDevice(testing::audioDevice(7, "usb:abcd:1"));
    auto uid = SimAudioProperty::string("usb:abcd:1");
    uid.directPointer = false;
    audio().setProperty(7, kAudioDevicePropertyModelUID, uid);
    AudioDeviceImpl device(7);
    EXPECT_EQ(device.modelUID(), "");
    EXPECT_EQ(device.vendorId(), 0u);
    EXPECT_EQ(newLines(), Lines{});
}

}  // namespace
}  // namespace qn::tk::osx
