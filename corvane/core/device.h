// The module's single device object, built when the module is loaded and destroyed when it is
// unloaded. Every export works on it.
#pragma once

#include "corvane/core/corvane.h"

CCorvane& TheCorvane();
