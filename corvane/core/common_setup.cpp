// The device object's part of the setup file: the <Corvane> section and its <Common element.
#include "corvane/core/corvane.h"
#include "corvane/shared/setup_attribute.h"
#include "corvane/shared/setup_reading.h"
#include "corvane/shared/wide_text.h"
#include "platform/report.h"

bool CCorvane::ReadCommonSetup(CXMLSetup& setup, CXMLToken& next) {
    corvane::ReadAttributes(
        setup, next, [this](const std::wstring& name, const std::wstring& value) {
            if (name == L"Port") {
                Port = static_cast<int>(corvane::WToL(value));
            } else if (name == L"SatID") {
                SatID = value;
            } else if (name == L"InitCorvane") {
                InitCorvane = corvane::WToL(value) != 0;
            } else if (name == L"LTO") {
                LTO = static_cast<int>(corvane::WToL(value));
            } else {
                TReport::Warning("CCorvane::ReadCommonSetup eating unknown token: %s.",
                                 corvane::ToLogText(name).c_str());
            }
        });
    return true;
}

bool CCorvane::ReadSetup(CXMLSetup& setup) {
    CXMLToken token;
    if (!setup.ReadNextToken(token)) {
        return true;
    }
    while (token.GetType() == XML_TOKEN_START) {
        const std::wstring element = token.GetText();
        CXMLToken next;
        if (element == L"Common") {
            ReadCommonSetup(setup, next);
        } else if (element == L"SelfTimed") {
            selfTimedMsgr_.ReadSetup(setup, next);
        } else if (element == L"Random") {
            randomMsgr_.ReadSetup(setup, next);
        } else {
            const std::string logName = corvane::ToLogText(element);
            corvane::ReadAttributes(
                setup, next, [&logName](const std::wstring&, const std::wstring&) {
                    TReport::Warning("CCorvane::ReadSetup eating unknown token: %s.",
                                     logName.c_str());
                });
        }
        corvane::SkipElementRest(setup, next);
        if (!setup.ReadNextToken(token)) {
            break;
        }
    }
    return true;
}

bool CCorvane::WriteSetup(CXMLSetup& setup) {
    setup.WriteStartTag(L"<Corvane>");
    setup.WriteStartTag(L"<Common");
    setup.WriteText(corvane::AttributeText(L"Port", Port));
    setup.WriteText(corvane::AttributeText(L"SatID", SatID));
    setup.WriteText(corvane::AttributeText(L"InitCorvane", InitCorvane ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"LTO", LTO));
    setup.WriteEndTag(L"/>");
    selfTimedMsgr_.WriteSetup(setup);
    randomMsgr_.WriteSetup(setup);
    setup.WriteEndTag(L"</Corvane>");

    // An invalid setup is still saved as it stands; the operator learns of it from the log.
    std::wstring errors;
    ValidateSetup(errors);
    return true;
}

bool CCorvane::ValidateSetup(std::wstring& errors) const {
    const bool selfTimedOk = selfTimedMsgr_.ValidateSetup(errors);
    const bool randomOk = randomMsgr_.ValidateRandomSetup(errors);
    if (!selfTimedOk || !randomOk) {
        TReport::Warning("Corvane setup: %s", corvane::ToLogText(errors).c_str());
        return false;
    }
    return true;
}

bool CCorvane::InitSetup() {
    Port = 0;
    SatID = L"00000000";
    LTO = 0;
    InitCorvane = true;
    // Both messengers are reset whatever the first one answers.
    const bool selfTimedOk = selfTimedMsgr_.InitSetup();
    const bool randomOk = randomMsgr_.InitSetup();
    return selfTimedOk && randomOk;
}
