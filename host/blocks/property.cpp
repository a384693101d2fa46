#include <cmath>

#include "host/text/number_text.h"
#include "platform/property.h"

using tarvo::host::LeadingDouble;
using tarvo::host::RealToText;

TProperty::TProperty(std::wstring name, TPropertyType type) : name_(std::move(name)), type_(type) {
    if (type_ == TPropertyType::Text)
        texts_.resize(1);
}

TProperty TProperty::Integer(std::wstring name, long value) {
    TProperty p(std::move(name), TPropertyType::Integer);
    p.integer_ = value;
    return p;
}

TProperty TProperty::Real(std::wstring name, double value) {
    TProperty p(std::move(name), TPropertyType::Real);
    p.real_ = value;
    return p;
}

TProperty TProperty::Boolean(std::wstring name, bool value) {
    TProperty p(std::move(name), TPropertyType::Boolean);
    p.integer_ = value ? 1 : 0;
    return p;
}

TProperty TProperty::Text(std::wstring name, std::wstring value) {
    TProperty p(std::move(name), TPropertyType::Text);
    p.texts_[0] = std::move(value);
    return p;
}

TProperty TProperty::TextArray(std::wstring name, int size) {
    TProperty p(std::move(name), TPropertyType::TextArray);
    p.texts_.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return p;
}

TProperty::TProperty(const TProperty& other) : name_(other.name_), type_(other.type_) {
    std::lock_guard lock(other.mutex_);
    integer_ = other.integer_;
    real_ = other.real_;
    texts_ = other.texts_;
}

TProperty& TProperty::operator=(const TProperty& other) {
    if (this == &other)
        return *this;
    // Copy out first so that the two locks are never held together.
    long integer;
    double real;
    std::vector<std::wstring> texts;
    {
        std::lock_guard lock(other.mutex_);
        integer = other.integer_;
        real = other.real_;
        texts = other.texts_;
    }
    std::lock_guard lock(mutex_);
    name_ = other.name_;
    type_ = other.type_;
    integer_ = integer;
    real_ = real;
    texts_ = std::move(texts);
    return *this;
}

long TProperty::GetInteger() const {
    std::lock_guard lock(mutex_);
    switch (type_) {
        case TPropertyType::Integer:
        case TPropertyType::Boolean:
            return integer_;
        case TPropertyType::Real:
            return std::isfinite(real_) ? std::lround(real_) : 0;
        case TPropertyType::Text:
        case TPropertyType::TextArray:
            return texts_.empty() ? 0 : std::lround(LeadingDouble(texts_[0]));
    }
    return 0;
}

double TProperty::GetReal() const {
    std::lock_guard lock(mutex_);
    switch (type_) {
        case TPropertyType::Integer:
        case TPropertyType::Boolean:
            return static_cast<double>(integer_);
        case TPropertyType::Real:
            return real_;
        case TPropertyType::Text:
        case TPropertyType::TextArray:
            return texts_.empty() ? 0.0 : LeadingDouble(texts_[0]);
    }
    return 0.0;
}

bool TProperty::GetBool() const {
    if (type_ == TPropertyType::Text || type_ == TPropertyType::TextArray) {
        std::wstring text = GetText(0);
        bool value = false;
        if (tarvo::host::ParseBool(text, value))
            return value;
        return LeadingDouble(text) != 0.0;
    }
    return GetReal() != 0.0;
}

std::wstring TProperty::GetText() const {
    std::lock_guard lock(mutex_);
    switch (type_) {
        case TPropertyType::Integer:
            return std::to_wstring(integer_);
        case TPropertyType::Boolean:
            return integer_ ? L"true" : L"false";
        case TPropertyType::Real:
            return RealToText(real_);
        case TPropertyType::Text:
            return texts_[0];
        case TPropertyType::TextArray: {
            std::wstring joined;
            for (std::size_t i = 0; i < texts_.size(); ++i) {
                if (i)
                    joined += L",";
                joined += texts_[i];
            }
            return joined;
        }
    }
    return {};
}

