#include "corvane/ui/common_settings.h"

#include "corvane/core/corvane.h"

CommonSettings CommonSettingsOf(const CCorvane& corvane) {
    return CommonSettings{.Port = corvane.Port,
                          .SatID = corvane.SatID,
                          .InitCorvane = corvane.InitCorvane,
                          .LTO = corvane.LTO};
}

void ApplyCommonSettings(const CommonSettings& settings, CCorvane& corvane) {
    corvane.Port = settings.Port;
    corvane.SatID = settings.SatID;
    corvane.InitCorvane = settings.InitCorvane;
    corvane.LTO = settings.LTO;
}
