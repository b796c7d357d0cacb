#pragma once
// What display streaming adds to a transcript: surface addresses become stable names
// ("surface 1", "surface 2", ... in order of first appearance), each driver call is a
// line with its record decoded, and each change of a surface's use or retain count is a
// line with both counts.

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/sim/SimHost.h"
#include "platform/sim/SimManagerEvent.h"
#include "platform/sim/SimUserClientCall.h"

namespace qn::tools::qnscenario {

class StreamTranscript {
  public:
    using Writer = std::function<void(const nlohmann::ordered_json& line)>;
    StreamTranscript(platform::sim::SimHost& host, Writer writer);

    // The name of a surface's address; other numbers stay as they are.
    nlohmann::ordered_json address(std::uint64_t value);
    // Rewrites the addresses in a Manager line.
    void normalise(nlohmann::ordered_json& line, const platform::sim::SimManagerEvent& event);
    nlohmann::ordered_json driverLine(const platform::sim::SimUserClientCall& call);
    // Count lines of the surfaces that changed since the last flush.
    void flush();

  private:
    std::string name(const platform::sim::SimSurface& surface);
    const platform::sim::SimSurface* surfaceAt(std::uint64_t address) const;

    platform::sim::SimHost& m_host;
    Writer m_writer;
    std::map<const platform::sim::SimSurface*, int> m_names;
    // In the order of their first change since the last flush.
    std::vector<platform::sim::SimSurface*> m_changed;
    std::map<const platform::sim::SimSurface*, std::pair<std::int32_t, long>> m_written;
    bool m_flushing = false;
};

}  // namespace qn::tools::qnscenario