void TProperty::SetInteger(long value) {
    std::lock_guard lock(mutex_);
    switch (type_) {
        case TPropertyType::Integer:
            integer_ = value;
            break;
        case TPropertyType::Boolean:
            integer_ = value != 0;
            break;
        case TPropertyType::Real:
            real_ = static_cast<double>(value);
            break;
        case TPropertyType::Text:
        case TPropertyType::TextArray:
            if (texts_.empty())
                texts_.resize(1);
            texts_[0] = std::to_wstring(value);
            break;
    }
}

void TProperty::SetReal(double value) {
    std::lock_guard lock(mutex_);
    switch (type_) {
        case TPropertyType::Integer:
            integer_ = std::isfinite(value) ? std::lround(value) : 0;
            break;
        case TPropertyType::Boolean:
            integer_ = value != 0.0;
            break;
        case TPropertyType::Real:
            real_ = value;
            break;
        case TPropertyType::Text:
        case TPropertyType::TextArray:
            if (texts_.empty())
                texts_.resize(1);
            texts_[0] = RealToText(value);
            break;
    }
}

void TProperty::SetBool(bool value) {
    if (type_ == TPropertyType::Text || type_ == TPropertyType::TextArray) {
        SetText(0, value ? L"true" : L"false");
        return;
    }
    SetInteger(value ? 1 : 0);
}

void TProperty::SetText(const std::wstring& value) {
    switch (type_) {
        case TPropertyType::Integer:
        case TPropertyType::Boolean:
            if (bool b; type_ == TPropertyType::Boolean && tarvo::host::ParseBool(value, b)) {
                SetInteger(b);
            } else {
                SetInteger(std::lround(LeadingDouble(value)));
            }
            break;
        case TPropertyType::Real:
            SetReal(LeadingDouble(value));
            break;
        case TPropertyType::Text:
        case TPropertyType::TextArray:
            SetText(0, value);
            break;
    }
}

int TProperty::GetCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(texts_.size());
}

std::wstring TProperty::GetText(int index) const {
    if (type_ != TPropertyType::Text && type_ != TPropertyType::TextArray) {
        return index == 0 ? GetText() : std::wstring();
    }
    std::lock_guard lock(mutex_);
    if (index < 0 || index >= static_cast<int>(texts_.size()))
        return {};
    return texts_[static_cast<std::size_t>(index)];
}

void TProperty::SetText(int index, const std::wstring& value) {
    if (type_ != TPropertyType::Text && type_ != TPropertyType::TextArray) {
        if (index == 0)
            SetText(value);
        return;
    }
    if (index < 0 || (type_ == TPropertyType::Text && index != 0))
        return;
    std::lock_guard lock(mutex_);
    if (index >= static_cast<int>(texts_.size()))
        texts_.resize(static_cast<std::size_t>(index) + 1);
    texts_[static_cast<std::size_t>(index)] = value;
}

std::vector<std::wstring> TProperty::GetTexts() const {
    if (type_ != TPropertyType::Text && type_ != TPropertyType::TextArray)
        return {GetText()};
    std::lock_guard lock(mutex_);
    return texts_;
}

void TProperty::SetTexts(std::vector<std::wstring> values) {
    if (type_ != TPropertyType::TextArray) {
        SetText(values.empty() ? std::wstring() : values.front());
        return;
    }
    std::lock_guard lock(mutex_);
    texts_ = std::move(values);
}

bool TProperty::FromText(const std::wstring& text, std::string& error) {
    switch (type_) {
        case TPropertyType::Integer: {
            long v = 0;
            if (!tarvo::host::ParseLong(text, v)) {
                error = "an integer";
                return false;
            }
            SetInteger(v);
            return true;
        }
        case TPropertyType::Real: {
            double v = 0;
            if (!tarvo::host::ParseDouble(text, v)) {
                error = "a number";
                return false;
            }
            SetReal(v);
            return true;
        }
        case TPropertyType::Boolean: {
            bool v = false;
            if (!tarvo::host::ParseBool(text, v)) {
                error = "true or false";
                return false;
            }
            SetInteger(v);
            return true;
        }
        case TPropertyType::Text:
            SetText(0, text);
            return true;
        case TPropertyType::TextArray:
            error = "a list of <Item Value=\"...\"/> elements";
            return false;
    }
    return false;
}
