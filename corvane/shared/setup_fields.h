// A settings record's attributes as one table, read and written from it: each row names the
// attribute, the member it holds and how its text converts, so the reader and the writer cannot
// disagree on a name or an order.
#pragma once

#include <string>
#include <type_traits>
#include <variant>

#include "corvane/shared/setup_attribute.h"
#include "corvane/shared/wide_text.h"
#include "platform/xml_setup.h"

namespace corvane {

template <typename Settings>
struct SetupField {
    const wchar_t* name;
    // A flag ("0" or "1"; any non-zero number reads as set), a number (read as the platform
    // reads numbers, held to int) or a text.
    std::variant<bool Settings::*, int Settings::*, std::wstring Settings::*> member;
    // Reads an older form of a text into today's; null: the text as it stands.
    std::wstring (*convert)(const std::wstring&) = nullptr;
    // Another name older setups used for the same attribute; null: none.
    const wchar_t* alias = nullptr;
};

// Writes every row in table order as `Name = "value"`.
template <typename Settings, typename Table>
void WriteFields(CXMLSetup& setup, const Settings& settings, const Table& table) {
    for (const SetupField<Settings>& field : table) {
        std::visit(
            [&](auto member) {
                using Value = std::remove_cvref_t<decltype(settings.*member)>;
                if constexpr (std::is_same_v<Value, bool>)
                    setup.WriteText(AttributeText(field.name, settings.*member ? 1 : 0));
                else
                    setup.WriteText(AttributeText(field.name, settings.*member));
            },
            field.member);
    }
}

// Stores `value` in the row named `name` (or its alias); false, nothing changed, when no row
// has that name.
template <typename Settings, typename Table>
bool ReadField(Settings& settings, const Table& table, const std::wstring& name,
               const std::wstring& value) {
    for (const SetupField<Settings>& field : table) {
        if (name != field.name && (field.alias == nullptr || name != field.alias))
            continue;
        std::visit(
            [&](auto member) {
                using Value = std::remove_cvref_t<decltype(settings.*member)>;
                if constexpr (std::is_same_v<Value, bool>)
                    settings.*member = WToL(value) != 0;
                else if constexpr (std::is_same_v<Value, int>)
                    settings.*member = static_cast<int>(WToL(value));
                else
                    settings.*member = field.convert != nullptr ? field.convert(value) : value;
            },
            field.member);
        return true;
    }
    return false;
}

}  // namespace corvane
