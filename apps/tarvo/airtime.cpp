#include "apps/tarvo/airtime.h"

namespace tarvo::runner {
namespace {

// Time on the air is (overhead + 4 * bytes) / divisor seconds.
struct Figures {
    long overhead;
    long divisor;
};

Figures FiguresOf(BitRate rate) {
    return rate == BitRate::Bps300 ? Figures{.overhead = 137, .divisor = 150}
                                   : Figures{.overhead = 223, .divisor = 600};
}

}  // namespace

std::optional<BitRate> SelfTimedBitRate(int type) {
    switch (type) {
        case 0:   // "300 bps"
        case 10:  // "300 G11/12"
        case 11:  // "300 G13+"
            return BitRate::Bps300;
        case 1:   // "1200 bps"
        case 12:  // "1200 G11/12"
        case 13:  // "1200 G13+"
            return BitRate::Bps1200;
        default:
            return std::nullopt;
    }
}

std::optional<BitRate> RandomBitRate(int type) {
    switch (type) {
        case 1:  // "300 bps"
        case 6:  // "300 G11/12"
        case 7:  // "300 G13+"
            return BitRate::Bps300;
        case 2:  // "1200 bps"
        case 8:  // "1200 G11/12"
        case 9:  // "1200 G13+"
            return BitRate::Bps1200;
        default:
            return std::nullopt;
    }
}

int BitsPerSecond(BitRate rate) {
    return rate == BitRate::Bps300 ? 300 : 1200;
}

double AirSeconds(BitRate rate, int bytes) {
    const Figures f = FiguresOf(rate);
    return static_cast<double>(f.overhead + 4L * bytes) / static_cast<double>(f.divisor);
}

bool FitsWindow(BitRate rate, int bytes, long windowSeconds) {
    const Figures f = FiguresOf(rate);
    return f.overhead + 4L * bytes <= f.divisor * windowSeconds;
}

int MostBytesInWindow(BitRate rate, long windowSeconds) {
    const Figures f = FiguresOf(rate);
    const long room = f.divisor * windowSeconds - f.overhead;
    return room < 0 ? 0 : static_cast<int>(room / 4);
}

}  // namespace tarvo::runner
