#include "apps/tarvo/callable_exports.h"

#include <climits>
#include <cstdint>
#include <cstdlib>

#include "corvane/core/control_exports.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"

namespace tarvo::runner {
namespace {

const char* KindName(ValueKind kind) {
    switch (kind) {
        case ValueKind::Text:
            return "TEXT";
        case ValueKind::Bool:
            return "true|false";
        case ValueKind::Integer:
            return "INTEGER";
        case ValueKind::Seconds:
            return "SECONDS";
    }
    return "?";
}

std::string BoolText(BOOL value) {
    return value != 0 ? "true\n" : "false\n";
}

// Texts end in a line end so that the shell's prompt does not follow a status on its last line.
std::string TextOutput(const std::wstring& text) {
    std::string out = host::ToUtf8(text);
    if (out.empty() || out.back() != '\n')
        out += '\n';
    return out;
}

template <typename Proc>
Proc As(void* symbol) {
    return reinterpret_cast<Proc>(symbol);
}

std::string Get(ValueKind kind, void* symbol) {
    switch (kind) {
        case ValueKind::Text: {
            wchar_t* text = As<GetCorvaneIDProc>(symbol)();
            std::string out = TextOutput(text != nullptr ? text : L"");
            std::free(text);  // the module's copy is ours to release
            return out;
        }
        case ValueKind::Bool:
            return BoolText(As<BoolGetterProc>(symbol)());
        case ValueKind::Integer:
            return std::to_string(As<IntGetterProc>(symbol)()) + "\n";
        case ValueKind::Seconds:
            return std::to_string(As<SecondsGetterProc>(symbol)()) + "\n";
    }
    return "";
}

void Set(ValueKind kind, void* symbol, const CallArgument& argument) {
    switch (kind) {
        case ValueKind::Text:
            As<SetCorvaneIDProc>(symbol)(argument.text.c_str());
            return;
        case ValueKind::Bool:
            As<BoolSetterProc>(symbol)(static_cast<BOOL>(argument.number));
            return;
        case ValueKind::Integer:
            As<IntSetterProc>(symbol)(static_cast<int>(argument.number));
            return;
        case ValueKind::Seconds:
            As<SecondsSetterProc>(symbol)(argument.number);
            return;
    }
}

}  // namespace

const std::vector<CallableExport>& CallableExports() {
    using enum CallShape;
    using enum ValueKind;
    static const std::vector<CallableExport> table = {
        {"GetCorvaneID", Getter, Text},        {"SetCorvaneID", Setter, Text},
        {"CorvaneTxEnabled", Getter, Bool},    {"GetCorvaneStatus", StatusFill, Text},
        {"IsSelfTimedEnabled", Getter, Bool},  {"EnableSelfTimed", Setter, Bool},
        {"GetSTTxTime", Getter, Seconds},      {"SetSTTxTime", Setter, Seconds},
        {"GetSTTxInterval", Getter, Seconds},  {"SetSTTxInterval", Setter, Seconds},
        {"GetSTChannel", Getter, Integer},     {"SetSTChannel", Setter, Integer},
        {"GetSTType", Getter, Integer},        {"SetSTType", Setter, Integer},
        {"IsRandomEnabled", Getter, Bool},     {"EnableRandom", Setter, Bool},
        {"GetRTNormalRate", Getter, Seconds},  {"SetRTNormalRate", Setter, Seconds},
        {"GetRTAlarmRate", Getter, Seconds},   {"SetRTAlarmRate", Setter, Seconds},
        {"GetRTChannel", Getter, Integer},     {"SetRTChannel", Setter, Integer},
        {"GetRTType", Getter, Integer},        {"SetRTType", Setter, Integer},
        {"GetReportString", ReportFill, Text},
    };
    return table;
}

const CallableExport* FindCallable(const std::string& name) {
    for (const CallableExport& e : CallableExports()) {
        if (name == e.name)
            return &e;
    }
    return nullptr;
}

std::string Usage(const CallableExport& e) {
    const std::string name = e.name;
    return e.shape == CallShape::Setter ? name + " " + KindName(e.kind)
                                        : name + " -> " + KindName(e.kind);
}

bool ParseCallArgument(ValueKind kind, const std::string& text, CallArgument& argument,
                       std::string& error) {
    const std::wstring wide = host::FromUtf8(text);
    long number = 0;
    bool flag = false;
    switch (kind) {
        case ValueKind::Text:
            argument.text = wide;
            return true;
        case ValueKind::Bool:
            if (host::ParseBool(wide, flag)) {
                argument.number = flag ? 1 : 0;
                return true;
            }
            error = "\"" + text + "\" is not true or false (nor yes, no, 1, 0)";
            return false;
        case ValueKind::Integer:
            if (host::ParseLong(wide, number) && number >= INT32_MIN && number <= INT32_MAX) {
                argument.number = number;
                return true;
            }
            error = "\"" + text + "\" is not a whole number (of 32 bits)";
            return false;
        case ValueKind::Seconds:
            // The platform's long is 32 bits; a negative time of day or interval means nothing.
            if (host::ParseLong(wide, number) && number >= 0 && number <= INT32_MAX) {
                argument.number = number;
                return true;
            }
            error = "\"" + text + "\" is not a whole number of seconds (0 or more)";
            return false;
    }
    return false;
}

bool CallExport(const CallableExport& e, void* symbol, const std::optional<CallArgument>& argument,
                std::string& output, std::string& error) {
    output.clear();
    switch (e.shape) {
        case CallShape::Getter:
            output = Get(e.kind, symbol);
            return true;
        case CallShape::Setter:
            Set(e.kind, symbol, argument.value_or(CallArgument{}));
            return true;
        case CallShape::StatusFill: {
            std::wstring status;
            if (As<GetCorvaneStatusProc>(symbol)(&status) == 0) {
                error = std::string(e.name) +
                        " returned false: no status (neither transmission is enabled, or the "
                        "transmitter did not answer)";
                return false;
            }
            output = TextOutput(status);
            return true;
        }
        case CallShape::ReportFill: {
            std::wstring report;
            As<GetReportStringProc>(symbol)(&report, nullptr);
            output = report.empty() ? "" : TextOutput(report);
            return true;
        }
    }
    return false;
}

}  // namespace tarvo::runner
