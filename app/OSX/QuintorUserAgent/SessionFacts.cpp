#include "app/OSX/QuintorUserAgent/SessionFacts.h"

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "platform/Backend.h"
#include "platform/Quartz.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

SessionFacts SessionFacts::read() {
    SessionFacts facts;
    // The result is not examined: a failed lookup writes nothing and leaves the id at 0.
    platform::SessionAttributeBits attributes = 0;
    platform::system().SessionGetInfo(platform::callerSecuritySession, &facts.userSessionId,
                                      &attributes);

    const platform::Value session = platform::quartz().CGSessionCopyCurrentDictionary();
    if (session.isNull()) {
        QNUA_LOG(Logger::DEBUG) << "No session info. Assuming we are in pre-login session.";
        facts.isPreloginSession = true;
        return facts;
    }
    // Identity with the false object, not a numeric test: a missing key or a number 0
    // is an ordinary session.
    facts.isPreloginSession =
        session.get(platform::kCGSessionLoginDoneKey).isSameObject(platform::kCFBooleanFalse());
    QNUA_LOG(Logger::DEBUG) << "Is pre-login session: "
                            << (facts.isPreloginSession ? "true" : "false");
    return facts;
}

}  // namespace qn::app::osx::qnuapp
