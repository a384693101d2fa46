#include "corvane/core/device.h"

namespace {

// The one transmitter the module stands for; it lives exactly as long as the module is loaded.
CCorvane theCorvane;

}  // namespace

CCorvane& TheCorvane() {
    return theCorvane;
}
