#include "corvane/link/packet.h"

#include <bit>

namespace {

void PutBigEndian(std::vector<BYTE>& out, std::uint32_t value, int bytes) {
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        out.push_back(static_cast<BYTE>(value >> shift));
    }
}

void PutTime(std::vector<BYTE>& out, const TTime& time) {
    const SYSTEMTIME st = time.GetAsSystemTime();
    PutBigEndian(out, st.wYear, 2);
    out.push_back(static_cast<BYTE>(st.wMonth));
    out.push_back(static_cast<BYTE>(st.wDay));
    out.push_back(static_cast<BYTE>(st.wHour));
    out.push_back(static_cast<BYTE>(st.wMinute));
    out.push_back(static_cast<BYTE>(st.wSecond));
}

void PutTimeSpan(std::vector<BYTE>& out, std::int64_t seconds) {
    const TTimeSpan span = TTimeSpan::FromSeconds(seconds);
    out.push_back(static_cast<BYTE>(span.GetDays()));
    out.push_back(static_cast<BYTE>(span.GetHours()));
    out.push_back(static_cast<BYTE>(span.GetMinutes()));
    out.push_back(static_cast<BYTE>(span.GetSeconds()));
}

}  // namespace

void CPacket::SetBool(bool value) {
    SetByte(value ? 1 : 0);
}

void CPacket::SetByte(BYTE value) {
    payload_.assign(1, value);
}

void CPacket::SetWord(WORD value) {
    payload_.clear();
    PutBigEndian(payload_, value, 2);
}

void CPacket::SetDword(DWORD value) {
    payload_.clear();
    PutBigEndian(payload_, value, 4);
}

void CPacket::SetTime(const TTime& time) {
    payload_.clear();
    PutTime(payload_, time);
}

void CPacket::SetTimeSpan(std::int64_t seconds) {
    payload_.clear();
    PutTimeSpan(payload_, seconds);
}

bool CPacket::SetBytes(const BYTE* data, std::size_t count) {
    if (count > kMaxPayload) {
        return false;
    }
    payload_.assign(data, data + count);
    return true;
}

bool CPacket::SetBytes(std::vector<BYTE>&& data) {
    if (data.size() > kMaxPayload) {
        return false;
    }
    payload_ = std::move(data);
    return true;
}

bool CPacket::AppendBool(bool value) {
    return AppendByte(value ? 1 : 0);
}

bool CPacket::AppendByte(BYTE value) {
    if (!Fits(1)) {
        return false;
    }
    payload_.push_back(value);
    return true;
}

bool CPacket::AppendWord(WORD value) {
    if (!Fits(2)) {
        return false;
    }
    PutBigEndian(payload_, value, 2);
    return true;
}

bool CPacket::AppendDword(DWORD value) {
    if (!Fits(4)) {
        return false;
    }
    PutBigEndian(payload_, value, 4);
    return true;
}

bool CPacket::AppendFloat(float value) {
    return AppendDword(std::bit_cast<DWORD>(value));
}

bool CPacket::AppendTime(const TTime& time) {
    if (!Fits(7)) {
        return false;
    }
    PutTime(payload_, time);
    return true;
}

bool CPacket::AppendTimeSpan(std::int64_t seconds) {
    if (!Fits(4)) {
        return false;
    }
    PutTimeSpan(payload_, seconds);
    return true;
}

bool CPacket::AppendBytes(const BYTE* data, std::size_t count) {
    if (!Fits(count)) {
        return false;
    }
    payload_.insert(payload_.end(), data, data + count);
    return true;
}

bool CPacket::ReadBool(std::size_t offset, bool& value) const {
    BYTE byte = 0;
    if (!ReadByte(offset, byte)) {
        return false;
    }
    value = byte != 0;
    return true;
}

bool CPacket::ReadByte(std::size_t offset, BYTE& value) const {
    if (offset >= payload_.size()) {
        return false;
    }
    value = payload_[offset];
    return true;
}

bool CPacket::ReadWord(std::size_t offset, WORD& value) const {
    if (offset > payload_.size() || payload_.size() - offset < 2) {
        return false;
    }
    value = static_cast<WORD>((payload_[offset] << 8) | payload_[offset + 1]);
    return true;
}

bool CPacket::ReadDword(std::size_t offset, DWORD& value) const {
    if (offset > payload_.size() || payload_.size() - offset < 4) {
        return false;
    }
    value = (DWORD{payload_[offset]} << 24) | (DWORD{payload_[offset + 1]} << 16) |
            (DWORD{payload_[offset + 2]} << 8) | DWORD{payload_[offset + 3]};
    return true;
}

bool CPacket::ReadTime(std::size_t offset, TTime& value) const {
    if (offset > payload_.size() || payload_.size() - offset < 7) {
        return false;
    }
    const BYTE* p = payload_.data() + offset;
    const int year = (p[0] << 8) | p[1];
    // A transmitter without a valid time answers all zeros: that is the zero instant.
    if (year == 0 && p[2] == 0 && p[3] == 0 && p[4] == 0 && p[5] == 0 && p[6] == 0) {
        value = TTime();
        return true;
    }
    if (p[2] < 1 || p[2] > 12 || p[3] < 1 || p[3] > 31 || p[4] > 23 || p[5] > 59 || p[6] > 59) {
        return false;
    }
    value = TTime(year, p[2], p[3], p[4], p[5], p[6]);
    return true;
}
