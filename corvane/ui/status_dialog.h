// The transmitter's status dialog: its status report, and resetting its counters and its
// failsafe. Every exchange waits at most 5000 ms for the session, so an operator behind a
// transmission in progress gets a failure instead of a dialog that hangs.
#pragma once

#include "corvane/link/packet.h"
#include "platform/dialog.h"
#include "platform/types.h"

class CCorvane;

// Control ids, for whatever acts as the operator.
enum StatusControl {
    kStatusText = 1101,   // read-only: the last status report
    kStatusRefresh,       // 4; the reply's text goes to kStatusText (emptied when none came)
    kStatusReset,         // asks first, then 5
    kStatusResetFailsafe  // 7
};

// "Corvane Status"; the operator closes it with IDCANCEL. Changes no setting.
class StatusDialog : public TDialog {
  public:
    // `corvane` outlives the dialog.
    explicit StatusDialog(CCorvane& corvane);

  protected:
    void OnInitDialog() override;
    void OnButton(int id) override;

  private:
    // One exchange of `code` without payload, waiting at most 5000 ms for the session.
    bool Exchange(WORD code, CPacket& reply);

    CCorvane& corvane_;
};

// Runs StatusDialog modally on the calling thread.
void RunStatusDialog(CCorvane& corvane);
