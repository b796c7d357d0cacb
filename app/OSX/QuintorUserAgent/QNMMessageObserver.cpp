#include "app/OSX/QuintorUserAgent/QNMMessageObserver.h"

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "platform/ManagerProtocol.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

void QNMMessageObserver::observeNotification(const platform::NSNotification& notification) {
    const auto& name = notification.name;
    if (name == platform::QNM_Notification_Sw_Update_Required ||
        name == platform::QNM_Notification_Monitor_Mode_Restricted ||
        name == platform::QNM_Notification_Start_Display_Stream ||
        name == platform::QNM_Notification_Stop_Display_Stream) {
        QNUA_LOG(Logger::DEBUG) << "observeNotification: received " << name << " notification";
    } else if (name == platform::QNM_Notification_Release_Frame_Surface) {
        // Once a frame: kept out of the ordinary log.
        QNUA_LOG(Logger::VERBOSE) << "observeNotification: received " << name << " notification";
    }
    // Any other name is ignored without a line.
}

}  // namespace qn::app::osx::qnuapp
