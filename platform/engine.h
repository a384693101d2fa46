// The platform's recording engine as a module sees it.
#pragma once

#include "platform/sync.h"
#include "platform/types.h"

class TModule;

class CEngine {
  public:
    virtual ~CEngine() = default;

    // Takes the setup for editing, waiting at most `wait` ms; `flag` is the platform's
    // purpose flag, passed through. True when had.
    virtual bool LockSetup(DWORD wait, int flag) = 0;
    virtual void UnlockSetup() = 0;
    // Saves the setup file if it was changed (atomically).
    virtual bool AutoSaveSetup() = 0;
    virtual bool IsRunning() const = 0;
    virtual bool Run() = 0;
    virtual bool Stop() = 0;
    // A manual-reset event that is signalled while recording is stopped.
    virtual TEvent& GetStopEvent() = 0;

    // The blocks of the loaded processing graph, in the setup file's order; null outside the
    // range. The graph changes only while recording is stopped, when a setup is loaded.
    virtual int GetModuleCount() const { return 0; }
    virtual TModule* GetModule(int /*index*/) const { return nullptr; }
};

// The engine of this process. Never null: the host keeps one even before a setup is loaded.
CEngine& GetEngine();
