// The device object's common settings as one value, so that a dialog can edit a copy and the
// device takes it back only when the operator confirms.
#pragma once

#include <string>

class CCorvane;

struct CommonSettings {
    int Port = 0;  // index: 0 "COM2:" .. 7 "COM9:"
    std::wstring SatID;
    bool InitCorvane = true;
    int LTO = 0;

    bool operator==(const CommonSettings&) const = default;
};

CommonSettings CommonSettingsOf(const CCorvane& corvane);
void ApplyCommonSettings(const CommonSettings& settings, CCorvane& corvane);
