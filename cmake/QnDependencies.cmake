# Every outside library comes from Debian's packages (see scripts/setup-debian).
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(PkgConfig REQUIRED)

# mbed TLS ships no CMake config on Debian 12.
find_path(MBEDTLS_INCLUDE_DIR mbedtls/aes.h REQUIRED)
# The archive where the package has it: the agent's loader then maps one object fewer at
# every start.
find_library(MBEDCRYPTO_LIBRARY NAMES libmbedcrypto.a mbedcrypto REQUIRED)
add_library(qn_mbedcrypto INTERFACE)
target_include_directories(qn_mbedcrypto SYSTEM INTERFACE "${MBEDTLS_INCLUDE_DIR}")
target_link_libraries(qn_mbedcrypto INTERFACE "${MBEDCRYPTO_LIBRARY}")

find_package(nlohmann_json 3.10 REQUIRED)
# zlib packs the simulated Manager's PNG pictures of received frames.
find_package(ZLIB REQUIRED)

if(QN_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(QN_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()

# sd-event and sd-bus for the Linux host.
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
