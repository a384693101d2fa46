// How the platform's dialogs reach the operator (host side).
//
// Every stock dialog (MessageDlg and the editors), every TDialog form and the front-panel
// display go through one operator backend. Without one installed, the unattended backend
// answers: it writes message boxes to the log (Status) and declines everything else. Tests
// install a ScriptedOperator; the terminal backend for people plugs in the same way.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/display_io.h"

namespace tarvo::host {

class OperatorBackend {
  public:
    virtual ~OperatorBackend() = default;

    // The stock dialogs (see platform/dialogs.h for the meaning of each argument).
    virtual int Message(const std::wstring& text, int timeout, UINT type,
                        const std::wstring& caption) = 0;
    virtual bool Keypad(const std::wstring& title, std::wstring& text, int maxLength) = 0;
    virtual bool NumberInt(const std::wstring& prompt, int& value) = 0;
    virtual bool NumberReal(const std::wstring& prompt, double& value) = 0;
    virtual bool Time(const std::wstring& title, std::wstring& text) = 0;

    // Drives a form (already initialised) through the operator's actions until it has ended;
    // ends it with IDCANCEL if the operator goes away. Returns its result.
    virtual int RunForm(TDialog& form) = 0;

    // The front-panel display and keypad (see platform/display_io.h).
    virtual void DisplayWrite(const std::wstring& text, int line, bool clear) = 0;
    virtual wchar_t DisplayRead() = 0;
    virtual DisplayIO::EditStatus DisplayEditHex(std::wstring& text,
                                                 const std::wstring& caption) = 0;
    virtual DisplayIO::EditStatus DisplayEditInteger(int& value, const std::wstring& caption,
                                                     bool allowNegative, int minValue,
                                                     int maxValue) = 0;
    virtual bool DisplayOKCancel(bool prompt) = 0;
};

// The backend in use; never null (the unattended one when none is installed).
std::shared_ptr<OperatorBackend> GetOperatorBackend();
// Installs `backend` (null: back to the unattended one).
void SetOperatorBackend(std::shared_ptr<OperatorBackend> backend);

// Installs a backend for a scope and puts the previous one back.
class ScopedOperatorBackend {
  public:
    explicit ScopedOperatorBackend(std::shared_ptr<OperatorBackend> backend);
    ~ScopedOperatorBackend();
    ScopedOperatorBackend(const ScopedOperatorBackend&) = delete;
    ScopedOperatorBackend& operator=(const ScopedOperatorBackend&) = delete;

  private:
    std::shared_ptr<OperatorBackend> previous_;
};

// No operator present: message boxes are logged (Status) and answered with OK, or with No or
// Cancel when they ask a question; editors and forms are cancelled; the keypad reads escape.
class UnattendedOperator : public OperatorBackend {
  public:
    int Message(const std::wstring& text, int timeout, UINT type,
                const std::wstring& caption) override;
    bool Keypad(const std::wstring& title, std::wstring& text, int maxLength) override;
    bool NumberInt(const std::wstring& prompt, int& value) override;
    bool NumberReal(const std::wstring& prompt, double& value) override;
    bool Time(const std::wstring& title, std::wstring& text) override;
    int RunForm(TDialog& form) override;
    void DisplayWrite(const std::wstring& text, int line, bool clear) override;
    wchar_t DisplayRead() override;
    DisplayIO::EditStatus DisplayEditHex(std::wstring& text, const std::wstring& caption) override;
    DisplayIO::EditStatus DisplayEditInteger(int& value, const std::wstring& caption,
                                             bool allowNegative, int minValue,
                                             int maxValue) override;
    bool DisplayOKCancel(bool prompt) override;
};

// One step of a scripted operator on a form.
struct FormAction {
    enum class Kind { Check, SetText, Select, Click };
    Kind kind = Kind::Click;
    int id = 0;
    bool checked = false;
    std::wstring text;
    int index = -1;

