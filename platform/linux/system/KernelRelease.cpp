#include "platform/linux/system/KernelRelease.h"

#include <cerrno>
#include <cstring>

namespace qn::platform::linux_host {

int copySysctlText(std::string_view text, void* oldp, std::size_t* oldlenp) {
    if (!oldlenp) {
        errno = EFAULT;
        return -1;
    }
    const std::size_t needed = text.size() + 1;
    if (!oldp) {
        *oldlenp = needed;
        return 0;
    }
    if (*oldlenp < needed) {
        *oldlenp = needed;
        errno = ENOMEM;
        return -1;
    }
    std::memcpy(oldp, text.data(), text.size());
    static_cast<char*>(oldp)[text.size()] = '\0';
    *oldlenp = needed;
    return 0;
}

int KernelRelease::sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp,
                                const void* newp, std::size_t) const {
    if (!name || std::strcmp(name, "kern.osrelease") != 0) {
        errno = ENOENT;
        return -1;
    }
    if (newp) {
        errno = EPERM;
        return -1;
    }
    return copySysctlText(kRelease, oldp, oldlenp);
}

}  // namespace qn::platform::linux_host
