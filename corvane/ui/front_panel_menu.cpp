#include "corvane/ui/front_panel_menu.h"

#include <string>
#include <vector>

#include "corvane/core/corvane.h"
#include "corvane/shared/wide_text.h"
#include "platform/clock.h"
#include "platform/display_io.h"
#include "platform/engine.h"
#include "platform/time.h"

namespace {

constexpr DWORD kSetupLockWaitMs = 1000;
constexpr DWORD kLockedNoticeMs = 2000;
constexpr DWORD kTxResultMs = 3000;
constexpr int kSetupLockFlag = 0;

enum class MenuItem { SatId, TxTime, TestTx, SatId2 };
// What running an item leads to: back to the item, or to the exit prompt.
enum class ItemEnd { BackToItem, ExitPrompt };

const wchar_t* NameOf(MenuItem item) {
    switch (item) {
        case MenuItem::SatId:
            return L"SatID";
        case MenuItem::TxTime:
            return L"Tx Time";
        case MenuItem::TestTx:
            return L"Test Tx";
        case MenuItem::SatId2:
            return L"SatID2";
    }
    return L"";
}

bool IsNextKey(wchar_t key) {
    return key == L'>' || key == L'D';
}
bool IsPreviousKey(wchar_t key) {
    return key == L'<' || key == L'U';
}

// Holds the platform setup for the menu's whole run.
class SetupLock {
  public:
    explicit SetupLock(CEngine& engine)
        : engine_(engine), held_(engine.LockSetup(kSetupLockWaitMs, kSetupLockFlag)) {}
    ~SetupLock() {
        if (held_)
            engine_.UnlockSetup();
    }
    SetupLock(const SetupLock&) = delete;
    SetupLock& operator=(const SetupLock&) = delete;
    bool IsHeld() const { return held_; }

  private:
    CEngine& engine_;
    const bool held_;
};

class FrontPanelMenu {
  public:
    FrontPanelMenu(DisplayIO& display, CCorvane& corvane, CEngine& engine)
        : display_(display), corvane_(corvane), engine_(engine) {}

    void Run() {
        const std::vector<MenuItem> items = Items();
        const int last = static_cast<int>(items.size()) - 1;
        int index = 0;
        for (;;) {
            bool toExitPrompt = false;
            while (!toExitPrompt) {
                Show(NameOf(items[static_cast<std::size_t>(index)]), L"press * to select");
                const wchar_t key = display_.Read();
                if (IsNextKey(key))
                    ++index;
                else if (IsPreviousKey(key))
                    --index;
                else if (key == L'*')
                    toExitPrompt =
                        RunItem(items[static_cast<std::size_t>(index)]) == ItemEnd::ExitPrompt;
                toExitPrompt =
                    toExitPrompt || index < 0 || index > last || key == DisplayIO::KEY_ESCAPE;
            }
            Show(L"Exit Edit Corvane?", L"(*=exit)");
            const wchar_t key = display_.Read();
            if (IsNextKey(key))
                index = 0;
            else if (IsPreviousKey(key))
                index = last;
            else
                return;
        }
    }

  private:
    std::vector<MenuItem> Items() const {
        std::vector<MenuItem> items = {MenuItem::SatId, MenuItem::TxTime, MenuItem::TestTx};
        const SelfTimedSettings& st = corvane_.SelfTimed().Settings();
        if (st.Type == kSelfTimedTypeInsat && st.EnableSatID2)
            items.push_back(MenuItem::SatId2);
        return items;
    }

    void Show(const std::wstring& line0, const std::wstring& line1) {
        display_.Write(line0, 0, true);
        display_.Write(line1, 1, true);
    }

    ItemEnd RunItem(MenuItem item) {
        switch (item) {
            case MenuItem::SatId:
                return EditHex(corvane_.SatID, L"SatID");
            case MenuItem::TxTime:
                return EditTxTime();
            case MenuItem::TestTx:
                return TestTransmission();
            case MenuItem::SatId2:
                return EditHex(corvane_.SelfTimed().Settings().SatID2, L"SatID2");
        }
        return ItemEnd::ExitPrompt;
    }

    ItemEnd EditHex(std::wstring& setting, const wchar_t* caption) {
        std::wstring text = setting;
        if (display_.EditHEX(text, caption) != DisplayIO::EDIT_OK)
            return ItemEnd::ExitPrompt;
        setting = text;
        SaveAndRestart();
        return ItemEnd::BackToItem;
    }

    ItemEnd EditTxTime() {
        std::wstring& time = corvane_.SelfTimed().Settings().Time;
        int minutes = static_cast<int>(StrToTimeSpan(time).GetTotalMinutes());
        if (display_.EditInteger(minutes, L"TxTime minutes", false, 0, 0) != DisplayIO::EDIT_OK)
            return ItemEnd::ExitPrompt;
        time = corvane::HmsText(static_cast<long>(minutes) * 60);
        SaveAndRestart();
        return ItemEnd::BackToItem;
    }

    ItemEnd TestTransmission() {
        display_.Write(L"Are you sure?", 0, true);
        if (!display_.OKCancel(true))
            return ItemEnd::ExitPrompt;
        display_.Write(L"Sending...", 0, true);
        SelfTimedMsgr& messenger = corvane_.SelfTimed();
        std::wstring message;
        const bool sent = messenger.BuildMessage(TTime::GetCurrentTime(), message) &&
                          messenger.ApplySettingsAndLoad(message);
        display_.Write(sent ? L"Tx Sent." : L"Tx Error.", 0, true);
        Sleep(kTxResultMs);
        return ItemEnd::BackToItem;
    }

    // The new value reaches the transmitter through the next recording start.
    void SaveAndRestart() {
        Show(L"Saving setup.", L"Please wait...");
        engine_.AutoSaveSetup();
        if (engine_.IsRunning()) {
            Show(L"Restarting recording", L"Please wait...");
            engine_.Stop();
            engine_.Run();
        }
    }

    DisplayIO& display_;
    CCorvane& corvane_;
    CEngine& engine_;
};

}  // namespace

void RunFrontPanelMenu(DisplayIO& display, CCorvane& corvane, CEngine& engine) {
    SetupLock setup(engine);
    if (!setup.IsHeld()) {
        display.Write(L"Setup locked.", 0, true);
        display.Write(L"Can't change setup.", 1, true);
        Sleep(kLockedNoticeMs);
        return;
    }
    FrontPanelMenu(display, corvane, engine).Run();
}
