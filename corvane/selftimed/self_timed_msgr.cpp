#include "corvane/selftimed/self_timed_msgr.h"

#include "corvane/selftimed/self_timed_upload.h"
#include "platform/report.h"

SelfTimedMsgr::SelfTimedMsgr(corvane::Transmitter& transmitter)
    : transmitter_(transmitter), worker_("self-timed messenger") {}

SelfTimedMsgr::~SelfTimedMsgr() = default;

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

bool SelfTimedMsgr::UploadConfig() {
    return transmitter_.SendAll(corvane::SelfTimedUploadRequests(settings_));
}

bool SelfTimedMsgr::Start() {
    return worker_.Start([this] { ThreadProc(); });
}

bool SelfTimedMsgr::Stop() {
    return worker_.Stop();
}

void SelfTimedMsgr::ThreadProc() {
    TReport::Debug("Self-timed messenger thread starting.");
    // Scheduling comes with the SelfTimed blocks; until then the thread only waits to be stopped.
    WaitForSingleObject(worker_.StopEvent(), INFINITE);
    TReport::Debug("Self-timed messenger thread exiting.");
}
