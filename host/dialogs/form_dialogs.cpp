#include <cstdio>

#include "host/dialogs/dialogs.h"
#include "host/text/number_text.h"
#include "platform/dialog.h"

TDialog::TDialog(std::wstring title) : title_(std::move(title)) {}

TDialog::~TDialog() = default;

namespace {

TDialogControl MakeControl(int id, TControlKind kind, std::wstring label) {
    TDialogControl c;
    c.id = id;
    c.kind = kind;
    c.label = std::move(label);
    return c;
}

std::wstring IntText(int value) {
    return std::to_wstring(value);
}

}  // namespace

void TDialog::AddLabel(int id, std::wstring text) {
    if (Find(id))
        return;
    controls_.push_back(MakeControl(id, TControlKind::Label, std::move(text)));
}

void TDialog::AddCheckBox(int id, std::wstring label, bool checked) {
    if (Find(id))
        return;
    auto c = MakeControl(id, TControlKind::CheckBox, std::move(label));
    c.checked = checked;
    controls_.push_back(std::move(c));
}

void TDialog::AddIntField(int id, std::wstring label, int value) {
    if (Find(id))
        return;
    auto c = MakeControl(id, TControlKind::IntField, std::move(label));
    c.text = IntText(value);
    controls_.push_back(std::move(c));
}

void TDialog::AddRealField(int id, std::wstring label, double value) {
    if (Find(id))
        return;
    auto c = MakeControl(id, TControlKind::RealField, std::move(label));
    c.text = tarvo::host::RealToText(value);
    controls_.push_back(std::move(c));
}

void TDialog::AddTextField(int id, std::wstring label, std::wstring text, int maxLength,
                           bool readOnly) {
    if (Find(id))
        return;
    auto c = MakeControl(id, TControlKind::TextField, std::move(label));
    c.text = std::move(text);
    c.maxLength = maxLength;
    c.readOnly = readOnly;
    controls_.push_back(std::move(c));
}

void TDialog::AddList(int id, std::wstring label, std::vector<std::wstring> items, int selection) {
    if (Find(id))
        return;
    auto c = MakeControl(id, TControlKind::List, std::move(label));
    c.items = std::move(items);
    c.selection = (selection >= 0 && selection < static_cast<int>(c.items.size())) ? selection : -1;
    controls_.push_back(std::move(c));
}

void TDialog::AddButton(int id, std::wstring label) {
    if (Find(id))
        return;
    controls_.push_back(MakeControl(id, TControlKind::Button, std::move(label)));
}

bool TDialog::GetCheck(int id) const {
    auto* c = FindAs(id, TControlKind::CheckBox);
    return c && c->checked;
}

void TDialog::SetCheck(int id, bool checked) {
    if (auto* c = FindAs(id, TControlKind::CheckBox))
        c->checked = checked;
}

std::wstring TDialog::GetText(int id) const {
    for (auto kind : {TControlKind::TextField, TControlKind::IntField, TControlKind::RealField}) {
        if (auto* c = FindAs(id, kind))
            return c->text;
    }
    return {};
}

void TDialog::SetText(int id, const std::wstring& text) {
    for (auto kind : {TControlKind::TextField, TControlKind::IntField, TControlKind::RealField}) {
        if (auto* c = FindAs(id, kind)) {
            c->text = text;
            if (kind == TControlKind::TextField && c->maxLength > 0 &&
                c->text.size() > static_cast<std::size_t>(c->maxLength)) {
                c->text.resize(static_cast<std::size_t>(c->maxLength));
            }
            return;
        }
    }
}

int TDialog::GetInt(int id) const {
    return static_cast<int>(tarvo::host::LeadingLong(GetText(id)));
}

void TDialog::SetInt(int id, int value) {
    SetText(id, IntText(value));
}

double TDialog::GetReal(int id) const {
    return tarvo::host::LeadingDouble(GetText(id));
}

void TDialog::SetReal(int id, double value) {
    SetText(id, tarvo::host::RealToText(value));
}

void TDialog::SetListItems(int id, std::vector<std::wstring> items) {
    if (auto* c = FindAs(id, TControlKind::List)) {
        c->items = std::move(items);
        c->selection = -1;
    }
}

void TDialog::AddListItem(int id, std::wstring item) {
    if (auto* c = FindAs(id, TControlKind::List))
        c->items.push_back(std::move(item));
}

int TDialog::GetListCount(int id) const {
    auto* c = FindAs(id, TControlKind::List);
    return c ? static_cast<int>(c->items.size()) : 0;
}

