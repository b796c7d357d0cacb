#pragma once
// NSTimer on the event loop. A repeating timer keeps its grid: after a beat it is
// re-armed at the first grid point after now, so beats missed while the main thread was
// blocked are skipped, not caught up. The loop holds a scheduled timer until it is
// invalidated or, for a one-shot timer, has fired.

#include <memory>

#include "platform/Foundation.h"
#include "platform/Registration.h"
#include "platform/linux/event/EventLoop.h"

namespace qn::platform::linux_host {

class LinuxTimer : public NSTimer, public std::enable_shared_from_this<LinuxTimer> {
  public:
    LinuxTimer(EventLoop& loop, double seconds, NSTimerHandler handler, Value userInfo,
               bool repeats);

    void schedule(const std::string& name);

    void invalidate() override;
    bool isValid() const override { return m_valid; }
    double timeInterval() const override { return m_interval; }
    const Value& userInfo() const override { return m_userInfo; }

    // The first grid point after `now`, for a grid through `fireDate` with `step`.
    static std::uint64_t nextGridPoint(std::uint64_t fireDate, std::uint64_t step,
                                       std::uint64_t now);

  private:
    std::uint64_t fire();

    EventLoop& m_loop;
    double m_interval;
    NSTimerHandler m_handler;
    Value m_userInfo;
    bool m_repeats;
    bool m_valid = true;
    std::uint64_t m_fireDate = 0;
    Registration m_source;
};

}  // namespace qn::platform::linux_host
