#include "selftimed/self_timed_msgr.h"

SelfTimedMsgr::SelfTimedMsgr() : stopEvent_(true, true, "self-timed messenger stop") {}

bool SelfTimedMsgr::ReadSetup(CXMLSetup& setup, CXMLToken& next) {
    return ReadSelfTimedSetup(setup, settings_, next);
}

bool SelfTimedMsgr::WriteSetup(CXMLSetup& setup) const {
    return WriteSelfTimedSetup(setup, settings_);
}

bool SelfTimedMsgr::InitSetup() {
    ResetSelfTimedSettings(settings_);
    return true;
}

bool SelfTimedMsgr::ValidateSetup(std::wstring& /*errors*/) const {
    return true;
}
