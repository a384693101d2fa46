#include "corvane/core/report_texts.h"

namespace corvane {

const wchar_t* ReportString(int code) {
    switch (code) {
        case kReportStartLinkFailed:
            return L"A failure occurred trying to communicate with Corvane on recording start. "
                   L"Please check connections. If a Corvane is connected, it may not be properly "
                   L"configured.";
        case kReportStartRefused:
            // The trailing blank has always been part of this text; operators' screenshots and
            // the tests compare it as it is.
            return L"Corvane rejected commands while trying to update its configuration on "
                   L"recording start. Make sure Corvane's Master Switch is off and that no "
                   L"transmission is in progress. ";
        case kReportStopRefused:
            return L"Corvane rejected commands while trying to update its configuration on "
                   L"recording stop. Corvane may still be transmitting.";
        case kReportNoValidTime:
            return L"Tarvo was unable to obtain a valid time from Corvane for clock "
                   L"synchronization. This may be due to a problem in the connection to Corvane, "
                   L"or the time in Corvane may need to be set.";
        case kReportStopLinkFailed:
            return L"A failure occurred trying to disable Corvane transmissions on recording "
                   L"stop. Please check connections. If a Corvane is connected, it may not be "
                   L"properly configured.";
        case kReportMasterStartRefused:
            return L"Corvane rejected the Master Start command for the following reason: %s";
        default:
            return nullptr;
    }
}

std::wstring ReportText(int code, const std::wstring& reason) {
    const wchar_t* text = ReportString(code);
    if (text == nullptr) {
        return std::wstring();
    }
    std::wstring report = text;
    // Put the reason in by hand rather than through a printf-style call: the transmitter's text
    // may itself hold '%'.
    const std::size_t slot = report.find(L"%s");
    if (slot != std::wstring::npos) {
        report.replace(slot, 2, reason);
    }
    return report;
}

}  // namespace corvane
