// The host's own block types, "Source" and "Log", served like a plug-in's factory.
#pragma once

#include <functional>
#include <string>

#include "platform/module_factory.h"

namespace tarvo::host {

class HostBlockFactory : public TModuleFactory {
  public:
    // `baseDirectory` is asked at each creation (the folder of the setup being loaded).
    explicit HostBlockFactory(std::function<std::string()> baseDirectory);
    TModule* CreateModule(int index) override;

  private:
    std::function<std::string()> baseDirectory_;
};

}  // namespace tarvo::host
