// Framing and the CRC, checked against the tests' own table-driven CRC and literal vectors.
#include <gtest/gtest.h>

#include <string>

#include "sim/crc16.h"
#include "sim/frame.h"
#include "sim/frame_reader.h"
#include "sim/support/wire.h"

using namespace tarvo::sim;
using simtest::Bytes;

namespace {

std::uint16_t SimCrc(const Bytes& bytes) {
    return Crc16(bytes);
}

}  // namespace

TEST(Crc, CheckStringGivesTheKnownValue) {
    EXPECT_EQ(SimCrc(simtest::Text("123456789")), 0x31C3);
    EXPECT_EQ(simtest::TableCrc(simtest::Text("123456789")), 0x31C3);
}

TEST(Crc, AgreesWithTheTableDerivationOnVariedInputs) {
    // Every byte value at every position of a rolling pattern, and the empty input.
    Bytes bytes;
    for (int i = 0; i < 700; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i * 37 + (i >> 3)));
        ASSERT_EQ(SimCrc(bytes), simtest::TableCrc(bytes)) << "length " << bytes.size();
    }
    EXPECT_EQ(SimCrc({}), 0);
}

TEST(Crc, ContinuesAcrossPieces) {
    const Bytes whole = simtest::Text("The quick brown fox");
    const Bytes head(whole.begin(), whole.begin() + 7);
    const Bytes tail(whole.begin() + 7, whole.end());
    EXPECT_EQ(Crc16(tail, Crc16(head)), SimCrc(whole));
}

TEST(EncodeFrame, LaysOutEveryFieldHighByteFirst) {
    struct Row {
        const char* legend;
        Frame frame;
    };
    const Row rows[] = {
        {"empty request is 8 bytes", {0xAA, 1, 770, {}}},
        {"reply header, type above 255", {0x55, 0xFF, 0x1234, {1, 2, 3}}},
        {"payload longer than 255", {0x55, 7, 4, Bytes(300, 0x41)}},
    };
    for (const Row& row : rows) {
        const Bytes expected = simtest::FrameBytes(row.frame.header, row.frame.number,
                                                   row.frame.type, row.frame.payload);
        EXPECT_EQ(EncodeFrame(row.frame), expected) << row.legend;
    }
    EXPECT_EQ(EncodeFrame({0xAA, 1, 770, {}}),
              (Bytes{0xAA, 0x01, 0x03, 0x02, 0x00, 0x00, 0x38, 0xC7}));
}

TEST(EncodeFrame, DamagedFormKeepsItsClaims) {
    const Frame frame{0x55, 3, 35, {9, 9}};
    const Bytes out = EncodeFrameAs(frame, 6, 0xFFFF);
    Bytes body{0x55, 3, 0, 35, 0, 6, 9, 9};
    const std::uint16_t crc = simtest::TableCrc(body) ^ 0xFFFF;
    body.push_back(static_cast<std::uint8_t>(crc >> 8));
    body.push_back(static_cast<std::uint8_t>(crc));
    EXPECT_EQ(out, body);
}

namespace {

struct Collected {
    std::vector<Frame> frames;
    std::vector<Frame> bad;
    Bytes noise;
};

Collected Collect(const std::vector<ReaderEvent>& events) {
    Collected c;
    for (const ReaderEvent& e : events) {
        switch (e.kind) {
            case ReaderEvent::Kind::Frame:
                c.frames.push_back(e.frame);
                break;
            case ReaderEvent::Kind::BadCrc:
                c.bad.push_back(e.frame);
                break;
            case ReaderEvent::Kind::Noise:
                c.noise.insert(c.noise.end(), e.noise.begin(), e.noise.end());
                break;
        }
    }
    return c;
}

}  // namespace

