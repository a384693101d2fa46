#include "corvane/formats/text_formats.h"

#include <cstdio>
#include <cwchar>
#include <cwctype>

#include "corvane/shared/wide_text.h"
#include "platform/report.h"

namespace corvane {
namespace {

constexpr const wchar_t* kLineEnd = L"\r\n";

std::wstring Widen(const char* text) {
    std::wstring out;
    for (const char* c = text; *c != '\0'; ++c)
        out += static_cast<wchar_t>(static_cast<unsigned char>(*c));
    return out;
}

std::wstring ShefHeader(const std::wstring& label, std::int64_t offset, unsigned minutes) {
    wchar_t text[512];
    std::swprintf(text, sizeof text / sizeof text[0], L":%ls %d #%u ", label.c_str(),
                  static_cast<int>(offset), minutes);
    return text;
}

bool SameLabel(const std::wstring& label, const wchar_t* name) {
    if (label.size() != std::wcslen(name))
        return false;
    for (std::size_t i = 0; i < label.size(); ++i)
        if (std::towupper(static_cast<wint_t>(label[i])) != static_cast<wint_t>(name[i]))
            return false;
    return true;
}

std::wstring Printed(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return Widen(text);
}

std::wstring Printed(const char* format, long value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return Widen(text);
}

}  // namespace

bool FormatShef(const MessageRequest& request, ShefLayout layout, std::wstring& message) {
    if (request.blocks.empty())
        return true;
    message.clear();
    for (const MessageBlock* block : request.blocks) {
        const std::wstring label = block->Label();
        // Unsigned division: seconds below a whole minute are dropped.
        const unsigned minutes = StrToMS(block->Interval()) / 60000u;
        message +=
            ShefHeader(label, block->DataOffset(0, request.now, request.transmission), minutes);
        for (int i = 0; i < block->NumVals(); ++i) {
            CSensorData reading;
            int digits = 0;
            if (block->GetSelfTimedData(i, request.now, reading, digits)) {
                const std::wstring text = Widen(reading.AsCString());
                if (layout == ShefLayout::Fixed) {
                    wchar_t column[16];
                    std::swprintf(column, sizeof column / sizeof column[0], L"%7ls ",
                                  text.substr(0, 7).c_str());
                    message += column;
                } else {
                    message += text + L" ";
                }
            } else {
                message += layout == ShefLayout::Fixed ? L"      M " : L"M ";
            }
            if (block->UsesCalcTime() && i + 1 < block->NumVals()) {
                message += ShefHeader(
                    label, block->DataOffset(i + 1, request.now, request.transmission), minutes);
            }
        }
    }
    return true;
}

std::wstring NfdrsField(const std::wstring& label, bool present, const TValue& value) {
    if (SameLabel(label, L"PCH") || SameLabel(label, L"PAH")) {
        const double v = value.AsDouble();
        return present && v >= 0.0 && v <= 99.99 ? Printed("%05.2f", v) : L"/////";
    }
    if (SameLabel(label, L"VBH")) {
        const double v = value.AsDouble();
        return present && v >= 0.0 && v <= 99.9 ? Printed("%04.1f", v) : L"////";
    }
    if (SameLabel(label, L"RDH")) {
        const long v = value.AsInteger();
        return present && v >= 0 && v <= 9999 ? Printed("%04li", v) : L"////";
    }
    const long v = value.AsInteger();
    if (!present || v < -98 || v > 999)
        return L"///";
    return Printed(v < 0 ? "%+03li" : "%03li", v);
}

bool FormatNfdrs(const MessageRequest& request, std::wstring& message) {
    if (request.blocks.empty()) {
        message = L"no data";
        return true;
    }
    for (const MessageBlock* block : request.blocks) {
        if (!block->Enabled())
            continue;
        const std::wstring label = block->Label();
        const std::string logLabel = ToLogText(label);
        message += kLineEnd;
        for (int i = block->NumVals() - 1; i >= 0; --i) {
            TReport::Debug("Formatting %s", logLabel.c_str());
            CSensorData reading;
            int digits = 0;
            const bool present = block->GetSelfTimedData(i, request.now, reading, digits);
            message += NfdrsField(label, present, reading.GetValue());
            if (i > 0)
                message += L" ";
        }
    }
    return true;
}

bool FormatHandar(const MessageRequest& request, std::wstring& message) {
    if (request.blocks.empty())
        return true;
    message = kLineEnd;
    for (const MessageBlock* block : request.blocks) {
        for (int i = block->NumVals() - 1; i >= 0; --i) {
            CSensorData reading;
            int digits = 0;
            if (block->GetSelfTimedData(i, request.now, reading, digits))
                message += Widen(reading.AsCString()) + L" ";
            else
                message += L"M ";
        }
        message += kLineEnd;
    }
    return true;
}

}  // namespace corvane
