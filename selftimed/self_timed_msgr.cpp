#include "selftimed/self_timed_msgr.h"

#include "core/corvane.h"
#include "platform/report.h"
#include "selftimed/self_timed_upload.h"

SelfTimedMsgr::SelfTimedMsgr(CCorvane& device)
    : device_(device), stopEvent_(true, true, "self-timed messenger stop") {}

SelfTimedMsgr::~SelfTimedMsgr() {
    Stop();
}

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
    for (const CPacket& request : corvane::SelfTimedUploadRequests(settings_)) {
        if (device_.SendCommand(request, false) != corvane::CommandResult::Accepted) {
            return false;
        }
    }
    return true;
}

bool SelfTimedMsgr::Start() {
    if (thread_) {
        return false;
    }
    stopEvent_.Reset();
    thread_ = std::make_unique<TThread>([this] { ThreadProc(); }, "self-timed messenger");
    return true;
}

bool SelfTimedMsgr::Stop() {
    if (!thread_) {
        return false;
    }
    stopEvent_.Set();
    thread_->Join(INFINITE);
    thread_.reset();
    return true;
}

void SelfTimedMsgr::ThreadProc() {
    TReport::Debug("Self-timed messenger thread starting.");
    // Scheduling comes with the SelfTimed blocks; until then the thread only waits to be stopped.
    WaitForSingleObject(stopEvent_, INFINITE);
    TReport::Debug("Self-timed messenger thread exiting.");
}
