// The platform's measured value: a real or an integer number with the digits it is shown with.
#pragma once

#include <cstddef>
#include <string>

class TValue {
  public:
    enum class Kind { Real, Integer };

    // 0.0, shown with 2 digits right of the decimal point.
    TValue();
    explicit TValue(double value, int rightDigits = 2);
    // An integer value. Its display digits are kept (for whoever asks) but integers are always
    // shown without a decimal part.
    static TValue FromInteger(long value, int rightDigits = 0);

    Kind GetKind() const { return kind_; }
    bool IsReal() const { return kind_ == Kind::Real; }
    bool IsInteger() const { return kind_ == Kind::Integer; }

    void SetReal(double value);
    void SetInteger(long value);

    // Digits right of the decimal point in the text form, clamped to 0..15.
    int GetRightDigits() const { return rightDigits_; }
    void SetRightDigits(int digits);

    double AsDouble() const;
    // A real value rounded to the nearest integer (halves away from zero).
    long AsInteger() const;
    // The text form: "%.*f" with the display digits for a real, "%ld" for an integer. The
    // pointer stays valid until this value is changed or destroyed.
    const char* AsCString() const { return text_; }
    std::wstring AsWString() const;

    // Same kind, number and digits.
    bool operator==(const TValue& other) const;

  private:
    void Format();

    Kind kind_ = Kind::Real;
    double real_ = 0.0;
    long integer_ = 0;
    int rightDigits_ = 2;
    // Formatted eagerly so that reading the text never writes (readers may share a value).
    char text_[40] = {};
};
