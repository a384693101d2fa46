// The host's front-panel display: a DisplayIO that goes through the operator backend.
#pragma once

#include "platform/display_io.h"

namespace tarvo::host {

class BackendDisplay : public DisplayIO {
  public:
    void Write(const std::wstring& text, int line, bool clear = true) override;
    wchar_t Read() override;
    EditStatus EditHEX(std::wstring& text, const std::wstring& caption) override;
    EditStatus EditInteger(int& value, const std::wstring& caption, bool allowNegative,
                           int minValue, int maxValue) override;
    bool OKCancel(bool prompt) override;
};

}  // namespace tarvo::host
