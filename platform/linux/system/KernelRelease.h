#pragma once
// sysctlbyname for the one name the agent reads, "kern.osrelease". It answers the fixed
// release "13.0.0": the agent joins the release's digits into one number and takes its
// newer display road from 1300 up, and a Linux release text ("6.1.0-13-amd64") would
// pick a road by accident. The newer road is the one that fits this host.

#include <cstddef>
#include <string_view>

namespace qn::platform::linux_host {

class KernelRelease {
  public:
    static constexpr std::string_view kRelease = "13.0.0";

    // 0 on success, -1 with errno on failure: ENOENT for any other name, EPERM for a
    // write, ENOMEM when the buffer is too small (the needed size is then in *oldlenp).
    // A null oldp asks for the size only.
    int sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                     std::size_t newlen) const;
};

// Copies a sysctl text with its terminating zero in the manner of sysctlbyname.
int copySysctlText(std::string_view text, void* oldp, std::size_t* oldlenp);

}  // namespace qn::platform::linux_host
