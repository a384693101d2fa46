// The module's string table of operator reports: what recording start and stop tell the operator
// when something went wrong. The id of a text is its report code.
#pragma once

#include <string>

namespace corvane {

enum ReportCode : int {
    kReportNone = 0,
    kReportStartLinkFailed = 1,     // a start command got no valid reply
    kReportStartRefused = 2,        // a start command was refused
    kReportStopRefused = 3,         // a stop command was refused
    kReportNoValidTime = 4,         // no valid time for clock synchronisation
    kReportStopLinkFailed = 5,      // a stop command got no valid reply
    kReportMasterStartRefused = 6,  // master start refused with a reason ("%s")
};

// The table's text of `code` as it stands (code 6 still holds its "%s"); null for kReportNone or
// a code not in the table.
const wchar_t* ReportString(int code);

// The report the operator sees: the text of `code` with `reason` put in place of code 6's "%s".
// Empty for kReportNone or a code not in the table.
std::wstring ReportText(int code, const std::wstring& reason = std::wstring());

}  // namespace corvane
