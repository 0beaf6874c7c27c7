#include "log/NTServiceLogger.h"

#define NORQ_NUMBERED(priority, code, ...)                                                                             \
    report(priority, NorqStd::SWString(u"norq_std::NTServiceLogger::" #code),                                          \
           NorqStd::SWString(function ? function : u""), __VA_ARGS__)

namespace norq_std {

NTServiceLogger& NTServiceLogger::getInstance() {
    static NTServiceLogger& instance = *new NTServiceLogger;
    return instance;
}

WString NTServiceLogger::getModuleName() const { return u"NorqStd"; }

void NTServiceLogger::SL1005(const WChar* function) {
    NORQ_NUMBERED(ERROR, SL1005, u"The Control handler could not be installed\n");
}

void NTServiceLogger::SL1006(const WChar* function, const WChar* name, std::int32_t code) {
    NORQ_NUMBERED(ERROR, SL1006, u"%ls failed to install. Error %d\n", name, code);
}

void NTServiceLogger::SL1007(const WChar* function, const WChar* name, std::int32_t code) {
    NORQ_NUMBERED(ERROR, SL1007, u"Could not remove %ls. Error %d\n", name, code);
}

void NTServiceLogger::SL1008(const WChar* function) { NORQ_NUMBERED(ERROR, SL1008, u"Invalid Arguments, Exiting\n"); }

void NTServiceLogger::SL1009(const WChar* function) {
    NORQ_NUMBERED(ERROR, SL1009, u"The Control handler could not be installed\n");
}

void NTServiceLogger::SL1010(const WChar* function) {
    NORQ_NUMBERED(ERROR, SL1010, u"The initialization process failed\n");
}

void NTServiceLogger::SL2000(const WChar* function) { NORQ_NUMBERED(ERROR, SL2000, u"Invalid service control code."); }

void NTServiceLogger::SL2001(const WChar* function) { NORQ_NUMBERED(ERROR, SL2001, u"Invalid Request.\n"); }

void NTServiceLogger::SL4007(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4007, u"The Windows NT service has started.");
}

void NTServiceLogger::SL4008(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4008, u"The Windows NT service received a stop message from the Windows NT service manager.");
}

void NTServiceLogger::SL4009(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4009,
                  u"The Windows NT service received a pause message from the Windows NT service manager.");
}

void NTServiceLogger::SL4010(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4010, u"The Windows NT service is paused.");
}

void NTServiceLogger::SL4011(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4011, u"The Windows NT service has stopped.");
}

void NTServiceLogger::SL4012(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4012,
                  u"The Windows NT service received a continue message from the Windows NT service manager.");
}

void NTServiceLogger::SL4014(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4014,
                  u"The Windows NT service received a shutdown message from the Windows NT service manager.");
}

void NTServiceLogger::SL4015(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4015,
                  u"The Windows NT service received a user control message from the Windows NT service manager.");
}

void NTServiceLogger::SL4016(const WChar* function, const WChar* name, std::int32_t major, std::int32_t minor) {
    NORQ_NUMBERED(INFO, SL4016, u"%ls Version %d.%d\n", name, major, minor);
}

void NTServiceLogger::SL4017(const WChar* function, const WChar* word) {
    NORQ_NUMBERED(INFO, SL4017, u"The service is %ls installed\n", word);
}

void NTServiceLogger::SL4018(const WChar* function, const WChar* name) {
    NORQ_NUMBERED(INFO, SL4018, u"%ls is already installed\n", name);
}

void NTServiceLogger::SL4019(const WChar* function, const WChar* name) {
    NORQ_NUMBERED(INFO, SL4019, u"%ls installed\n", name);
}

void NTServiceLogger::SL4020(const WChar* function, const WChar* name) {
    NORQ_NUMBERED(INFO, SL4020, u"%ls is not installed\n", name);
}

void NTServiceLogger::SL4021(const WChar* function, const WChar* name) {
    NORQ_NUMBERED(INFO, SL4021, u"%ls removed.\n", name);
}

void NTServiceLogger::SL4022(const WChar* function) { NORQ_NUMBERED(INFO, SL4022, u"Service Removed\n"); }

void NTServiceLogger::SL4023(const WChar* function) { NORQ_NUMBERED(INFO, SL4023, u"Service Not Removed\n"); }

void NTServiceLogger::SL4024(const WChar* function) { NORQ_NUMBERED(INFO, SL4024, u"Service Started\n"); }

void NTServiceLogger::SL4025(const WChar* function) { NORQ_NUMBERED(INFO, SL4025, u"Service Control Stop message\n"); }

void NTServiceLogger::SL4026(const WChar* function) { NORQ_NUMBERED(INFO, SL4026, u"Service Stopped\n"); }

void NTServiceLogger::SL4027(const WChar* function) { NORQ_NUMBERED(INFO, SL4027, u"Service Control Pause message\n"); }

void NTServiceLogger::SL4028(const WChar* function) { NORQ_NUMBERED(INFO, SL4028, u"Service Paused\n"); }

void NTServiceLogger::SL4029(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4029, u"Service Control Continue message\n");
}

void NTServiceLogger::SL4031(const WChar* function) {
    NORQ_NUMBERED(INFO, SL4031, u"Service Control Shutdown message\n");
}

void NTServiceLogger::SL4032(const WChar* function) { NORQ_NUMBERED(INFO, SL4032, u"Service Stopped\n"); }

void NTServiceLogger::SL4033(const WChar* function) { NORQ_NUMBERED(INFO, SL4033, u"Service User Control message\n"); }

void NTServiceLogger::SL4034(const WChar* function, const WChar* name, const WChar* product, const WChar* version,
                             const WChar* priBuild, const WChar* specialBuild, const WChar* platform,
                             const WChar* threshold) {
    NORQ_NUMBERED(
        INFO, SL4034,
        u"<%ls>: Product <%ls> Version <%ls> Pri Build <%ls> Special Build <%ls> Platform <%ls> Debug threshold <%ls>.",
        name, product, version, priBuild, specialBuild, platform, threshold);
}

void NTServiceLogger::SL4035(const WChar* function) { NORQ_NUMBERED(INFO, SL4035, u"An unexpected error occurred."); }

void NTServiceLogger::SL4036(const WChar* function, const WChar* name, const WChar* product, const WChar* version,
                             const WChar* priBuild, const WChar* specialBuild) {
    NORQ_NUMBERED(INFO, SL4036, u"<%ls>: Product <%ls> Version <%ls> Pri Build <%ls> Special Build <%ls>.", name,
                  product, version, priBuild, specialBuild);
}

void NTServiceLogger::SL4037(const WChar* function, const WChar* platform) {
    NORQ_NUMBERED(INFO, SL4037, u"Platform <%ls>.", platform);
}

void NTServiceLogger::SL4038(const WChar* function, const WChar* threshold) {
    NORQ_NUMBERED(INFO, SL4038, u"Debug threshold <%ls>.", threshold);
}

} // namespace norq_std
