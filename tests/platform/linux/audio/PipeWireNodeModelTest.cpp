#include "platform/linux/audio/PipeWireNodeModel.h"

#include <gtest/gtest.h>

#include "tk/libOSXAudio/AudioProperty.h"

namespace qn::platform::linux_audio {
namespace {

TEST(PipeWireNodeModel, AUsbNodeGetsAModelUIDTheListerReadsTheVendorFrom) {
    const auto model = nodeModel({{"device.vendor.id", "0xABCD"},
                                  {"device.product.id", "0x12"},
                                  {"device.bus", "usb"},
                                  {"device.product.name", "Adapter: Audio"},
                                  {"device.vendor.name", "Maker"},
                                  {"node.description", "Adapter Audio Analog Stereo"},
                                  {"node.name", "alsa_output.usb-x:y"}});
    // Neither the product name nor the node name: their colons would move the last one.
    EXPECT_EQ(model.modelUID, "usb:abcd:0012");
    EXPECT_EQ(tk::osx::vendorIdOfModelUID(model.modelUID), 43981u);
    EXPECT_EQ(model.name, "Adapter: Audio");
    EXPECT_EQ(model.manufacturer, "Maker");
    EXPECT_EQ(model.transportType, fourCharCode("usb "));

    const auto noProduct = nodeModel({{"device.vendor.id", "abcd"}});
    EXPECT_EQ(noProduct.modelUID, "usb:abcd:0000");
}

TEST(PipeWireNodeModel, ANodeWithoutVendorReadsAsNoUsbDevice) {
    const auto model = nodeModel({{"node.name", "alsa_output.pci-0000:00:1f.3.analog-stereo"},
                                  {"node.description", "Built-in Audio"}});
    EXPECT_EQ(model.modelUID, "node:alsa_output.pci-0000001f.3.analog-stereo");
    EXPECT_EQ(tk::osx::vendorIdOfModelUID(model.modelUID), std::nullopt);
    EXPECT_EQ(model.name, "Built-in Audio");
    EXPECT_EQ(model.manufacturer, "");
    EXPECT_EQ(model.transportType, 0u);
    // The name falls back along the node's own names.
    EXPECT_EQ(nodeModel({{"node.nick", "Nick"}, {"node.name", "n"}}).name, "Nick");
    EXPECT_EQ(nodeModel({{"node.name", "n"}}).name, "n");
}

TEST(PipeWireNodeModel, UsbIdsAreHexWithOrWithoutPrefix) {
    EXPECT_EQ(parseUsbId("0xabcd"), 0xabcdu);
    EXPECT_EQ(parseUsbId("0XABCD"), 0xabcdu);
    EXPECT_EQ(parseUsbId("abcd"), 0xabcdu);
    EXPECT_EQ(parseUsbId("1"), 1u);
    EXPECT_EQ(parseUsbId(""), std::nullopt);
    EXPECT_EQ(parseUsbId("0x"), std::nullopt);
    EXPECT_EQ(parseUsbId("12345"), std::nullopt);
    EXPECT_EQ(parseUsbId("abcd "), std::nullopt);
    EXPECT_EQ(parseUsbId("-1"), std::nullopt);
}

TEST(PipeWireNodeModel, OnlyAudioDeviceClassesAreDevices) {
    EXPECT_TRUE(isAudioNodeClass("Audio/Sink"));
    EXPECT_TRUE(isAudioNodeClass("Audio/Source"));
    EXPECT_FALSE(isAudioNodeClass("Stream/Output/Audio"));
    EXPECT_FALSE(isAudioNodeClass("Video/Source"));
    EXPECT_FALSE(isAudioNodeClass(nullptr));
}

}  // namespace
}  // namespace qn::platform::linux_audio