TEST(FrameReader, FindsFramesWhateverSurroundsThem) {
    const Bytes a = simtest::Request(1, 35);
    const Bytes b = simtest::Request(2, 216, simtest::Text("HELLO"));
    Bytes badCrc = simtest::Request(3, 4);
    badCrc.back() ^= 1;
    // A stray header whose "length" (taken from the real frame's type bytes, 0x0023) would keep
    // the reader waiting for 43 bytes that never come.
    const Bytes strayHeader{0xAA};
    // A header announcing more than the device accepts is noise at once.
    const Bytes hugeLength{0xAA, 9, 0, 4, 0xFF, 0xFF};

    struct Row {
        const char* legend;
        Bytes line;
        std::size_t frames;  // good frames expected, in order a then b
        std::size_t bad;
        Bytes noise;
    };
    const Row rows[] = {
        {"two frames back to back", simtest::Cat({a, b}), 2, 0, {}},
        {"noise before and between",
         simtest::Cat({{1, 2, 3}, a, {0x55, 0x00}, b}),
         2,
         0,
         {1, 2, 3, 0x55, 0x00}},
        {"bad CRC reported, the next frame still found", simtest::Cat({badCrc, a, b}), 2, 1, {}},
        {"stray header before a frame", simtest::Cat({strayHeader, a, b}), 2, 0, {0xAA}},
        {"announced length too long", simtest::Cat({hugeLength, a, b}), 2, 0, hugeLength},
    };
    for (const Row& row : rows) {
        for (const bool byteByByte : {false, true}) {
            FrameReader reader;
            std::vector<ReaderEvent> events;
            if (byteByByte) {
                for (const std::uint8_t byte : row.line) {
                    reader.Feed(Bytes{byte}, 0, events);
                }
            } else {
                reader.Feed(row.line, 0, events);
            }
            const std::string legend =
                std::string(row.legend) + (byteByByte ? " (byte by byte)" : " (one piece)");
            // Both frames are found as soon as their bytes are in, not only once the gap passed.
            ASSERT_EQ(Collect(events).frames.size(), row.frames) << legend;
            reader.Expire(10'000'000, events);
            const Collected c = Collect(events);
            ASSERT_EQ(c.frames.size(), row.frames) << legend;
            EXPECT_EQ(c.frames[0].number, 1) << legend;
            EXPECT_EQ(c.frames[0].type, 35) << legend;
            EXPECT_EQ(c.frames[1].payload, simtest::Text("HELLO")) << legend;
            EXPECT_EQ(c.bad.size(), row.bad) << legend;
            EXPECT_EQ(c.noise, row.noise) << legend;
            EXPECT_EQ(reader.PendingBytes(), 0u) << legend;
        }
    }
}

TEST(FrameReader, GivesUpAnIncompleteFrameAfterTheGap) {
    FrameReader reader(kMaxPayload, 500'000);
    std::vector<ReaderEvent> events;
    const Bytes request = simtest::Request(5, 31);
    // A frame cut short: its header promises a payload that never comes.
    const Bytes cut{0xAA, 4, 0x00, 0xD8, 0x00, 0x05, 'A'};
    reader.Feed(cut, 0, events);
    EXPECT_TRUE(events.empty());
    ASSERT_TRUE(reader.ExpiryTime().has_value());
    EXPECT_EQ(*reader.ExpiryTime(), 500'000);

    reader.Expire(499'999, events);
    EXPECT_TRUE(events.empty()) << "gives up only once the gap has passed";

    reader.Feed(request, 2'000'000, events);  // the retry, after the gap
    const Collected c = Collect(events);
    ASSERT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.frames[0].number, 5);
    EXPECT_EQ(c.noise, cut);
    EXPECT_FALSE(reader.ExpiryTime().has_value());
}

TEST(FrameReader, ARetryWithinTheGapCompletesTheCutFrameAsBad) {
    // Within the gap the retry's bytes are taken as the rest of the cut frame: that frame then
    // fails its CRC, and the retry is still found behind it.
    FrameReader reader(kMaxPayload, 500'000);
    std::vector<ReaderEvent> events;
    const Bytes cut{0xAA, 4, 0x00, 0xD8, 0x00, 0x02, 'A'};
    const Bytes retry = simtest::Request(4, 216, simtest::Text("AB"));
    reader.Feed(cut, 0, events);
    reader.Feed(retry, 100'000, events);
    reader.Expire(10'000'000, events);
    const Collected c = Collect(events);
    EXPECT_EQ(c.bad.size(), 1u);
    ASSERT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.frames[0].payload, simtest::Text("AB"));
}
