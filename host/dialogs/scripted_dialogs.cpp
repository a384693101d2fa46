#include <cstdio>

#include "host/dialogs/dialogs.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"

namespace tarvo::host {

const char* KindName(ScriptedOperator::Kind kind) {
    using K = ScriptedOperator::Kind;
    switch (kind) {
        case K::Message:
            return "message";
        case K::Keypad:
            return "keypad";
        case K::NumberInt:
            return "integer editor";
        case K::NumberReal:
            return "real editor";
        case K::Time:
            return "time editor";
        case K::Form:
            return "form";
        case K::DisplayWrite:
            return "display write";
        case K::Key:
            return "key";
        case K::EditHex:
            return "hex edit";
        case K::EditInteger:
            return "integer edit";
        case K::OKCancel:
            return "OK/Cancel";
    }
    return "?";
}

void ScriptedOperator::Push(Kind kind, bool given, Payload payload) {
    std::lock_guard lock(mutex_);
    queue_.push_back(Answer{kind, given, std::move(payload)});
}

void ScriptedOperator::AnswerMessage(int button) {
    Push(Kind::Message, true, Payload(std::in_place_type<int>, button));
}

void ScriptedOperator::AnswerKeypad(std::optional<std::wstring> text) {
    Push(Kind::Keypad, text.has_value(),
         Payload(std::in_place_type<std::wstring>, text.value_or(L"")));
}

void ScriptedOperator::AnswerNumber(std::optional<int> value) {
    Push(Kind::NumberInt, value.has_value(), Payload(std::in_place_type<int>, value.value_or(0)));
}

void ScriptedOperator::AnswerReal(std::optional<double> value) {
    Push(Kind::NumberReal, value.has_value(),
         Payload(std::in_place_type<double>, value.value_or(0.0)));
}

void ScriptedOperator::AnswerTime(std::optional<std::wstring> text) {
    Push(Kind::Time, text.has_value(),
         Payload(std::in_place_type<std::wstring>, text.value_or(L"")));
}

void ScriptedOperator::AnswerForm(std::vector<FormAction> actions) {
    Push(Kind::Form, true,
         Payload(std::in_place_type<std::vector<FormAction>>, std::move(actions)));
}

void ScriptedOperator::PressKeys(const std::wstring& keys) {
    for (wchar_t key : keys)
        Push(Kind::Key, true, Payload(std::in_place_type<wchar_t>, key));
}

void ScriptedOperator::AnswerEditHex(std::optional<std::wstring> text) {
    Push(Kind::EditHex, text.has_value(),
         Payload(std::in_place_type<std::wstring>, text.value_or(L"")));
}

void ScriptedOperator::AnswerEditInteger(std::optional<int> value) {
    Push(Kind::EditInteger, value.has_value(), Payload(std::in_place_type<int>, value.value_or(0)));
}

void ScriptedOperator::AnswerOKCancel(bool ok) {
    Push(Kind::OKCancel, true, Payload(std::in_place_type<bool>, ok));
}

std::vector<ScriptedOperator::Shown> ScriptedOperator::History() const {
    std::lock_guard lock(mutex_);
    return history_;
}

std::vector<std::wstring> ScriptedOperator::Messages() const {
    std::lock_guard lock(mutex_);
    std::vector<std::wstring> out;
    for (auto& s : history_) {
        if (s.kind == Kind::Message)
            out.push_back(s.text);
    }
    return out;
}

std::vector<std::wstring> ScriptedOperator::DisplayLines() const {
    std::lock_guard lock(mutex_);
    std::vector<std::wstring> out;
    for (auto& s : history_) {
        if (s.kind == Kind::DisplayWrite)
            out.push_back(s.text);
    }
    return out;
}

std::size_t ScriptedOperator::Pending() const {
    std::lock_guard lock(mutex_);
    return queue_.size() - next_;
}

std::vector<std::string> ScriptedOperator::Problems() const {
    std::lock_guard lock(mutex_);
    return problems_;
}

std::size_t ScriptedOperator::Record(Shown shown) {
    std::lock_guard lock(mutex_);
    history_.push_back(std::move(shown));
    return history_.size() - 1;
}

void ScriptedOperator::SetAnswer(std::size_t index, std::wstring answer) {
    std::lock_guard lock(mutex_);
    if (index < history_.size())
        history_[index].answer = std::move(answer);
}

void ScriptedOperator::AddProblem(std::string problem) {
    std::lock_guard lock(mutex_);
    problems_.push_back(std::move(problem));
}

std::optional<ScriptedOperator::Answer> ScriptedOperator::Take(Kind kind,
                                                               const std::wstring& what) {
    std::lock_guard lock(mutex_);
    std::string name = KindName(kind);
    std::string shown = ToUtf8(what);
    if (next_ >= queue_.size()) {
        problems_.push_back("no answer left for the " + name + " \"" + shown + "\"");
        return std::nullopt;
    }
    Answer& answer = queue_[next_];
    if (answer.kind != kind) {
        problems_.push_back("the " + name + " \"" + shown +
                            "\" came while the next answer was for a " + KindName(answer.kind));
        return std::nullopt;
    }
    ++next_;
    return answer;
}

int ScriptedOperator::Message(const std::wstring& text, int timeout, UINT type,
                              const std::wstring& caption) {
    std::size_t at = Record(Shown{Kind::Message, caption, text, type, timeout, 0, {}});
    auto answer = Take(Kind::Message, text);
    int button = IDCANCEL;
    if (answer) {
        button = std::get<int>(answer->payload);
    } else {
        UINT buttons = type & MB_BUTTONMASK;
        button = buttons == MB_YESNO ? IDNO : (buttons == MB_OK ? IDOK : IDCANCEL);
    }
    SetAnswer(at, std::to_wstring(button));
    return button;
}

bool ScriptedOperator::Keypad(const std::wstring& title, std::wstring& text, int /*maxLength*/) {
    std::size_t at = Record(Shown{Kind::Keypad, title, text, 0, 0, 0, {}});
    auto answer = Take(Kind::Keypad, title);
    if (!answer || !answer->given)
        return false;
    text = std::get<std::wstring>(answer->payload);
    SetAnswer(at, text);
    return true;
}

bool ScriptedOperator::NumberInt(const std::wstring& prompt, int& value) {
    std::size_t at = Record(Shown{Kind::NumberInt, prompt, std::to_wstring(value), 0, 0, 0, {}});
    auto answer = Take(Kind::NumberInt, prompt);
    if (!answer || !answer->given)
        return false;
    value = std::get<int>(answer->payload);
    SetAnswer(at, std::to_wstring(value));
    return true;
}

bool ScriptedOperator::NumberReal(const std::wstring& prompt, double& value) {
    std::size_t at = Record(Shown{Kind::NumberReal, prompt, RealToText(value), 0, 0, 0, {}});
    auto answer = Take(Kind::NumberReal, prompt);
    if (!answer || !answer->given)
        return false;
    value = std::get<double>(answer->payload);
    SetAnswer(at, RealToText(value));
    return true;
}

bool ScriptedOperator::Time(const std::wstring& title, std::wstring& text) {
    std::size_t at = Record(Shown{Kind::Time, title, text, 0, 0, 0, {}});
    auto answer = Take(Kind::Time, title);
    if (!answer || !answer->given)
        return false;
    text = std::get<std::wstring>(answer->payload);
    SetAnswer(at, text);
    return true;
}

int ScriptedOperator::RunForm(TDialog& form) {
    std::size_t at = Record(Shown{Kind::Form, form.GetTitle(), {}, 0, 0, 0, {}});
    auto answer = Take(Kind::Form, form.GetTitle());
    std::string title = ToUtf8(form.GetTitle());
    if (answer) {
        const auto& actions = std::get<std::vector<FormAction>>(answer->payload);
        for (std::size_t i = 0; i < actions.size() && !form.IsEnded(); ++i) {
            const FormAction& a = actions[i];
            bool done = false;
            switch (a.kind) {
                case FormAction::Kind::Check:
                    done = form.OperatorCheck(a.id, a.checked);
                    break;
                case FormAction::Kind::SetText:
                    done = form.OperatorSetText(a.id, a.text);
                    break;
                case FormAction::Kind::Select:
                    done = form.OperatorSelect(a.id, a.index);
                    break;
                case FormAction::Kind::Click:
                    done = form.OperatorClick(a.id);
                    break;
            }
            if (!done) {
                AddProblem("form \"" + title + "\" refused step " + std::to_string(i + 1) +
                           " on control " + std::to_string(a.id));
            }
        }
        if (!form.IsEnded()) {
            AddProblem("form \"" + title + "\" was still open after its script");
        }
    }
    if (!form.IsEnded())
        form.EndDialog(IDCANCEL);
    SetAnswer(at, std::to_wstring(form.GetResult()));
    return form.GetResult();
}

void ScriptedOperator::DisplayWrite(const std::wstring& text, int line, bool /*clear*/) {
    Record(Shown{Kind::DisplayWrite, {}, text, 0, 0, line, {}});
}

wchar_t ScriptedOperator::DisplayRead() {
    std::size_t at = Record(Shown{Kind::Key, {}, {}, 0, 0, 0, {}});
    auto answer = Take(Kind::Key, L"");
    wchar_t key = answer ? std::get<wchar_t>(answer->payload) : DisplayIO::KEY_ESCAPE;
    SetAnswer(at, std::wstring(1, key));
    return key;
}

DisplayIO::EditStatus ScriptedOperator::DisplayEditHex(std::wstring& text,
                                                       const std::wstring& caption) {
    std::size_t at = Record(Shown{Kind::EditHex, caption, text, 0, 0, 0, {}});
    auto answer = Take(Kind::EditHex, caption);
    if (!answer || !answer->given)
        return DisplayIO::EDIT_CANCEL;
    text = std::get<std::wstring>(answer->payload);
    SetAnswer(at, text);
    return DisplayIO::EDIT_OK;
}

DisplayIO::EditStatus ScriptedOperator::DisplayEditInteger(int& value, const std::wstring& caption,
                                                           bool /*allowNegative*/, int /*minValue*/,
                                                           int /*maxValue*/) {
    std::size_t at = Record(Shown{Kind::EditInteger, caption, std::to_wstring(value), 0, 0, 0, {}});
    auto answer = Take(Kind::EditInteger, caption);
    if (!answer || !answer->given)
        return DisplayIO::EDIT_CANCEL;
    value = std::get<int>(answer->payload);
    SetAnswer(at, std::to_wstring(value));
    return DisplayIO::EDIT_OK;
}

bool ScriptedOperator::DisplayOKCancel(bool /*prompt*/) {
    std::size_t at = Record(Shown{Kind::OKCancel, {}, {}, 0, 0, 0, {}});
    auto answer = Take(Kind::OKCancel, L"OK/Cancel");
    bool ok = answer && std::get<bool>(answer->payload);
    SetAnswer(at, ok ? L"OK" : L"Cancel");
    return ok;
}

}  // namespace tarvo::host
