// libFuzzer target: the NOS format table as the logger reads it from its flash disk, and the NOS
// message built from it for a fixed station. Whatever the table holds, the reader keeps its
// bounds, and a message made is one that receivers decode (corvanetest::NosDecoder).
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "corvane/formats/format_catalogue.h"
#include "corvane/support/nos_decoder.h"
#include "host/engine/logger_folders.h"
#include "host/log/report_sinks.h"

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

struct Block : corvane::MessageBlock {
    Block(std::wstring l, double v) : label(std::move(l)), value(v) {}
    std::wstring label;
    double value;
    std::wstring Label() const override { return label; }
    int NumVals() const override { return 11; }
    std::wstring Interval() const override { return L"00:06:00"; }
    bool UsesCalcTime() const override { return false; }
    bool Enabled() const override { return true; }
    bool GetSelfTimedData(int line, TTime now, CSensorData& reading, int& digits) const override {
        if (line % 4 == 3)
            return false;  // a missing reading now and then
        digits = 3;
        reading = CSensorData(TValue(value - 0.01 * line, digits), now);
        return true;
    }
    std::int64_t DataOffset(int, TTime, TTime) const override { return 5; }
};

// The scratch flash disk, made once for the process.
const std::string& FlashDisk() {
    static const std::string folder = [] {
        std::string pattern = "/tmp/nos-table-fuzz-XXXXXX";
        const char* made = ::mkdtemp(pattern.data());
        Require(made != nullptr);
        tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::FlashDisk, made);
        return std::string(made);
    }();
    return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Bad lines are warnings and errors; thousands a second would drown the run.
    tarvo::host::SetStderrLevel(TReportLevel::Error, false);
    std::ofstream(FlashDisk() + "/NOSGOESFormat.txt", std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    const Block level(L"WL1", 2.345), sigma(L"SD", 0.004), outliers(L"OUT", 2),
        temperature(L"TW", -3.5), battery(L"VB", 13.1), huge(L"BIG", 1e12);
    corvane::MessageRequest request;
    request.format = L"NOS";
    request.blocks = {&level, &sigma, &outliers, &temperature, &battery, &huge};
    request.now = TTime(2026, 3, 3, 14, 4, 40);
    request.transmission = TTime(2026, 3, 3, 14, 5, 0);
    request.use = corvane::MessageUse::Display;
    request.windowSeconds = static_cast<int>(size % 7);
    request.bitsPerSecond = 300;
    std::wstring message;
    if (!corvane::FormatSelfTimedMessage(request, message))
        return 0;
    std::string text;
    for (wchar_t c : message) {
        Require(c >= 0 && c < 256);
        text += static_cast<char>(c);
    }
    corvanetest::NosDecoded decoded;
    std::string error;
    Require(corvanetest::NosDecoder::Decode(text, decoded, error));
    return 0;
}
