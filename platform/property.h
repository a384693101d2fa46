// A named, typed setting of a processing block, as the graph editor and the setup file see it.
//
// Reading and writing a property is safe from any thread (each property guards itself), so a
// messenger thread may read what a dialog is editing; a reader sees either the old or the new
// value, never a mix.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

enum class TPropertyType { Integer, Real, Boolean, Text, TextArray };

class TProperty {
  public:
    static TProperty Integer(std::wstring name, long value = 0);
    static TProperty Real(std::wstring name, double value = 0.0);
    static TProperty Boolean(std::wstring name, bool value = false);
    static TProperty Text(std::wstring name, std::wstring value = {});
    // An array of texts; `size` entries, all empty. Entries beyond the size read as empty.
    static TProperty TextArray(std::wstring name, int size = 0);

    TProperty(const TProperty& other);
    TProperty& operator=(const TProperty& other);

    const std::wstring& GetName() const { return name_; }
    TPropertyType GetType() const { return type_; }

    // Reads convert between the number kinds: an integer property read as real gives its
    // value, a real read as integer is rounded, a boolean reads as 0 or 1, any number reads as
    // a boolean by being non-zero. A text property reads as the number its text starts with (0
    // when none).
    long GetInteger() const;
    double GetReal() const;
    bool GetBool() const;
    // The text form: the text itself, a number in decimal, "true"/"false"; an array gives its
    // entries joined with ",".
    std::wstring GetText() const;

    // Writes keep the property's type: a number written to a text property becomes its text,
    // SetBool on an integer property stores 0 or 1, and so on.
    void SetInteger(long value);
    void SetReal(double value);
    void SetBool(bool value);
    void SetText(const std::wstring& value);

    // Array entries (also usable on a single text: index 0 is its text).
    int GetCount() const;
    std::wstring GetText(int index) const;
    // Grows the array as needed.
    void SetText(int index, const std::wstring& value);
    std::vector<std::wstring> GetTexts() const;
    void SetTexts(std::vector<std::wstring> values);

    // Sets the value from its setup-file text, strictly: false (value unchanged, `error` says
    // what was expected) when the text is no integer, real or boolean ("true", "false", "1",
    // "0") as the type requires. Not for arrays (use SetText(index, ...)).
    bool FromText(const std::wstring& text, std::string& error);

  private:
    TProperty(std::wstring name, TPropertyType type);

    std::wstring name_;
    TPropertyType type_;
    mutable std::mutex mutex_;
    long integer_ = 0;
    double real_ = 0.0;
    std::vector<std::wstring> texts_;  // one entry for Text, any number for TextArray
};