    static FormAction Check(int id, bool checked) { return {Kind::Check, id, checked, {}, -1}; }
    static FormAction SetText(int id, std::wstring text) {
        return {Kind::SetText, id, false, std::move(text), -1};
    }
    static FormAction Select(int id, int index) { return {Kind::Select, id, false, {}, index}; }
    static FormAction Click(int id) { return {Kind::Click, id, false, {}, -1}; }
};

// An operator that answers from a queue, in order, and records everything shown. Each dialog,
// form, key read or edit takes the next answer; an answer of the wrong kind is left in the
// queue, recorded as a problem, and the dialog is declined (as is one that finds the queue
// empty). Display writes take no answer. Safe to use from several threads, but answers are
// consumed in the order the dialogs happen.
class ScriptedOperator : public OperatorBackend {
  public:
    enum class Kind {
        Message,
        Keypad,
        NumberInt,
        NumberReal,
        Time,
        Form,
        DisplayWrite,
        Key,
        EditHex,
        EditInteger,
        OKCancel
    };

    // One thing shown to the operator, with the answer given ("" when declined or none).
    struct Shown {
        Kind kind;
        std::wstring title;  // caption, prompt, title or form title
        std::wstring text;   // message text, edited text or value before the edit, display line
        UINT type = 0;       // message box type
        int timeout = 0;     // message box timeout
        int line = 0;        // display line
        std::wstring answer;
    };

    // Queueing answers. An empty optional means the operator cancels.
    void AnswerMessage(int button);
    void AnswerKeypad(std::optional<std::wstring> text);
    void AnswerNumber(std::optional<int> value);
    void AnswerReal(std::optional<double> value);
    void AnswerTime(std::optional<std::wstring> text);
    // The steps taken on the next form; if the form is still open after them, it is cancelled
    // and that is recorded as a problem.
    void AnswerForm(std::vector<FormAction> actions);
    // One answer per key.
    void PressKeys(const std::wstring& keys);
    void AnswerEditHex(std::optional<std::wstring> text);
    void AnswerEditInteger(std::optional<int> value);
    void AnswerOKCancel(bool ok);

    std::vector<Shown> History() const;
    // The texts of the message boxes shown, in order.
    std::vector<std::wstring> Messages() const;
    // The display lines written, in order.
    std::vector<std::wstring> DisplayLines() const;
    std::size_t Pending() const;
    // Mismatched or missing answers and forms left open, in order; empty when the script fit.
    std::vector<std::string> Problems() const;

    int Message(const std::wstring& text, int timeout, UINT type,
                const std::wstring& caption) override;
    bool Keypad(const std::wstring& title, std::wstring& text, int maxLength) override;
    bool NumberInt(const std::wstring& prompt, int& value) override;
    bool NumberReal(const std::wstring& prompt, double& value) override;
    bool Time(const std::wstring& title, std::wstring& text) override;
    int RunForm(TDialog& form) override;
    void DisplayWrite(const std::wstring& text, int line, bool clear) override;
    wchar_t DisplayRead() override;
    DisplayIO::EditStatus DisplayEditHex(std::wstring& text, const std::wstring& caption) override;
    DisplayIO::EditStatus DisplayEditInteger(int& value, const std::wstring& caption,
                                             bool allowNegative, int minValue,
                                             int maxValue) override;
    bool DisplayOKCancel(bool prompt) override;

  private:
    using Payload = std::variant<std::monostate, int, double, std::wstring, wchar_t, bool,
                                 std::vector<FormAction>>;
    struct Answer {
        Kind kind;
        bool given;  // false: the operator cancels
        Payload payload;
    };

    void Push(Kind kind, bool given, Payload payload);
    // Takes the next answer if it is of `kind`; records what was shown (answer filled in by
    // the caller through Record's result index) and any problem.
    std::optional<Answer> Take(Kind kind, const std::wstring& what);
    std::size_t Record(Shown shown);
    void SetAnswer(std::size_t index, std::wstring answer);
    void AddProblem(std::string problem);

    mutable std::mutex mutex_;
    std::vector<Answer> queue_;
    std::size_t next_ = 0;
    std::vector<Shown> history_;
    std::vector<std::string> problems_;
};

// The name of a kind, for problems and diagnostics ("message", "keypad", ...).
const char* KindName(ScriptedOperator::Kind kind);

}  // namespace tarvo::host
