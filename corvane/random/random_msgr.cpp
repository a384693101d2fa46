#include "corvane/random/random_msgr.h"

#include "corvane/random/random_config_push.h"
#include "platform/report.h"

CRandomMsgr::CRandomMsgr(corvane::Transmitter& transmitter)
    : transmitter_(transmitter), worker_("random messenger") {}

CRandomMsgr::~CRandomMsgr() = default;

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

bool CRandomMsgr::PushRandomConfig() {
    if (!transmitter_.SendAll(corvane::RandomConfigRequests(settings_))) {
        return false;
    }
    if (RandomTypeHasAntenna(settings_.Type)) {
        // Deliberately assembled and dropped. The transmitter holds one 862, which the self-timed
        // upload sets (for self-timed Types 10..13) from the self-timed Type and Antenna; sending
        // this one would overwrite it with a value from the random settings. Stations have
        // always run without it, so it stays unsent.
        [[maybe_unused]] const CPacket unsent = corvane::RandomParam862Request(settings_);
    }
    return true;
}

bool CRandomMsgr::Start() {
    return worker_.Start([this] { ThreadProc(); });
}

bool CRandomMsgr::Stop() {
    return worker_.Stop();
}

void CRandomMsgr::ThreadProc() {
    TReport::Debug("Random messenger thread starting.");
    // Scheduling comes with the Random and RndGroup blocks; until then the thread only waits to
    // be stopped.
    WaitForSingleObject(worker_.StopEvent(), INFINITE);
    TReport::Debug("Random messenger thread exiting.");
}
