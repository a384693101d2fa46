#include "corvane/formats/pseudobinary_formats.h"

#include "corvane/formats/pseudobinary.h"

namespace corvane {
namespace {

void AppendValue(const MessageBlock& block, int i, TTime now, std::wstring& message) {
    CSensorData reading;
    int digits = 0;
    if (block.GetSelfTimedData(i, now, reading, digits))
        message += EncodePseudobinary(reading.GetValue().AsDouble(), 3, digits, FieldSign::Signed);
    else
        message += kPseudobinaryMissing;
}

}  // namespace

bool FormatPseudobinary(const MessageRequest& request, Interleaving interleaving,
                        std::wstring& message) {
    if (request.blocks.empty())
        return true;
    message = kPseudobinaryStart;
    const std::int64_t offset =
        request.blocks.front()->DataOffset(0, request.now, request.transmission);
    message += EncodePseudobinary(static_cast<double>(offset), 1, 0, FieldSign::Unsigned);
    if (interleaving == Interleaving::Interleaved) {
        for (int i = 0; i < request.numVals; ++i)
            for (const MessageBlock* block : request.blocks)
                AppendValue(*block, i, request.now, message);
    } else {
        for (const MessageBlock* block : request.blocks)
            for (int i = 0; i < block->NumVals(); ++i)
                AppendValue(*block, i, request.now, message);
    }
    return true;
}

}  // namespace corvane
