// A decoder of NOS water-level messages as receiving stations read them, written from the
// receivers' layout facts (the shared formats notes), not from the module's formatter: the
// tests turn messages back into values with it. Missing codes come back as no value.
#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace corvanetest {

using Maybe = std::optional<long>;

struct NosSample {
    Maybe level, sigma, outliers, temperature1, temperature2;
};

struct NosDecodedBlock {
    char flag = 0;
    std::vector<NosSample> samples;  // water levels, oldest last
    std::vector<Maybe> values;       // other blocks: one value a sample (wind: 3 a sample)
};

struct NosDecoded {
    char type = 0;
    std::string station;
    char dcp = 0;
    Maybe datumOffset, sensorOffset;
    long status = 0;
    int minute = -1, day = -1, hour = -1;
    std::vector<NosDecodedBlock> blocks;

    const NosDecodedBlock* Find(char flag, int nth = 0) const {
        for (const NosDecodedBlock& b : blocks)
            if (b.flag == flag && nth-- == 0)
                return &b;
        return nullptr;
    }
};

class NosDecoder {
  public:
    // False, with `error` saying where, for a message receivers would reject.
    static bool Decode(const std::string& text, NosDecoded& out, std::string& error) {
        NosDecoder d(text);
        return d.Run(out) || (error = d.error_, false);
    }

  private:
    explicit NosDecoder(const std::string& text) : text_(text) {}

    static bool IsData(char c) { return static_cast<unsigned char>(c) >= 0x3F; }

    bool Fail(const std::string& why) {
        error_ = why + " at character " + std::to_string(at_);
        return false;
    }
    bool Unsigned(int characters, long& v) {
        v = 0;
        for (int i = 0; i < characters; ++i) {
            if (at_ >= text_.size() || !IsData(text_[at_]))
                return Fail("a field ends early");
            const char c = text_[at_++];
            v = v * 64 + (c == '?' ? 63 : c - 0x40);
        }
        return true;
    }
    bool SignedValue(int characters, long& v) {
        if (!Unsigned(characters, v))
            return false;
        const long span = 1L << (6 * characters);
        if (v >= span / 2)
            v -= span;
        return true;
    }
    static Maybe Missing(long v, long code) { return v == code ? Maybe() : Maybe(v); }
    bool Level3(Maybe& out) {
        long v = 0;
        if (!Unsigned(3, v))
            return false;
        out = v == 262143 || v == 0 ? Maybe() : Maybe(v);
        return true;
    }
    bool Field(int characters, long missing, Maybe& out) {
        long v = 0;
        if (!Unsigned(characters, v))
            return false;
        out = Missing(v, missing);
        return true;
    }
    bool Temperature(Maybe& out) {
        long v = 0;
        if (!SignedValue(2, v))
            return false;
        out = v == 2047 || v == -2048 ? Maybe() : Maybe(v);
        return true;
    }

    // A run of data characters up to the next flag.
    std::size_t RunLength() const {
        std::size_t n = 0;
        while (at_ + n < text_.size() && IsData(text_[at_ + n]))
            ++n;
        return n;
    }

    bool SixMinuteBlock(char flag, bool& acousticSeen, NosDecodedBlock& b) {
        NosSample s;
        if (std::strchr(">\".#)'*", flag) != nullptr) {
            if (!Level3(s.level))
                return false;
        } else {
            if (!Level3(s.level) || !Field(2, 4095, s.sigma) || !Field(1, 63, s.outliers))
                return false;
            if (flag == '1' && !acousticSeen &&
                (!Temperature(s.temperature1) || !Temperature(s.temperature2)))
                return false;
            acousticSeen = acousticSeen || flag == '1' || flag == '(';
        }
        b.samples.push_back(s);
        return true;
    }

    // Our receivers' reading of a level that does not fit: 4095 above the offset is missing.
    bool HourlyBlock(char flag, NosDecodedBlock& b) {
        long offset = 0;
        if (!Unsigned(1, offset))
            return false;
        const bool levelsOnly = std::strchr("2>\".#)'*", flag) != nullptr;
        const bool temperatures = flag == '1' || flag == '(';
        for (int k = 0; k < 10; ++k) {
            NosSample s;
            long v = 0;
            if (!Unsigned(2, v))
                return false;
            s.level = v == 4095 ? Maybe() : Maybe(offset * 250 + v);
            if (!levelsOnly &&
                (!Field(2, 4095, s.sigma) || !Field(1, 63, s.outliers) ||
                 (temperatures && (!Temperature(s.temperature1) || !Temperature(s.temperature2)))))
                return false;
            b.samples.push_back(s);
        }
        return true;
    }

    bool OtherBlock(char flag, bool hourly, NosDecodedBlock& b) {
        const int width = flag == '3' ? 6 : 2;
        const std::size_t run = RunLength();
        const int count = hourly && run == static_cast<std::size_t>(10 * width) ? 10 : 1;
        for (int k = 0; k < count * width / 2; ++k) {
            Maybe v;
            if (flag == '4' || flag == '5') {
                if (!Temperature(v))
                    return false;
            } else {
                if (!Field(2, 4095, v))
                    return false;
                if (flag == '6' && v)
                    *v += 8000;
            }
            b.values.push_back(v);
        }
        return true;
    }

    bool Run(NosDecoded& out) {
        if (text_.size() < 10)
            return Fail("too short");
        out.type = text_[0];
        if (out.type != 'P' && out.type != 'N')
            return Fail("unknown message type");
        const bool hourly = out.type == 'N';
        out.station = text_.substr(1, 7);
        out.dcp = text_[8];
        at_ = 9;
        long v = 0;
        if (!Unsigned(3, v))
            return false;
        out.datumOffset = Missing(v, 262143);
        if (!SignedValue(2, v))
            return false;
        out.sensorOffset = Missing(v, 2047);
        if (!Unsigned(2, out.status))
            return false;
        if (hourly && !Unsigned(3, v))
            return false;
        if (!Unsigned(1, v))
            return false;
        out.minute = static_cast<int>(v);
        bool acousticSeen = false;
        while (at_ < text_.size()) {
            const char flag = text_[at_++];
            if (flag == '0') {
                long day = 0, hour = 0;
                if (!Unsigned(2, day) || !Unsigned(1, hour))
                    return false;
                out.day = static_cast<int>(day);
                out.hour = static_cast<int>(hour);
                continue;
            }
            NosDecodedBlock b;
            b.flag = flag;
            bool ok = false;
            if (std::strchr("12!8(%&>\".#)'*", flag) != nullptr)
                ok = hourly ? HourlyBlock(flag, b) : SixMinuteBlock(flag, acousticSeen, b);
            else if (std::strchr("345679:;=<", flag) != nullptr)
                ok = OtherBlock(flag, hourly, b);
            else
                return Fail(std::string("unknown flag '") + flag + "'");
            if (!ok)
                return false;
            out.blocks.push_back(b);
        }
        return true;
    }

    const std::string& text_;
    std::size_t at_ = 0;
    std::string error_;
};

}  // namespace corvanetest
