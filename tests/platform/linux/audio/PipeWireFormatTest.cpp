#include "platform/linux/audio/PipeWireFormat.h"

#include <gtest/gtest.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>
#include <spa/pod/parser.h>

#include <cstring>
#include <string>

namespace qn::platform::linux_audio {
namespace {

TEST(PipeWireFormat, TheRateOfARawFormatIsItsValueOrTheChoiceDefault) {
    std::uint8_t buffer[1024];
    spa_pod_builder b = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_S16;
    info.rate = 44100;
    info.channels = 2;
    const spa_pod* fixed = spa_format_audio_raw_build(&b, SPA_PARAM_EnumFormat, &info);
    EXPECT_EQ(rateOfFormat(fixed), 44100.0);

    // A range, as a node that can run at several rates offers it: its default.
    spa_pod_builder r = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const auto* range = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &r, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_audio), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_AUDIO_rate,
        SPA_POD_CHOICE_RANGE_Int(48000, 8000, 192000)));
    EXPECT_EQ(rateOfFormat(range), 48000.0);
}

TEST(PipeWireFormat, OtherFormatsAndOtherObjectsHaveNoRate) {
    std::uint8_t buffer[1024];
    spa_pod_builder b = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const auto* dsd = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_audio), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_dsd), SPA_FORMAT_AUDIO_rate, SPA_POD_Int(352800)));
    EXPECT_EQ(rateOfFormat(dsd), std::nullopt);

    spa_pod_builder n = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const auto* noRate = static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&n, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
                                   SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_audio),
                                   SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw)));
    EXPECT_EQ(rateOfFormat(noRate), std::nullopt);

    spa_pod_builder p = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    EXPECT_EQ(rateOfFormat(buildRateProps(p, 48000)), std::nullopt);
    EXPECT_EQ(rateOfFormat(nullptr), std::nullopt);
}

TEST(PipeWireFormat, RatePropsCarryTheRateAsAnAdapterParam) {
    std::uint8_t buffer[256];
    spa_pod_builder b = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const spa_pod* props = buildRateProps(b, 48000);
    ASSERT_TRUE(spa_pod_is_object_type(props, SPA_TYPE_OBJECT_Props));
    const spa_pod_prop* params = spa_pod_find_prop(props, nullptr, SPA_PROP_params);
    ASSERT_NE(params, nullptr);
    spa_pod_parser parser;
    spa_pod_parser_pod(&parser, &params->value);
    spa_pod_frame frame;
    ASSERT_EQ(spa_pod_parser_push_struct(&parser, &frame), 0);
    const char* key = nullptr;
    std::int32_t rate = 0;
    ASSERT_EQ(spa_pod_parser_get_string(&parser, &key), 0);
    ASSERT_EQ(spa_pod_parser_get_int(&parser, &rate), 0);
    EXPECT_STREQ(key, "audio.rate");
    EXPECT_EQ(rate, 48000);
}

}  // namespace
}  // namespace qn::platform::linux_audio
