// A module's branch of the platform's control panel (made by the export
// CreateControlPanelEntry, owned by the platform).
#pragma once

#include <atomic>
#include <string>

class CControlPanelEntry {
  public:
    CControlPanelEntry() = default;
    virtual ~CControlPanelEntry();
    CControlPanelEntry(const CControlPanelEntry&) = delete;
    CControlPanelEntry& operator=(const CControlPanelEntry&) = delete;

    // The branch's items in tree order.
    virtual int GetItemCount() const = 0;
    virtual std::wstring GetItemName(int index) const = 0;
    // Runs item `index`'s dialog modally on the calling thread; true when the operator
    // confirmed something (the entry then also sets its changed flag).
    virtual bool OpenItem(int index) = 0;

    // Set when settings were changed through the entry; the platform saves the setup and
    // clears it.
    bool IsChanged() const { return changed_; }
    void SetChanged(bool changed) { changed_ = changed; }

  private:
    std::atomic<bool> changed_{false};
};
