#pragma once

#include <string>
#include <vector>

#include "sys/libutils/PersistTree.h"

namespace qn::sys {

class MarkupDocument;

// The tree as it lies in the hive file. It keeps no content: every read and
// write reads and parses the whole file again, under one process-wide lock,
// so a change by another process is seen at the next access.
class PersistTreeState : public PersistTree::IState {
  public:
    explicit PersistTreeState(bool volatileKey);
    PersistTreeState(std::vector<std::string> path, std::vector<std::string> networkPath,
                     bool volatileKey);

    std::unique_ptr<PersistTree::IState> createChild(const std::string& name) const override;
    PersistValues read(PersistFlags flags) const override;
    void write(const PersistValues& values, PersistFlags flags) const override;
    // Nothing is ever deleted from the hive.
    void remove(const std::string& name, PersistFlags flags, bool isLeaf) const override;

    const std::vector<std::string>& path() const { return m_path; }
    const std::vector<std::string>& networkPath() const { return m_networkPath; }
    bool isVolatile() const { return m_volatileKey; }

    // The walk to a key: false (and, for a missing root key, a line on the
    // standard output) when it isn't there and readOnly is set; missing keys
    // are created otherwise. Failure("Hive format not recognised") when the
    // document has no QN_HIVE element.
    static bool navigateToKey(MarkupDocument& document, const std::string& rootName,
                              const std::vector<std::string>& names, bool readOnly);
    static bool findKeyNode(MarkupDocument& document, const std::string& name, bool readOnly);

  private:
    const char* selectSection(PersistFlags flags, bool writing,
                              const std::vector<std::string>*& names) const;

    std::vector<std::string> m_path;
    std::vector<std::string> m_networkPath;
    bool m_volatileKey;
};

}  // namespace qn::sys
