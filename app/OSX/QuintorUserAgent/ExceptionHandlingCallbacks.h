#pragma once

namespace qn::app::osx::qnuapp {

// Told by whoever saw a call on the Manager's proxy fail, so that the link can be
// rebuilt.
class ExceptionHandlingCallbacks {
  public:
    virtual ~ExceptionHandlingCallbacks() = default;
    virtual void onProxyException() = 0;
};

}  // namespace qn::app::osx::qnuapp
