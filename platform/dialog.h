// A form the module declares control by control, run modally by the platform.
//
// The module derives from TDialog, adds its controls (usually in its constructor or
// OnInitDialog) and reacts to the events. How the form is shown is the host's business: a
// terminal, or a script in tests, acts on the controls through the Operator* calls, which
// change a control as the operator would and raise the matching event.
#pragma once

#include <string>
#include <vector>

#include "platform/dialogs.h"

enum class TControlKind { Label, CheckBox, IntField, RealField, TextField, List, Button };

struct TDialogControl {
    int id = 0;
    TControlKind kind = TControlKind::Label;
    std::wstring label;  // the caption shown with or on the control
    bool enabled = true;
    bool readOnly = false;  // a field the operator cannot type into (changed through a button)
    bool checked = false;   // check box
    std::wstring text;      // text and number fields (numbers in their text form)
    int maxLength = 0;      // text field; 0: no limit
    std::vector<std::wstring> items;  // list
    int selection = -1;               // list; -1: nothing selected
};

class TDialog {
  public:
    explicit TDialog(std::wstring title);
    virtual ~TDialog();
    TDialog(const TDialog&) = delete;
    TDialog& operator=(const TDialog&) = delete;

    const std::wstring& GetTitle() const { return title_; }

    // Declaring controls. Ids are the module's and must be unique within the dialog; IDOK and
    // IDCANCEL are the usual ids of the OK and Cancel buttons. Adding an id twice is ignored.
    void AddLabel(int id, std::wstring text);
    void AddCheckBox(int id, std::wstring label, bool checked = false);
    void AddIntField(int id, std::wstring label, int value = 0);
    void AddRealField(int id, std::wstring label, double value = 0.0);
    void AddTextField(int id, std::wstring label, std::wstring text = {}, int maxLength = 0,
                      bool readOnly = false);
    void AddList(int id, std::wstring label, std::vector<std::wstring> items = {},
                 int selection = -1);
    void AddButton(int id, std::wstring label);

    // Control state, for the module. Calls on an unknown id, or of the wrong kind, do nothing
    // and read as false, 0, empty or -1.
    bool GetCheck(int id) const;
    void SetCheck(int id, bool checked);
    std::wstring GetText(int id) const;
    void SetText(int id, const std::wstring& text);
    // Number fields: the number the field's text starts with (0 when none).
    int GetInt(int id) const;
    void SetInt(int id, int value);
    double GetReal(int id) const;
    void SetReal(int id, double value);
    // Lists.
    void SetListItems(int id, std::vector<std::wstring> items);
    void AddListItem(int id, std::wstring item);
    int GetListCount(int id) const;
    std::wstring GetListItem(int id, int index) const;
    // The index of the item equal to `text` exactly; -1 when none.
    int FindListItem(int id, const std::wstring& text) const;
    int GetSelection(int id) const;
    void SetSelection(int id, int index);
    // Enabling and the control's caption.
    void EnableControl(int id, bool enabled);
    bool IsControlEnabled(int id) const;
    void SetLabel(int id, std::wstring label);

    // Runs the form modally on the calling thread: OnInitDialog, then the operator's actions
    // until EndDialog. Returns the result given to EndDialog (IDOK or IDCANCEL normally).
    int DoModal();
    // Closes the form with `result` once the current event returns.
    void EndDialog(int result);
    bool IsEnded() const { return ended_; }
    int GetResult() const { return result_; }

    // For the host's backends: what the form shows, and the operator's actions. Each action
    // is refused (false, no event) on an unknown or disabled control or one of another kind, or
    // once the form has ended. Changing a field or a check box raises OnEdit; selecting a list
    // item raises OnListChange; clicking IDOK calls OnOK and ends the form with IDOK when that
    // allows; clicking IDCANCEL calls OnCancel and ends it with IDCANCEL; any other button
    // raises OnButton.
    const std::vector<TDialogControl>& GetControls() const { return controls_; }
    const TDialogControl* FindControl(int id) const;
    bool OperatorCheck(int id, bool checked);
    bool OperatorSetText(int id, const std::wstring& text);
    bool OperatorSelect(int id, int index);
    bool OperatorClick(int id);

  protected:
    virtual void OnInitDialog() {}
    virtual void OnEdit(int /*id*/) {}
    virtual void OnListChange(int /*id*/) {}
    virtual void OnButton(int /*id*/) {}
    // Return false to keep the form open (after telling the operator why).
    virtual bool OnOK() { return true; }
    virtual void OnCancel() {}

  private:
    TDialogControl* Find(int id);
    TDialogControl* FindAs(int id, TControlKind kind);
    const TDialogControl* FindAs(int id, TControlKind kind) const;
    TDialogControl* FindActionable(int id);

    std::wstring title_;
    std::vector<TDialogControl> controls_;
    bool ended_ = false;
    int result_ = IDCANCEL;
};

// A stand-alone property page a factory may offer (see TModuleFactory::CreatePage).
class TPropertyPage {
  public:
    virtual ~TPropertyPage();
    virtual std::wstring GetTitle() const = 0;
    // Runs the page modally; true when the operator confirmed a change.
    virtual bool Edit() = 0;
};
