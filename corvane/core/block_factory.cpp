#include "corvane/core/block_factory.h"

#include <new>

#include "corvane/core/device.h"
#include "corvane/random/random_block.h"
#include "corvane/random/rnd_group.h"
#include "corvane/selftimed/self_timed_block.h"

namespace {

constexpr const wchar_t* kBlockNames[] = {L"SelfTimed", L"Random", L"RndGroup"};

}  // namespace

TFactory::TFactory() {
    SetModules(3, kBlockNames);
}

TFactory::~TFactory() = default;

TModule* TFactory::CreateModule(int index) {
    CCorvane& device = TheCorvane();
    switch (index) {
        case 0:
            return new (std::nothrow)
                SelfTimed(device.SelfTimed().Registry(), device.SelfTimed().Settings());
        case 1:
            return new (std::nothrow) Random(device.Random());
        case 2:
            return new (std::nothrow) RndGroup(device.Random());
        default:
            return nullptr;
    }
}

TPropertyPage* TFactory::CreatePage(int /*index*/) {
    return nullptr;
}

// The platform finds the module's block types through this object, by its name.
TFactory Factory;
