// A scripted operator installed for one test, fed from a table row: the steps taken on each form
// as it opens, then the answers to the editors and message boxes in the order they come.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/dialogs/dialogs.h"

namespace corvanetest {

// One answer: to an editor (`text` is the value; none cancels it) or to a message box (OK).
struct Reply {
    tarvo::host::ScriptedOperator::Kind kind;
    std::optional<std::wstring> text;
};
inline Reply Number(std::optional<int> value) {
    return {tarvo::host::ScriptedOperator::Kind::NumberInt,
            value ? std::optional(std::to_wstring(*value)) : std::nullopt};
}
inline Reply Real(double value) {
    return {tarvo::host::ScriptedOperator::Kind::NumberReal, std::to_wstring(value)};
}
inline Reply Keypad(std::optional<std::wstring> text) {
    return {tarvo::host::ScriptedOperator::Kind::Keypad, std::move(text)};
}
inline Reply Time(std::wstring text) {
    return {tarvo::host::ScriptedOperator::Kind::Time, std::move(text)};
}
inline Reply Ok() {
    return {tarvo::host::ScriptedOperator::Kind::Message, std::nullopt};
}

struct Operator {
    std::shared_ptr<tarvo::host::ScriptedOperator> op =
        std::make_shared<tarvo::host::ScriptedOperator>();
    tarvo::host::ScopedOperatorBackend scope{op};

    void Script(const std::vector<std::vector<tarvo::host::FormAction>>& forms,
                const std::vector<Reply>& replies) {
        using Kind = tarvo::host::ScriptedOperator::Kind;
        for (const auto& form : forms)
            op->AnswerForm(form);
        for (const Reply& r : replies) {
            switch (r.kind) {
                case Kind::Message:
                    op->AnswerMessage(IDOK);
                    break;
                case Kind::NumberInt:
                    op->AnswerNumber(r.text ? std::optional(std::stoi(*r.text)) : std::nullopt);
                    break;
                case Kind::NumberReal:
                    op->AnswerReal(std::stod(*r.text));
                    break;
                case Kind::Time:
                    op->AnswerTime(r.text);
                    break;
                default:
                    op->AnswerKeypad(r.text);
                    break;
            }
        }
    }
    // The titles of the editors and keypads shown, in order.
    std::vector<std::wstring> Editors() const {
        using Kind = tarvo::host::ScriptedOperator::Kind;
        std::vector<std::wstring> titles;
        for (const auto& shown : op->History()) {
            if (shown.kind != Kind::Form && shown.kind != Kind::Message)
                titles.push_back(shown.title);
        }
        return titles;
    }
    // Every answer was taken, and the problems (refused steps) are the ones expected.
    void ExpectScriptFitted(const std::vector<std::string>& problems) const {
        EXPECT_EQ(op->Problems(), problems);
        EXPECT_EQ(op->Pending(), 0u);
    }
};

template <class Row>
std::string RowName(const ::testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

}  // namespace corvanetest
