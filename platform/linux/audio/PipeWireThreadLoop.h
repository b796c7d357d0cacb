#pragma once
// Owns a PipeWire thread loop: its thread runs every PipeWire callback with the loop's
// (recursive) lock held. Anyone else takes the lock around each call into PipeWire.

#include <functional>

struct pw_thread_loop;
struct pw_loop;
struct spa_source;

namespace qn::platform::linux_audio {

class PipeWireThreadLoop {
  public:
    // Null loop() when PipeWire cannot make one.
    explicit PipeWireThreadLoop(const char* name);
    // Stops the thread, then destroys the loop: whatever still holds PipeWire objects
    // must have destroyed them between stop() and here.
    ~PipeWireThreadLoop();
    PipeWireThreadLoop(const PipeWireThreadLoop&) = delete;
    PipeWireThreadLoop& operator=(const PipeWireThreadLoop&) = delete;

    pw_loop* loop() const;
    bool start();
    // Joins the thread; never from the thread itself, never with the lock held.
    void stop();
    // With the lock held: waits, woken by signal(), until `done` or `seconds` have passed.
    // Gives `done`'s last answer.
    bool waitUntil(const std::function<bool()>& done, int seconds);
    // Wakes wait(); with the lock held.
    void signal();
    // Runs `function(data)` on the loop's thread, with the lock held, without waiting
    // for it; called with the lock held. One invocation at a time: a second before the
    // first has run replaces it.
    void invoke(void (*function)(void*), void* data);
    // True on the loop's own thread, where nothing may wait for the loop.
    bool inThread() const;

    class Lock {
      public:
        explicit Lock(PipeWireThreadLoop& loop);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        pw_thread_loop* m_loop;
    };

  private:
    struct Invocation {
        void (*function)(void*) = nullptr;
        void* data = nullptr;
    };

    pw_thread_loop* m_loop;
    bool m_running = false;
    spa_source* m_event = nullptr;
    Invocation m_invocation;
};

}  // namespace qn::platform::linux_audio
