#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qn::sys {

// A named POSIX shared memory region, mapped for reading and writing. A name
// without a leading "/" gets one, so "x" and "/x" are the same region.
class SharedMemory {
  public:
    // Who besides the owner may use a region it creates.
    enum Access : std::int32_t { kOwnerOnly = 0, kOthersRead = 1, kOthersReadWrite = 2 };

    virtual ~SharedMemory() = default;
    virtual std::size_t size() const = 0;
    virtual void* address() const = 0;

    // Attaches to an existing region; throws ErrorCodeException(10) if absent.
    static std::unique_ptr<SharedMemory> attach(const std::string& name, std::size_t size);
    // Creates a region, removing any older one of that name first.
    static std::unique_ptr<SharedMemory> create(const std::string& name, std::size_t size,
                                                std::int32_t access);
};

class SharedMemoryUser : public SharedMemory {
  public:
    SharedMemoryUser(const std::string& name, std::size_t size);
    ~SharedMemoryUser() override;
    SharedMemoryUser(const SharedMemoryUser&) = delete;
    SharedMemoryUser& operator=(const SharedMemoryUser&) = delete;

    std::size_t size() const override { return m_size; }
    void* address() const override { return m_address; }

  protected:
    explicit SharedMemoryUser(std::size_t size) : m_size(size) {}
    // Maps m_handle; throws ErrorCodeException(10) on failure.
    void map();

    int m_handle = -1;
    std::size_t m_size;
    void* m_address = nullptr;
};

class SharedMemoryOwner : public SharedMemoryUser {
  public:
    SharedMemoryOwner(const std::string& name, std::size_t size, std::int32_t access);
    ~SharedMemoryOwner() override;

  private:
    std::string m_name;
};

}  // namespace qn::sys
