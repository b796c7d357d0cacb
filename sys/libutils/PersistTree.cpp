#include "sys/libutils/PersistTree.h"

#include "sys/libutils/PersistTreeState.h"

namespace qn::sys {

namespace {

std::unique_ptr<PersistTree::IState> makeRoot(const std::string& name, bool volatileKey) {
    const PersistTreeState root(volatileKey);
    return root.createChild("Software")->createChild("Quintor")->createChild(name);
}

}  // namespace

PersistTree::PersistTree(const std::string& name, bool volatileKey)
    : m_state(makeRoot(name, volatileKey)) {}

PersistTree::PersistTree(const std::string& name, std::uintptr_t /*reserved*/, bool volatileKey)
    : m_state(makeRoot(name, volatileKey)) {}

PersistTree::PersistTree(const PersistTree& parent, const std::string& name)
    : m_state(parent.m_state->createChild(name)) {}

PersistTree::PersistTree(const IState& state, const std::string& name)
    : m_state(state.createChild(name)) {}

PersistTree::~PersistTree() = default;

PersistValues PersistTree::read(PersistFlags flags) const {
    return m_state->read(flags);
}

void PersistTree::write(const PersistValues& values, PersistFlags flags) const {
    m_state->write(values, flags);
}

void PersistTree::remove(const std::string& name, PersistFlags flags, bool isLeaf) const {
    m_state->remove(name, flags, isLeaf);
}

}  // namespace qn::sys
