#include "apps/tarvo/lost_readings.h"

#include "host/blocks/log_block.h"
#include "host/text/utf8.h"

namespace tarvo::runner {
namespace {

const char* Readings(std::uint64_t n) {
    return n == 1 ? "reading" : "readings";
}

}  // namespace

void LostReadings::AfterStop(RunSession& session) {
    losses_.clear();
    std::uint64_t total = 0;
    host::HostEngine& engine = session.Engine();
    for (int i = 0; i < engine.GetModuleCount(); ++i) {
        const auto* log = dynamic_cast<const host::LogBlock*>(engine.GetModule(i));
        if (log == nullptr || log->Lost() == 0)
            continue;
        losses_.push_back(Loss{.block = host::ToUtf8(log->GetName()),
                               .file = log->FilePath(),
                               .readings = log->Lost()});
        total += log->Lost();
    }
    // Said before the summary, beside the Log blocks' own warnings, not after it.
    if (total > 0) {
        std::fprintf(session.Err(), "tarvo: %llu %s lost: a Log block could not write its file\n",
                     static_cast<unsigned long long>(total), Readings(total));
        std::fflush(session.Err());
    }
}

void LostReadings::Report(RunSession& session) {
    if (losses_.empty())
        return;
    std::fprintf(session.Out(), "\nReadings lost\n");
    for (const Loss& loss : losses_) {
        std::fprintf(session.Out(), "  Log \"%s\": %llu %s not written to %s\n", loss.block.c_str(),
                     static_cast<unsigned long long>(loss.readings), Readings(loss.readings),
                     loss.file.c_str());
    }
}

}  // namespace tarvo::runner
