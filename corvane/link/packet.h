// The unit of every exchange with the transmitter: a type code and a payload, with the value
// encodings of the command set. Multi-byte values are most significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/time.h"
#include "platform/types.h"

class CPacket {
  public:
    // The frame's length field is 16 bits wide, so no payload grows beyond this.
    static constexpr std::size_t kMaxPayload = 0xFFFF;

    CPacket() = default;
    explicit CPacket(WORD type) : type_(type) {}

    WORD GetType() const { return type_; }
    void SetType(WORD type) { type_ = type; }
    WORD GetLength() const { return static_cast<WORD>(payload_.size()); }
    // Null when the payload is empty.
    const BYTE* GetPayload() const { return payload_.empty() ? nullptr : payload_.data(); }
    const std::vector<BYTE>& Payload() const { return payload_; }

    // Set operations replace the whole payload with one value.
    void Clear() { payload_.clear(); }
    void SetBool(bool value);
    void SetByte(BYTE value);
    void SetWord(WORD value);
    void SetDword(DWORD value);
    // 7 bytes: year (2), month, day, hour, minute, second; the milliseconds are not sent.
    void SetTime(const TTime& time);
    // 4 bytes: days, hours, minutes, seconds of a span of `seconds`, one byte each (the days
    // byte keeps the low 8 bits of a longer span).
    void SetTimeSpan(std::int64_t seconds);
    // The bytes as they stand. False, and the payload unchanged, when longer than kMaxPayload.
    bool SetBytes(const BYTE* data, std::size_t count);
    bool SetBytes(std::vector<BYTE>&& data);

    // Append operations add one value at the end. False, and the payload unchanged, when the
    // result would exceed kMaxPayload.
    bool AppendBool(bool value);
    bool AppendByte(BYTE value);
    bool AppendWord(WORD value);
    bool AppendDword(DWORD value);
    // The IEEE single-precision bit pattern as a 32-bit value.
    bool AppendFloat(float value);
    bool AppendTime(const TTime& time);
    bool AppendTimeSpan(std::int64_t seconds);
    bool AppendBytes(const BYTE* data, std::size_t count);

    // Readers take a byte offset into the payload; false (and `value` untouched) when the value
    // does not lie wholly inside it.
    bool ReadBool(std::size_t offset, bool& value) const;  // any non-zero byte is true
    bool ReadByte(std::size_t offset, BYTE& value) const;
    bool ReadWord(std::size_t offset, WORD& value) const;
    bool ReadDword(std::size_t offset, DWORD& value) const;
    // Seven zero bytes (a transmitter without a valid time) read as the zero TTime; a field out
    // of its calendar range makes the read fail.
    bool ReadTime(std::size_t offset, TTime& value) const;

    bool operator==(const CPacket& other) const = default;

  private:
    bool Fits(std::size_t more) const { return payload_.size() + more <= kMaxPayload; }

    WORD type_ = 0;
    std::vector<BYTE> payload_;
};
