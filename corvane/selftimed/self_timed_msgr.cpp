#include "corvane/selftimed/self_timed_msgr.h"

#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_upload.h"
#include "platform/report.h"

SelfTimedMsgr::SelfTimedMsgr(corvane::Transmitter& transmitter)
    : transmitter_(transmitter), worker_("self-timed messenger") {}

SelfTimedMsgr::~SelfTimedMsgr() = default;

bool SelfTimedMsgr::ReadSetup(CXMLSetup& setup, CXMLToken& next) {
    const bool read = ReadSelfTimedSetup(setup, settings_, next);
    registry_.SortBySequence();
    return read;
}

bool SelfTimedMsgr::WriteSetup(CXMLSetup& setup) const {
    return WriteSelfTimedSetup(setup, settings_);
}

bool SelfTimedMsgr::InitSetup() {
    ResetSelfTimedSettings(settings_);
    return true;
}

bool SelfTimedMsgr::ValidateSetup(std::wstring& errors) const {
    const std::vector<SelfTimed*> blocks = registry_.Blocks();
    bool overlap = false;
    for (std::size_t i = 0; i < blocks.size() && !overlap; ++i) {
        for (std::size_t j = i + 1; j < blocks.size() && !overlap; ++j) {
            overlap = blocks[i]->IsEnabled() && blocks[j]->IsEnabled() &&
                      blocks[i]->Sequence() == blocks[j]->Sequence();
        }
    }
    if (settings_.Format == L"NOS" || settings_.Format == L"INSAT")
        overlap = false;
    if (overlap) {
        errors += L"SelfTimed sequences overlap; ";
        return false;
    }
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
