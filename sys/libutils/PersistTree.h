#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sys/libutils/PersistValues.h"

namespace qn::sys {

// Selects the section of the tree.
using PersistFlags = std::uint32_t;
constexpr PersistFlags PersistLocalMachine = 0;
constexpr PersistFlags PersistCurrentUser = 1;
constexpr PersistFlags PersistNetwork = 2;

// A handle on one key below Software/Quintor. It holds no content: every read
// and write goes through its state to wherever the tree lies (the hive).
class PersistTree {
  public:
    class IState {
      public:
        virtual ~IState() = default;
        // An owned state for the key name below this one.
        virtual std::unique_ptr<IState> createChild(const std::string& name) const = 0;
        virtual PersistValues read(PersistFlags flags) const = 0;
        virtual void write(const PersistValues& values, PersistFlags flags) const = 0;
        virtual void remove(const std::string& name, PersistFlags flags, bool isLeaf) const = 0;
    };

    // Software, Quintor, name. A name is one key whatever it holds: there is
    // no path syntax, so "a/b" is a single key of that name.
    explicit PersistTree(const std::string& name, bool volatileKey = false);
    // reserved is accepted and ignored.
    PersistTree(const std::string& name, std::uintptr_t reserved, bool volatileKey);
    PersistTree(const PersistTree& parent, const std::string& name);
    PersistTree(const IState& state, const std::string& name);
    virtual ~PersistTree();

    PersistTree(const PersistTree&) = delete;
    PersistTree& operator=(const PersistTree&) = delete;

    PersistValues read(PersistFlags flags) const;
    // Merges the leaves of values into the key.
    void write(const PersistValues& values, PersistFlags flags) const;
    void remove(const std::string& name, PersistFlags flags, bool isLeaf) const;

    const IState& state() const { return *m_state; }

  private:
    std::unique_ptr<IState> m_state;
};

}  // namespace qn::sys
