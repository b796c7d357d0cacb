#include "sys/libutils/RandomSource.h"

#include <mbedtls/havege.h>

#include <cstring>
#include <mutex>

namespace qn::sys::encryption {
namespace {

// HAVEGE has no lock of its own; readers and tools build ciphers outside the
// logger's lock, so the generator carries one.
struct Generator {
    Generator() { mbedtls_havege_init(&state); }
    ~Generator() { mbedtls_havege_free(&state); }
    std::mutex lock;
    mbedtls_havege_state state;
};

Generator& generator() {
    static Generator instance;
    return instance;
}

// Built at static initialisation, before any cipher object can need it.
[[maybe_unused]] Generator& g_builtEarly = generator();

}  // namespace

void RandomSource::fill(void* buffer, std::size_t length) {
    Generator& g = generator();
    std::lock_guard<std::mutex> guard(g.lock);
    if (mbedtls_havege_random(&g.state, static_cast<unsigned char*>(buffer), length) != 0)
        std::memset(buffer, 0xA5, length);
}

}  // namespace qn::sys::encryption
