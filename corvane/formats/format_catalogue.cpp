#include "corvane/formats/format_catalogue.h"

#include "corvane/formats/insat_format.h"
#include "corvane/formats/nos_formatter.h"
#include "corvane/formats/pseudobinary_formats.h"
#include "corvane/formats/text_formats.h"

namespace corvane {
namespace {

bool FormatNos(const MessageRequest& request, std::wstring& message) {
    if (request.nos != nullptr)
        return request.nos->Format(request, message);
    CNOSFormatter once;
    return once.Format(request, message);
}

bool Dispatch(const MessageRequest& request, std::wstring& message) {
    const std::wstring& f = request.format;
    if (f == kFormatNames[0])
        return FormatShef(request, ShefLayout::Plain, message);
    if (f == kFormatNames[1])
        return FormatShef(request, ShefLayout::Fixed, message);
    if (f == kFormatNames[2])
        return FormatPseudobinary(request, Interleaving::Interleaved, message);
    if (f == kFormatNames[3])
        return FormatPseudobinary(request, Interleaving::BlockByBlock, message);
    if (f == kFormatNames[4])
        return FormatNos(request, message);
    if (f == kFormatNames[5])
        return FormatNfdrs(request, message);
    if (f == kFormatNames[6])
        return FormatInsat(request, message);
    if (f == kFormatNames[7])
        return FormatHandar(request, message);
    return false;  // no such format: only a hook can make the message
}

}  // namespace

bool FormatSelfTimedMessage(const MessageRequest& request, std::wstring& message) {
    const bool formatted = Dispatch(request, message);
    if (request.hook != nullptr)
        return request.hook(message, 0);
    return formatted;
}

}  // namespace corvane
