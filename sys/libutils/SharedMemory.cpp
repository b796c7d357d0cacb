#include "sys/libutils/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "sys/libutils/Exception.h"

namespace qn::sys {

namespace {

std::string regionName(const std::string& name) {
    return !name.empty() && name[0] == '/' ? name : "/" + name;
}

mode_t modeFor(std::int32_t access) {
    switch (access) {
        case SharedMemory::kOthersReadWrite:
            return 0606;
        case SharedMemory::kOthersRead:
            return 0604;
        default:
            return 0600;
    }
}

}  // namespace

std::unique_ptr<SharedMemory> SharedMemory::attach(const std::string& name, std::size_t size) {
    return std::make_unique<SharedMemoryUser>(name, size);
}

std::unique_ptr<SharedMemory> SharedMemory::create(const std::string& name, std::size_t size,
                                                   std::int32_t access) {
    return std::make_unique<SharedMemoryOwner>(name, size, access);
}

SharedMemoryUser::SharedMemoryUser(const std::string& name, std::size_t size) : m_size(size) {
    m_handle = shm_open(regionName(name).c_str(), O_RDWR, 0600);
    if (m_handle < 0) {
        throw ErrorCodeException(10);
    }
    map();
}

void SharedMemoryUser::map() {
    void* address = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_handle, 0);
    if (address == MAP_FAILED) {
        close(m_handle);
        m_handle = -1;
        throw ErrorCodeException(10);
    }
    m_address = address;
}

SharedMemoryUser::~SharedMemoryUser() {
    if (m_address != nullptr) {
        munmap(m_address, m_size);
    }
    if (m_handle >= 0) {
        close(m_handle);
    }
}

SharedMemoryOwner::SharedMemoryOwner(const std::string& name, std::size_t size, std::int32_t access)
    : SharedMemoryUser(size), m_name(regionName(name)) {
    shm_unlink(m_name.c_str());  // any older region of this name goes
    const mode_t mode = modeFor(access);
    m_handle = shm_open(m_name.c_str(), O_RDWR | O_CREAT, mode);
    if (m_handle < 0) {
        throw ErrorCodeException(10);
    }
    // The creation mode passes through the umask; the access class must not.
    fchmod(m_handle, mode);
    if (ftruncate(m_handle, static_cast<off_t>(size)) != 0) {
        int error = errno;
        close(m_handle);
        m_handle = -1;
        shm_unlink(m_name.c_str());
        throw SystemError(10, error);
    }
    try {
        map();
    } catch (...) {
        shm_unlink(m_name.c_str());
        throw;
    }
}

SharedMemoryOwner::~SharedMemoryOwner() {
    shm_unlink(m_name.c_str());
}

}  // namespace qn::sys
