// Threads, events, semaphores and waits. Every wait goes through the process clock, so under the
// virtual clock a thread blocked here lets time move on, and time-outs are in clock time.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>

#include "platform/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;

// The host's state behind a wait handle.
struct TWaitState;

// Anything a thread can wait for. A wait on a signalled object succeeds at once; what a
// successful wait consumes depends on the kind (an auto-reset event's signal, one count of a
// semaphore; nothing for a manual-reset event, a clock-change handle or an ended thread).
class TWaitable {
  public:
    TWaitable(const TWaitable&) = delete;
    TWaitable& operator=(const TWaitable&) = delete;
    virtual ~TWaitable();

    TWaitState& State() const { return *state_; }

  protected:
    explicit TWaitable(std::unique_ptr<TWaitState> state);

  private:
    std::unique_ptr<TWaitState> state_;
};

// Waits up to `ms` (INFINITE: no limit). Returns WAIT_OBJECT_0 or WAIT_TIMEOUT.
DWORD WaitForSingleObject(TWaitable& object, DWORD ms);

// Waits for the first of several objects. When more than one is signalled, the one earliest in
// argument order wins and only it is consumed. Returns WAIT_OBJECT_0 + its index, WAIT_TIMEOUT,
// or WAIT_FAILED for an empty list.
DWORD WaitForMultipleObjects(std::span<TWaitable* const> objects, DWORD ms);
DWORD WaitForMultipleObjects(std::initializer_list<TWaitable*> objects, DWORD ms);

// A manual-reset event stays signalled until Reset; an auto-reset event releases one waiter
// and resets itself. The name appears in deadlock diagnostics.
class TEvent : public TWaitable {
  public:
    TEvent(bool manualReset, bool initiallySet, std::string name = "event");
    void Set();
    void Reset();
    bool IsSet() const;
};

// A counting semaphore; the default is a binary one that starts free, used as a lock.
class TSemaphore : public TWaitable {
  public:
    explicit TSemaphore(long initialCount = 1, long maxCount = 1, std::string name = "semaphore");
    // Takes one count, waiting at most `ms` (INFINITE: no limit). True when taken.
    bool Lock(DWORD ms = INFINITE);
    // Returns `count` counts; false (and nothing returned) when that would exceed the maximum.
    bool Unlock(long count = 1);
};

// Holds a TSemaphore for a scope; releases it on destruction if held.
class TSingleLock {
  public:
    explicit TSingleLock(TSemaphore& semaphore, bool lockNow = false);
    ~TSingleLock();
    TSingleLock(const TSingleLock&) = delete;
    TSingleLock& operator=(const TSingleLock&) = delete;

    bool Lock(DWORD ms = INFINITE);
    bool Unlock();
    bool IsLocked() const { return locked_; }

  private:
    TSemaphore& semaphore_;
    bool locked_ = false;
};

// Signalled when the logger's clock is set (SetSystemTime) after the handle was created; stays
// signalled until Reset.
class TRTCChange : public TWaitable {
  public:
    TRTCChange();
    ~TRTCChange() override;
    void Reset();
};

// A platform thread. It starts running `body` at construction and takes part in the clock from
// that moment; the handle is signalled once the body has returned. Destruction joins.
class TThread : public TWaitable {
  public:
    TThread(std::function<void()> body, std::string name);
    ~TThread() override;
    // Waits for the body to return, at most `ms`. True when it has.
    bool Join(DWORD ms = INFINITE);
    const std::string& Name() const { return name_; }

  private:
    std::string name_;
    struct Runner;
    std::unique_ptr<Runner> runner_;
};
