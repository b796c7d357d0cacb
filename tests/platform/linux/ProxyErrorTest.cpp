#include "platform/linux/bus/ProxyError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "platform/Foundation.h"

namespace qn::platform::linux_host {
namespace {

TEST(ProxyError, ReasonIsTheErrorsMessageThenItsNameThenTheErrno) {
    sd_bus_error refused = SD_BUS_ERROR_MAKE_CONST("com.quintor.Error.Refused", "Manager is busy");
    EXPECT_EQ(proxyErrorReason(-EIO, &refused), "Manager is busy");
    sd_bus_error unnamed = SD_BUS_ERROR_MAKE_CONST("org.freedesktop.DBus.Error.NoReply", nullptr);
    EXPECT_EQ(proxyErrorReason(-ETIMEDOUT, &unnamed), "org.freedesktop.DBus.Error.NoReply");
    sd_bus_error none = SD_BUS_ERROR_NULL;
    EXPECT_EQ(proxyErrorReason(-ENOTCONN, &none), std::strerror(ENOTCONN));
    EXPECT_EQ(proxyErrorReason(-ECONNRESET, nullptr), std::strerror(ECONNRESET));
}

TEST(ProxyError, RaisesTheProxysOneExceptionType) {
    sd_bus_error timeout =
        SD_BUS_ERROR_MAKE_CONST("org.freedesktop.DBus.Error.Timeout", "Connection timed out");
    try {
        raiseProxyException(-ETIMEDOUT, &timeout);
        FAIL() << "no exception";
    } catch (const ProxyException& e) {
        EXPECT_EQ(e.reason(), "Connection timed out");
    }
}

}  // namespace
}  // namespace qn::platform::linux_host
