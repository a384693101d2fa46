#include "host/blocks/host_blocks_factory.h"

#include "host/blocks/log_block.h"
#include "host/blocks/source_block.h"

namespace tarvo::host {
namespace {

constexpr const wchar_t* kNames[] = {L"Source", L"Log"};

}  // namespace

HostBlockFactory::HostBlockFactory(std::function<std::string()> baseDirectory)
    : baseDirectory_(std::move(baseDirectory)) {
    SetModules(2, kNames);
}

TModule* HostBlockFactory::CreateModule(int index) {
    switch (index) {
        case 0:
            return new SourceBlock(baseDirectory_());
        case 1:
            return new LogBlock;
        default:
            return nullptr;
    }
}

}  // namespace tarvo::host
