// The platform's stock dialogs: the message box and the editors for a text, a number and a
// time. They run modally on the calling thread through whatever the host uses to reach the
// operator (a terminal, or a script in tests), so nothing here assumes a screen.
#pragma once

#include <string>

#include "platform/types.h"

using HWND = void*;
using UINT = unsigned int;

// Buttons of a message box (low bits of `type`).
inline constexpr UINT MB_OK = 0x0;
inline constexpr UINT MB_OKCANCEL = 0x1;
inline constexpr UINT MB_YESNOCANCEL = 0x3;
inline constexpr UINT MB_YESNO = 0x4;
// Icons.
inline constexpr UINT MB_ICONERROR = 0x10;
inline constexpr UINT MB_ICONQUESTION = 0x20;
inline constexpr UINT MB_ICONWARNING = 0x30;
inline constexpr UINT MB_ICONINFORMATION = 0x40;
inline constexpr UINT MB_BUTTONMASK = 0x0F;
inline constexpr UINT MB_ICONMASK = 0xF0;

// Answers.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;

// Shows `text` with the buttons and icon of `type` and returns the button chosen. `timeout` is
// the platform's display argument: the seconds after which an unanswered box closes by itself
// with its first button (0: it waits for the operator). `caption` may be null.
int MessageDlg(HWND parent, const std::wstring& text, int timeout = 0, UINT type = MB_OK,
               const wchar_t* caption = nullptr);

// Edits `text` on the keypad, at most `maxLength` characters (0: no limit). True when the
// operator confirmed; `text` is changed only then.
bool KeypadDlg(HWND parent, const std::wstring& title, std::wstring& text, int maxLength = 0);

// Number editors; range checks are the caller's. True when confirmed; `value` changes only then.
bool ChangeNumberDlgInt(HWND parent, const std::wstring& prompt, int& value);
bool ChangeNumberDlgReal(HWND parent, const std::wstring& prompt, double& value);

// Edits a time text such as "00:15:00". True when confirmed; the text is the operator's as
// entered (the caller validates it, e.g. with ValidateTime).
bool SetTimeDlg(HWND parent, const std::wstring& title, std::wstring& timeText);
