#include "tools/qnmanager/Transcript.h"

#include <cmath>

#include "tools/transcript/TranscriptLines.h"

namespace qn::tools::qnmanager {

void Transcript::write(const nlohmann::ordered_json& line) {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    // Milliseconds are all a reader of real time can use.
    const double seconds = std::round(elapsed.count() * 1000.0) / 1000.0;
    m_out << transcript::stamped(seconds, line).dump() << std::endl;
}

}  // namespace qn::tools::qnmanager
