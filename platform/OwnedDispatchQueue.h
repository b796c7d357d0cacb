#pragma once
// A serial dispatch queue with one owner: made by the installed backend, released with
// it when the owner goes.

#include "platform/Backend.h"
#include "platform/Dispatch.h"

namespace qn::platform {

class OwnedDispatchQueue {
  public:
    OwnedDispatchQueue(const char* label, dispatch_queue_attr_t attr)
        : m_queue(dispatch().dispatch_queue_create(label, attr)) {}
    OwnedDispatchQueue(const OwnedDispatchQueue&) = delete;
    OwnedDispatchQueue& operator=(const OwnedDispatchQueue&) = delete;
    ~OwnedDispatchQueue() {
        if (m_queue != nullptr) {
            dispatch().dispatch_release(m_queue);
        }
    }

    dispatch_queue_t get() const { return m_queue; }

  private:
    dispatch_queue_t m_queue;
};

}  // namespace qn::platform
