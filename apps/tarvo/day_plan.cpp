#include "apps/tarvo/day_plan.h"

#include <algorithm>
#include <set>

#include "apps/tarvo/widest_message.h"
#include "corvane/random/random_settings.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "host/text/utf8.h"
#include "platform/time.h"

namespace tarvo::runner {
namespace {

constexpr long kDaySeconds = 86'400;

long Seconds(const std::wstring& text) {
    return static_cast<long>(StrToMS(text) / 1000);
}

template <typename List>
std::string NameAt(const List& list, long index) {
    if (index < 0 || index >= static_cast<long>(list.size()))
        return "type " + std::to_string(index);
    return host::ToUtf8(list[static_cast<std::size_t>(index)].name);
}

}  // namespace

int AlarmDayTransmissions(long burstCount, long burstSeconds, long alarmSeconds) {
    // The alarm starts at 0; the day is [0, kDaySeconds). Without a rate nothing repeats.
    // Clamped to the range the property page allows (a value outside it is reported apart), so
    // that a burst count of billions in a file cannot overflow the span below.
    const long bursts = std::clamp(burstCount, 1L, 200L);
    const long burstSpan = (bursts - 1) * std::max(0L, burstSeconds);
    if (burstSpan >= kDaySeconds)
        return static_cast<int>((kDaySeconds - 1) / burstSeconds + 1);
    const long afterBursts = alarmSeconds > 0 ? (kDaySeconds - 1 - burstSpan) / alarmSeconds : 0;
    return static_cast<int>(bursts + afterBursts);
}

SelfTimedPlan PlanSelfTimed(const SectionElements& settings,
                            const std::vector<StationBlock>& blocks) {
    const auto get = [&settings](const wchar_t* key) {
        return SettingOf(settings, L"SelfTimed", key);
    };
    const auto number = [&settings](const wchar_t* key) {
        return NumberOf(settings, L"SelfTimed", key);
    };
    const long type = number((L"Type"));
    SelfTimedPlan plan{.enabled = number((L"Enabled")) != 0,
                       .format = host::ToUtf8(get(L"Format")),
                       .channel = static_cast<int>(number((L"Channel"))),
                       .typeName = NameAt(kSelfTimedTypes, type),
                       .rate = SelfTimedBitRate(static_cast<int>(type)),
                       .windowSeconds = Seconds(get(L"WinLen")),
                       .centred = number((L"CenterWin")) != 0,
                       .firstSeconds = Seconds(get(L"Time")) % kDaySeconds,
                       .rateSeconds = Seconds(get(L"Rate"))};
    plan.appendsBattery = number((L"Quality")) != 0;
    plan.appendsPosition = number((L"LatLon")) != 0;
    if (plan.rateSeconds > 0)
        plan.perDay = static_cast<int>((kDaySeconds - plan.firstSeconds + plan.rateSeconds - 1) /
                                       plan.rateSeconds);
    std::vector<StationBlock> selfTimed;
    for (const StationBlock& b : blocks) {
        if (b.kind == StationBlock::Kind::SelfTimed)
            selfTimed.push_back(b);
    }
    plan.widestBytes =
        WidestSelfTimedMessage(get(L"Format"), number((L"NumVals")), plan.rateSeconds, selfTimed);
    if (plan.widestBytes && plan.rate)
        plan.fits = FitsWindow(*plan.rate, *plan.widestBytes, plan.windowSeconds);
    return plan;
}

RandomPlan PlanRandom(const SectionElements& settings, const std::vector<StationBlock>& blocks) {
    const auto get = [&settings](const wchar_t* key) {
        return SettingOf(settings, L"Random", key);
    };
    const auto number = [&settings](const wchar_t* key) {
        return NumberOf(settings, L"Random", key);
    };
    const long type = number((L"Type"));
    const long format = number((L"Format"));
    RandomPlan plan{.enabled = number((L"Enabled")) != 0,
                    .format = format == 0 || format == 1
                                  ? host::ToUtf8(kRandomFormats[static_cast<std::size_t>(format)])
                                  : "format " + std::to_string(format),
                    .channel = static_cast<int>(number((L"Channel"))),
                    .typeName = NameAt(kRandomTypes, type),
                    .rate = RandomBitRate(static_cast<int>(type))};
    plan.appendsBattery = number((L"Quality")) != 0;
    plan.appendsPosition = number((L"LatLon")) != 0;
    // The groups that transmit: those of the enabled RndGroup blocks.
    std::set<long> groups;
    for (const StationBlock& b : blocks) {
        if (b.kind == StationBlock::Kind::RndGroup && b.enabled)
            groups.insert(b.group);
    }
    for (const long g : groups) {
        std::string label;
        for (const StationBlock& b : blocks) {
            if (b.kind == StationBlock::Kind::RndGroup && b.group == g) {
                label = host::ToUtf8(b.label.substr(0, 3));
                break;
            }
        }
        GroupPlan group{.group = g,
                        .label = label,
                        .widestBytes = WidestRandomMessage(g, format, number((L"NumVals")), blocks),
                        .hasSlot = g >= 2 && g <= 7,
                        .normalSeconds = Seconds(get(L"NormRate")),
                        .burstCount = number((L"BurstCount")),
                        .burstSeconds = Seconds(get(L"BurstRate")),
                        .alarmSeconds = Seconds(get(L"AlarmRate"))};
        if (group.normalSeconds > 0)
            group.normalPerDay = static_cast<int>(kDaySeconds / group.normalSeconds);
        group.alarmDayTransmissions =
            AlarmDayTransmissions(group.burstCount, group.burstSeconds, group.alarmSeconds);
        plan.groups.push_back(group);
    }
    return plan;
}

}  // namespace tarvo::runner