std::wstring TDialog::GetListItem(int id, int index) const {
    auto* c = FindAs(id, TControlKind::List);
    if (!c || index < 0 || index >= static_cast<int>(c->items.size()))
        return {};
    return c->items[static_cast<std::size_t>(index)];
}

int TDialog::FindListItem(int id, const std::wstring& text) const {
    auto* c = FindAs(id, TControlKind::List);
    if (!c)
        return -1;
    for (std::size_t i = 0; i < c->items.size(); ++i) {
        if (c->items[i] == text)
            return static_cast<int>(i);
    }
    return -1;
}

int TDialog::GetSelection(int id) const {
    auto* c = FindAs(id, TControlKind::List);
    return c ? c->selection : -1;
}

void TDialog::SetSelection(int id, int index) {
    if (auto* c = FindAs(id, TControlKind::List)) {
        c->selection = (index >= 0 && index < static_cast<int>(c->items.size())) ? index : -1;
    }
}

void TDialog::EnableControl(int id, bool enabled) {
    if (auto* c = Find(id))
        c->enabled = enabled;
}

bool TDialog::IsControlEnabled(int id) const {
    auto* c = FindControl(id);
    return c && c->enabled;
}

void TDialog::SetLabel(int id, std::wstring label) {
    if (auto* c = Find(id))
        c->label = std::move(label);
}

int TDialog::DoModal() {
    ended_ = false;
    result_ = IDCANCEL;
    OnInitDialog();
    if (ended_)
        return result_;
    tarvo::host::GetOperatorBackend()->RunForm(*this);
    if (!ended_)
        EndDialog(IDCANCEL);
    return result_;
}

void TDialog::EndDialog(int result) {
    ended_ = true;
    result_ = result;
}

const TDialogControl* TDialog::FindControl(int id) const {
    for (auto& c : controls_) {
        if (c.id == id)
            return &c;
    }
    return nullptr;
}

bool TDialog::OperatorCheck(int id, bool checked) {
    auto* c = FindActionable(id);
    if (!c || c->kind != TControlKind::CheckBox)
        return false;
    c->checked = checked;
    OnEdit(id);
    return true;
}

bool TDialog::OperatorSetText(int id, const std::wstring& text) {
    auto* c = FindActionable(id);
    if (!c || c->readOnly)
        return false;
    if (c->kind != TControlKind::TextField && c->kind != TControlKind::IntField &&
        c->kind != TControlKind::RealField) {
        return false;
    }
    if (c->kind == TControlKind::TextField && c->maxLength > 0 &&
        text.size() > static_cast<std::size_t>(c->maxLength)) {
        return false;
    }
    if (c->kind == TControlKind::IntField) {
        long v = 0;
        if (!tarvo::host::ParseLong(text, v))
            return false;
    } else if (c->kind == TControlKind::RealField) {
        double v = 0;
        if (!tarvo::host::ParseDouble(text, v))
            return false;
    }
    c->text = text;
    OnEdit(id);
    return true;
}

bool TDialog::OperatorSelect(int id, int index) {
    auto* c = FindActionable(id);
    if (!c || c->kind != TControlKind::List)
        return false;
    if (index < 0 || index >= static_cast<int>(c->items.size()))
        return false;
    c->selection = index;
    OnListChange(id);
    return true;
}

bool TDialog::OperatorClick(int id) {
    auto* c = FindActionable(id);
    if (!c || c->kind != TControlKind::Button)
        return false;
    if (id == IDOK) {
        if (OnOK())
            EndDialog(IDOK);
    } else if (id == IDCANCEL) {
        OnCancel();
        EndDialog(IDCANCEL);
    } else {
        OnButton(id);
    }
    return true;
}

TDialogControl* TDialog::Find(int id) {
    return const_cast<TDialogControl*>(FindControl(id));
}

TDialogControl* TDialog::FindAs(int id, TControlKind kind) {
    auto* c = Find(id);
    return (c && c->kind == kind) ? c : nullptr;
}

const TDialogControl* TDialog::FindAs(int id, TControlKind kind) const {
    auto* c = FindControl(id);
    return (c && c->kind == kind) ? c : nullptr;
}

TDialogControl* TDialog::FindActionable(int id) {
    if (ended_)
        return nullptr;
    auto* c = Find(id);
    return (c && c->enabled) ? c : nullptr;
}

TPropertyPage::~TPropertyPage() = default;
