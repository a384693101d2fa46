// The processing block: the platform's base for everything in the processing graph.
//
// A block has named properties, and inputs and outputs at data indexes 0 to
// MODULE_DATA_COUNT - 1; an index whose input (output) name is empty has no input (output).
// Each input is fed by at most one output of another block; an output may feed any number of
// inputs. The engine owns the blocks, connects them as the setup file says and, while
// recording, calls Execute on its processing thread whenever a block's inputs have new data
// (and, for blocks with a schedule, at each scheduled instant).
//
// Each block holds one reading per data index: what its output there delivers. It is guarded
// by the block's data lock; other threads (messengers) read it under that lock too.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "platform/property.h"
#include "platform/sensor_data.h"
#include "platform/sync.h"
#include "platform/time.h"
#include "platform/types.h"

inline constexpr int MODULE_DATA_COUNT = 8;

class TModule {
  public:
    // `moduleName` is the block type ("Log", "SelfTimed"); the instance name is set by the
    // engine from the setup file.
    explicit TModule(std::wstring moduleName);
    virtual ~TModule();
    TModule(const TModule&) = delete;
    TModule& operator=(const TModule&) = delete;

    const std::wstring& GetModuleName() const { return moduleName_; }
    const std::wstring& GetName() const { return name_; }
    void SetName(std::wstring name) { name_ = std::move(name); }

    // Properties, in the order they were added. AddProperty returns the stored property (its
    // address stays valid for the block's life); a second property of the same name replaces
    // nothing and returns null.
    TProperty* AddProperty(TProperty property);
    TProperty* GetProperty(const std::wstring& name);
    const TProperty* GetProperty(const std::wstring& name) const;
    int GetPropertyCount() const { return static_cast<int>(properties_.size()); }
    TProperty* GetProperty(int index);
    const TProperty* GetProperty(int index) const;

    // Port names by data index; empty means no port there. Blocks override these.
    virtual std::wstring GetInputName(int index) const;
    virtual std::wstring GetOutputName(int index) const;

    // The block and its output index that feed input `index`; null when unconnected.
    TModule* GetInputModule(int index) const;
    int GetInputModuleIndex(int index) const;
    // Copies the reading delivered to input `index` (the feeding block's data, taken under
    // that block's data lock). False when the input is unconnected. Do not hold the feeding
    // block's data lock while calling.
    bool GetInputData(int index, CSensorData& data) const;

    // The block's own data lock. LockData waits at most `ms`; true when taken.
    bool LockData(DWORD ms = INFINITE) const;
    void UnlockData() const;
    // The block's reading at data index `index` (0 .. MODULE_DATA_COUNT - 1). Read and write it
    // with the data lock held.
    CSensorData& GetData(int index);
    const CSensorData& GetData(int index) const;
    // Stores `data` as the reading at `index`, taking the data lock itself (do not hold it).
    void SetOutputData(int index, const CSensorData& data);

    bool IsEnabled() const;
    void SetEnabled(bool enabled);

    // The processing call: inputs have new data, or (for a scheduled block) a scheduled instant
    // has come. Returns true when the block's outputs changed, so that the blocks it feeds run.
    virtual bool Execute();
    // Called once when recording starts, after Reset, before any Execute. False (with a log
    // line) is reported by the engine but does not stop recording.
    virtual bool Start();
    // Called when recording stops, after the last Execute.
    virtual void Stop();
    // Puts the block's run-time state back to its initial state; the engine calls it before
    // Start at every recording start.
    virtual void Reset();
    // Lets the operator edit the block's properties (usually in a TDialog); true when the
    // operator confirmed and the properties were written back.
    virtual bool EditProperties();
    // One line describing the block's state for the operator; empty when it has none.
    virtual std::wstring GetStatusText() const;

    // Scheduled blocks (such as measurement sources) override this: the first instant at or
    // after `from` at which the block wants to run. False (the default) for a block that runs
    // only when its inputs have new data.
    virtual bool GetNextRunTime(TTime from, TTime& next) const;
    // The instant the engine is running the block for: the scheduled instant for a scheduled
    // block, the instant of the processing pass otherwise. Valid inside Execute.
    TTime GetRunTime() const { return runTime_; }

    // For the engine: wiring and the pass time.
    void ConnectInput(int index, TModule* source, int sourceIndex);
    void DisconnectInputs();
    void SetRunTime(TTime time) { runTime_ = time; }

  private:
    struct Input {
        TModule* module = nullptr;
        int index = -1;
    };

    std::wstring moduleName_;
    std::wstring name_;
    std::vector<std::unique_ptr<TProperty>> properties_;
    Input inputs_[MODULE_DATA_COUNT];
    CSensorData data_[MODULE_DATA_COUNT];
    mutable TSemaphore dataLock_;
    std::atomic<bool> enabled_{true};
    TTime runTime_;
};

// Holds a block's data lock for a scope.
class TModuleDataLock {
  public:
    explicit TModuleDataLock(const TModule& module) : module_(module) { module_.LockData(); }
    ~TModuleDataLock() { module_.UnlockData(); }
    TModuleDataLock(const TModuleDataLock&) = delete;
    TModuleDataLock& operator=(const TModuleDataLock&) = delete;

  private:
    const TModule& module_;
};
