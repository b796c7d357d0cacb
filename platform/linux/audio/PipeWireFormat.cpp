#include "platform/linux/audio/PipeWireFormat.h"

#include <spa/param/audio/format.h>
#include <spa/param/format-utils.h>
#include <spa/param/format.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

namespace qn::platform::linux_audio {

std::optional<double> rateOfFormat(const spa_pod* format) {
    if (!format || !spa_pod_is_object_type(format, SPA_TYPE_OBJECT_Format)) {
        return std::nullopt;
    }
    std::uint32_t mediaType = 0, mediaSubtype = 0;
    if (spa_format_parse(format, &mediaType, &mediaSubtype) < 0 ||
        mediaType != SPA_MEDIA_TYPE_audio || mediaSubtype != SPA_MEDIA_SUBTYPE_raw) {
        return std::nullopt;
    }
    const spa_pod_prop* prop = spa_pod_find_prop(format, nullptr, SPA_FORMAT_AUDIO_rate);
    if (!prop) {
        return std::nullopt;
    }
    std::uint32_t count = 0, choice = 0;
    // The first value is the value itself, or the choice's default.
    const spa_pod* value = spa_pod_get_values(&prop->value, &count, &choice);
    std::int32_t rate = 0;
    if (count == 0 || spa_pod_get_int(value, &rate) < 0) {
        return std::nullopt;
    }
    return static_cast<double>(rate);
}

const spa_pod* buildRateProps(spa_pod_builder& builder, std::int32_t rate) {
    spa_pod_frame object{}, params{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    spa_pod_builder_prop(&builder, SPA_PROP_params, 0);
    spa_pod_builder_push_struct(&builder, &params);
    spa_pod_builder_string(&builder, "audio.rate");
    spa_pod_builder_int(&builder, rate);
    spa_pod_builder_pop(&builder, &params);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object));
}

}  // namespace qn::platform::linux_audio
