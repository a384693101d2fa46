// The frame reader, fed frames amid noise, cut short and spoiled. (The simulator's framing and
// CRC are checked wherever the module talks to it: a wrong byte fails every exchange.)
#include <gtest/gtest.h>

#include <span>
#include <string>

#include "sim/model/records.h"
#include "sim/support/wire.h"
#include "sim/wire/frame_reader.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

// The reader's events as one text: the frames found ("number/type:payload"), one "bad" per
// frame with a bad CRC, then all the noise.
std::string Found(const std::vector<ReaderEvent>& events) {
    std::string frames, bad, noise;
    for (const ReaderEvent& e : events) {
        if (e.kind == ReaderEvent::Kind::Frame) {
            frames += std::to_string(e.frame.number) + "/" + std::to_string(e.frame.type) + ":" +
                      ToHex(e.frame.payload) + " ";
        } else if (e.kind == ReaderEvent::Kind::BadCrc) {
            bad += "bad ";
        } else {
            noise += ToHex(e.noise);
        }
    }
    return frames + bad + "noise " + noise;
}

}  // namespace

TEST(FrameReader, FindsFramesWhateverSurroundsThem) {
    const Bytes a = Request(1, 35);
    const Bytes b = Request(2, 216, Text("HI"));
    Bytes badCrc = Request(3, 4);
    badCrc.back() ^= 1;
    const std::string ab = "1/35: 2/216:4849 ";
    const struct {
        const char* legend;
        Bytes line;
        std::string found;
    } rows[] = {
        {"two frames back to back", Cat({a, b}), ab + "noise "},
        {"noise before and between", Cat({{1, 2, 3}, a, {0x55, 0x00}, b}), ab + "noise 0102035500"},
        {"bad CRC reported, the next frame still found", Cat({badCrc, a, b}), ab + "bad noise "},
        // Its "length", taken from the real frame's type bytes, would wait for 43 bytes.
        {"stray header before a frame", Cat({{0xAA}, a, b}), ab + "noise aa"},
        {"a header announcing more than the device takes is noise at once",
         Cat({{0xAA, 9, 0, 4, 0xFF, 0xFF}, a, b}), ab + "noise aa090004ffff"},
        // A retry within the gap: its bytes complete the frame that was cut short, which then
        // fails its CRC, and the search resumes behind that frame's header.
        {"a frame cut short, then the rest", Cat({{0xAA, 1, 0, 0xD8, 0, 2, 'A'}, a, b}),
         ab + "bad noise "},
    };
    for (const auto& row : rows) {
        for (const bool byteByByte : {false, true}) {
            SCOPED_TRACE(std::string(row.legend) +
                         (byteByByte ? ", byte by byte" : ", in one piece"));
            FrameReader reader;
            std::vector<ReaderEvent> events;
            for (std::size_t at = 0; at < row.line.size(); at += byteByByte ? 1 : row.line.size()) {
                reader.Feed(std::span(row.line).subspan(at, byteByByte ? 1 : row.line.size()), 0,
                            events);
            }
            EXPECT_EQ(Found(events).rfind(ab, 0), 0u) << "found before the gap passed";
            reader.Expire(10'000'000, events);
            EXPECT_EQ(Found(events), row.found);
            EXPECT_EQ(reader.PendingBytes(), 0u);
        }
    }
}
