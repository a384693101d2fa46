#include <algorithm>
#include <cmath>
#include <cstdio>

#include "platform/value.h"

// Values are made by the thousand on the processing path; the text of the default is known.
TValue::TValue() : text_{'0', '.', '0', '0'} {}

TValue::TValue(double value, int rightDigits) : real_(value) {
    rightDigits_ = std::clamp(rightDigits, 0, 15);
    Format();
}

TValue TValue::FromInteger(long value, int rightDigits) {
    TValue v;
    v.kind_ = Kind::Integer;
    v.integer_ = value;
    v.rightDigits_ = std::clamp(rightDigits, 0, 15);
    v.Format();
    return v;
}

void TValue::SetReal(double value) {
    kind_ = Kind::Real;
    real_ = value;
    Format();
}

void TValue::SetInteger(long value) {
    kind_ = Kind::Integer;
    integer_ = value;
    Format();
}

void TValue::SetRightDigits(int digits) {
    digits = std::clamp(digits, 0, 15);
    if (digits == rightDigits_)
        return;  // the text already has these digits
    rightDigits_ = digits;
    Format();
}

double TValue::AsDouble() const {
    return kind_ == Kind::Real ? real_ : static_cast<double>(integer_);
}

long TValue::AsInteger() const {
    if (kind_ == Kind::Integer)
        return integer_;
    if (!std::isfinite(real_))
        return 0;
    return std::lround(real_);
}

std::wstring TValue::AsWString() const {
    std::wstring out;
    for (const char* p = text_; *p; ++p)
        out.push_back(static_cast<wchar_t>(*p));
    return out;
}

bool TValue::operator==(const TValue& other) const {
    if (kind_ != other.kind_ || rightDigits_ != other.rightDigits_)
        return false;
    return kind_ == Kind::Real ? real_ == other.real_ : integer_ == other.integer_;
}

void TValue::Format() {
    if (kind_ == Kind::Integer) {
        std::snprintf(text_, sizeof text_, "%ld", integer_);
        return;
    }
    // Values too large for the buffer fall back to exponent form rather than being cut.
    int n = std::snprintf(text_, sizeof text_, "%.*f", rightDigits_, real_);
    if (n < 0 || n >= static_cast<int>(sizeof text_)) {
        std::snprintf(text_, sizeof text_, "%.*g", rightDigits_ + 1, real_);
    }
}
