#include "sys/libutils/PersistTreeState.h"

#include <cstdio>
#include <mutex>

#include "sys/libutils/Exception.h"
#include "sys/libutils/HiveFile.h"
#include "sys/libutils/HivePath.h"
#include "sys/libutils/MarkupDocument.h"
#include "sys/libutils/Mutex.h"
#include "sys/libutils/PersistException.h"

namespace qn::sys {

namespace {

constexpr const char* kLocalMachine = "HKEY_LOCAL_MACHINE";
constexpr const char* kCurrentUser = "HKEY_CURRENT_USER";
constexpr const char* kNetworkKey = "Network Persist Settings";

// One lock for every access to the hive in this process; made on first use and
// never destroyed, so that it outlives every static that might still write.
Mutex& hiveLock() {
    static Mutex* lock = new Mutex;
    return *lock;
}

}  // namespace

PersistTreeState::PersistTreeState(bool volatileKey) : m_volatileKey(volatileKey) {}

PersistTreeState::PersistTreeState(std::vector<std::string> path,
                                   std::vector<std::string> networkPath, bool volatileKey)
    : m_path(std::move(path)), m_networkPath(std::move(networkPath)), m_volatileKey(volatileKey) {}

// The network walk is built from this key's ordinary path, so the network key
// always stands just ahead of the last name.
std::unique_ptr<PersistTree::IState> PersistTreeState::createChild(const std::string& name) const {
    std::vector<std::string> path = m_path;
    path.push_back(name);
    std::vector<std::string> networkPath = m_path;
    networkPath.push_back(kNetworkKey);
    networkPath.push_back(name);
    return std::make_unique<PersistTreeState>(std::move(path), std::move(networkPath),
                                              m_volatileKey);
}

bool PersistTreeState::findKeyNode(MarkupDocument& document, const std::string& name,
                                   bool readOnly) {
    document.rewindChildren();
    if (!name.empty()) {
        while (document.findElement("node")) {
            if (document.getAttribute(document.getCurrentIndex(), "name") == name) {
                return true;
            }
        }
    }
    if (readOnly) {
        return false;
    }
    // Behind the last key reached, or as the parent's last child.
    document.addElement("node", nullptr, 0, false);
    return document.setAttribute(document.getCurrentIndex(), "name", name);
}

bool PersistTreeState::navigateToKey(MarkupDocument& document, const std::string& rootName,
                                     const std::vector<std::string>& names, bool readOnly) {
    document.resetPosition();
    if (!document.findElement("QN_HIVE")) {
        throw Failure("Hive format not recognised");
    }
    document.enterElement();
    if (!findKeyNode(document, rootName, readOnly)) {
        std::printf("No base key %s\n", rootName.c_str());
        return false;
    }
    document.enterElement();
    for (const std::string& name : names) {
        if (!findKeyNode(document, name, readOnly)) {
            return false;
        }
        document.enterElement();
    }
    return true;
}

// The flags are examined only once the file has been read and parsed, so a
// call with bad flags can still create a missing hive.
const char* PersistTreeState::selectSection(PersistFlags flags, bool writing,
                                            const std::vector<std::string>*& names) const {
    names = &m_path;
    switch (flags) {
        case PersistLocalMachine:
            return kLocalMachine;
        case PersistCurrentUser:
            return kCurrentUser;
        case PersistNetwork:
            if (writing) {
                names = &m_networkPath;
                return kLocalMachine;
            }
            break;
        default:
            break;
    }
    throw PersistBadFlags();
}

PersistValues PersistTreeState::read(PersistFlags flags) const {
    std::lock_guard<Mutex> guard(hiveLock());
    PersistValues result;
    MarkupDocument document;
    document.setDocument(HiveFile::readText(HivePath::get()));
    const std::vector<std::string>* names = nullptr;
    const char* root = selectSection(flags, false, names);
    if (!navigateToKey(document, root, *names, true)) {
        return result;
    }
    // Values first, then keys, so that a key hides a value of the same name;
    // of several elements of one name the last wins.
    while (document.findElement("value")) {
        const std::uint32_t index = document.getCurrentIndex();
        result.setEntry(document.getAttribute(index, "name"),
                        PersistEntry::leaf(document.getElementData(index)));
    }
    document.rewindChildren();
    while (document.findElement("node")) {
        result.setEntry(document.getAttribute(document.getCurrentIndex(), "name"),
                        PersistEntry::subKey());
    }
    return result;
}

void PersistTreeState::write(const PersistValues& values, PersistFlags flags) const {
    std::lock_guard<Mutex> guard(hiveLock());
    const std::string& path = HivePath::get();
    MarkupDocument document;
    document.setDocument(HiveFile::readText(path));
    const std::vector<std::string>* names = nullptr;
    const char* root = selectSection(flags, true, names);
    navigateToKey(document, root, *names, false);
    if (document.getDocument().empty()) {
        throw PersistBadAccess();
    }
    // A merge: values that are in the file and not here stay. A replaced value
    // goes in unescaped; a new one is escaped by addElement.
    for (const auto& [name, entry] : values) {
        if (!entry.isLeaf()) {
            continue;
        }
        document.rewindChildren();
        bool replaced = false;
        while (document.findElement("value")) {
            const std::uint32_t index = document.getCurrentIndex();
            if (document.getAttribute(index, "name") == name) {
                document.setElementData(index, entry.value());
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            document.addElement("value", entry.value().c_str(), 0, false);
            document.setAttribute(document.getCurrentIndex(), "name", name);
        }
    }
    HiveFile::writeText(path, document.getDocument());
}

void PersistTreeState::remove(const std::string& /*name*/, PersistFlags /*flags*/,
                              bool /*isLeaf*/) const {}

}  // namespace qn::sys
