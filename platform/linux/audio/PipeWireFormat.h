#pragma once
// The two SPA objects the audio backend reads and writes: a node's format (its rate)
// and the Props that set the rate.

#include <cstdint>
#include <optional>

struct spa_pod;
struct spa_pod_builder;

namespace qn::platform::linux_audio {

// The rate of a raw audio format object (EnumFormat or Format): the value, or the
// default of a choice. Nothing for other formats (DSD, video) or without a rate.
std::optional<double> rateOfFormat(const spa_pod* format);

// Props asking an adapter node to run at `rate`: params = [ "audio.rate" rate ].
const spa_pod* buildRateProps(spa_pod_builder& builder, std::int32_t rate);

}  // namespace qn::platform::linux_audio
