// The random messenger: owns the random settings, the lists of Random and RndGroup blocks, the
// eight group slots and one worker thread that decides which group transmits next and when,
// builds its message and hands it to the transmitter. A group not in alarm transmits at the
// normal rate; a group that enters alarm transmits within the next minute, then BurstCount
// times in all at the burst rate, then at the alarm rate until the alarm resets. Every
// scheduled time is moved by a random amount.
//
// Threads: blocks list themselves on whatever thread makes them (under the list lock);
// SetGroupAlarm and ResetGroupAlarm run on the processing thread and only write one slot's
// flags, the alarm group and an event; everything else of the schedule belongs to the worker.
// It talks to the transmitter only in the verbs of the Transmitter interface, which the device
// object that owns it hands it (its session's); it never builds or reads a packet.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "corvane/link/transmitter.h"
#include "corvane/random/group_alarm_signals.h"
#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"
#include "corvane/shared/message_hook.h"
#include "corvane/shared/messenger_thread.h"
#include "platform/sync.h"
#include "platform/time.h"
#include "platform/xml_setup.h"

class Random;
class RndGroup;

enum class OffsetSign { Unsigned, Signed };

// The random delay source: RandomOffset's contract. Tests give a scripted one.
using RandomOffsetSource = std::function<int(int range, OffsetSign sign)>;

// On first use seeds the C library's generator with the clock's tick count, then draws
// r = rand() mod range: unsigned, r (0 .. range - 1); signed, a second draw picks -(r / 2) or
// r / 2, so -((range - 1) / 2) .. (range - 1) / 2.
int RandomOffset(int range, OffsetSign sign);

class CRandomMsgr : public GroupAlarmSignals, public RandomBlockRoster {
  public:
    // Groups 0 to 7 have a slot; 8 and 9, which blocks and settings allow, never transmit.
    static constexpr int kSlots = 8;

    // The settings hold their defaults with Antenna 0; the stop event is created set (stopped).
    // `transmitter` (the device object that owns the messenger) outlives it; it is not used
    // during construction.
    explicit CRandomMsgr(corvane::Transmitter& transmitter,
                         RandomOffsetSource offsets = RandomOffset);
    // Stops the thread if it still runs.
    ~CRandomMsgr() override;
    CRandomMsgr(const CRandomMsgr&) = delete;
    CRandomMsgr& operator=(const CRandomMsgr&) = delete;

    RandomSettings& Settings() { return settings_; }
    const RandomSettings& Settings() const { return settings_; }
    bool IsEnabled() const { return settings_.Enabled; }

    // The manual-reset event that ends the messenger's thread and its waits.
    TEvent& StopEvent() { return worker_.StopEvent(); }

    // The reader stands after "<Random"; `next` receives the token that ended its attributes.
    bool ReadSetup(CXMLSetup& setup, CXMLToken& next);
    bool WriteSetup(CXMLSetup& setup) const;
    // The defaults of a fresh setup (Antenna kept). Always true.
    bool InitSetup();
    // True when the Random and RndGroup blocks agree with each other; otherwise the failed
    // checks' texts are appended to `errors`, each ending in "; ".
    bool ValidateRandomSetup(std::wstring& errors) const;

    // Sends the random settings (RandomConfigRequests, one exchange each, without limit on the
    // lock wait). False at the first command that gets no valid reply; a refusing reply does not
    // end it. For Types 6..9 an 862 is assembled as well and not sent.
    bool PushRandomConfig();

    // The thread's life, called by recording start and stop (under the device's state lock).
    // Start: false when the thread runs already; otherwise clears the stop event and starts it.
    // Stop: false when no thread runs; otherwise sets the stop event and waits for the thread
    // to end.
    bool Start();
    bool Stop();
    bool IsThreadRunning() const { return worker_.IsRunning(); }

    // The blocks' side (GroupAlarmSignals, RandomBlockRoster).
    void AddGroupBlock(RndGroup& block) override;
    void RemoveGroupBlock(RndGroup& block) override;
    void SetGroupAlarm(int group) override;
    void ResetGroupAlarm(int group) override;
    void AddRandomBlock(Random& block) override;
    void RemoveRandomBlock(Random& block) override;
    int NextRandomSequence() override;
    const RandomSettings& RandomSetup() const override { return settings_; }

    // Puts the Random blocks in message order (sequence_order.h); the thread does it as it
    // starts, public so that a test can see the order a message takes.
    void SortRandomBlocks();
    // The group's message: the first three characters of its RndGroup block's Label, the age
    // character, then its parameters' values (interleaved or not, "///" for a missing one);
    // the hook has the last word. True with the text unchanged when no RndGroup block has the
    // group.
    bool BuildGroupMessage(int group, std::wstring& text) const;
    // For operators: the message, or "An error occurred formatting the message." or "The setup
    // does not define a message for the indicated group." with false.
    bool GetGroupMessage(int group, std::wstring& text) const;
    // The maintenance test: with InitCorvane the satellite id, offset and random push first
    // (false when either fails), then the text as random data (312) and 314; the 314's result.
    bool SendTestMessage(const std::wstring& text);
    // Replaces the random format hook; null removes it.
    void SetHook(corvane::MessageHook hook) { hook_.store(hook); }

  private:
    struct Slot {
        bool active = false;
        std::atomic<bool> inAlarm{false};
        std::atomic<int> burstsSent{0};
        TTime lastTx;
        TTime nextTx;
    };

    void ThreadProc();
    bool WaitForNext();
    bool FormatAndSend();
    std::vector<Random*> RandomBlocks() const;
    std::vector<RndGroup*> GroupBlocks() const;

    corvane::Transmitter& transmitter_;
    RandomOffsetSource offsets_;
    RandomSettings settings_;

    mutable TSemaphore listLock_;
    std::vector<Random*> randoms_;
    std::vector<RndGroup*> groups_;
    int sequenceCounter_ = 0;

    std::array<Slot, kSlots> slots_;
    std::atomic<int> currentGroup_{-1};
    std::atomic<int> alarmGroup_{-1};
    TEvent alarmEvent_;
    TEvent resetEvent_;
    std::atomic<corvane::MessageHook> hook_{nullptr};

    CMessengerThread worker_;
};
