#include "random/random_msgr.h"

CRandomMsgr::CRandomMsgr() : stopEvent_(true, true, "random messenger stop") {}

bool CRandomMsgr::ReadSetup(CXMLSetup& setup, CXMLToken& next) {
    return ReadRandomSetup(setup, settings_, next);
}

bool CRandomMsgr::WriteSetup(CXMLSetup& setup) const {
    return WriteRandomSetup(setup, settings_);
}

bool CRandomMsgr::InitSetup() {
    ResetRandomSettings(settings_);
    return true;
}

bool CRandomMsgr::ValidateRandomSetup(std::wstring& /*errors*/) const {
    return true;
}
