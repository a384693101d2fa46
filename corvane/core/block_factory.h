// The module's block types for the processing graph: "SelfTimed", "Random" and "RndGroup", made
// by the one factory object that the module exports by the name "Factory".
#pragma once

#include "platform/module_factory.h"

class TFactory : public TModuleFactory {
  public:
    // Three types, no stand-alone property pages.
    TFactory();
    ~TFactory() override;

    // A new block for 0 "SelfTimed", 1 "Random" or 2 "RndGroup", owned by the caller and
    // registered with the device object's messengers; null for any other index.
    TModule* CreateModule(int index) override;
    // Every block brings its own properties dialog: always null.
    TPropertyPage* CreatePage(int index) override;
};
