#include "apps/corvane-sim/options.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace tarvo::sim {
namespace {

template <typename T>
bool Number(std::string_view text, T& value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace

const char* Usage() {
    return "Usage: corvane-sim [options]\n"
           "\n"
           "Simulates a Corvane GOES transmitter on a new pseudo-terminal and serves it in real\n"
           "time until interrupted (SIGINT or SIGTERM). The first line of standard output is the\n"
           "path of the pseudo-terminal's slave side: open that path as the logger's port. It may\n"
           "be opened and closed any number of times.\n"
           "\n"
           "Options:\n"
           "  --transcript FILE     append every request, reply and downlink entry to FILE as\n"
           "                        JSON lines\n"
           "  --verbose             also write those lines to standard error\n"
           "  --link PATH           also make PATH a symbolic link to the slave side (removed on\n"
           "                        exit)\n"
           "  --fault FAULT         inject a fault; repeatable. FAULT is\n"
           "                          KIND[,code=N][,count=N|all][,delay=MS][,text=TEXT]\n"
           "                        KIND: silence, corrupt-crc, wrong-number, plain-header,\n"
           "                        short-payload, refuse, master-refusal, unknown-command,\n"
           "                        invalid-time, slow-reply. Without code= it acts on any\n"
           "                        request (master-refusal on 770 only, invalid-time on 31, 35\n"
           "                        and 219 only); count defaults to 1; text= takes the rest.\n"
           "  --clock-offset S      device clock S seconds ahead of this machine's (negative:\n"
           "                        behind)\n"
           "  --clock-drift PPM     device clock runs PPM parts per million fast (negative: slow)\n"
           "  --invalid-time        device clock starts not valid\n"
           "  --line-faults RATE    hit each request and reply with the chance RATE, a fraction\n"
           "                        from 0 to 1 (0.05) or a percentage (5%): a request byte\n"
           "                        corrupted or dropped, a reply byte corrupted, the reply\n"
           "                        lost or delayed by 0.2 to 4 s; each is a line-fault\n"
           "                        transcript entry (default 0: a perfect line)\n"
           "  --seed N              seed of the line faults (default 1)\n"
           "  --reset-silence MS    how long command 6 leaves the device deaf (default 60000)\n"
           "  --load-margin MS      a self-timed message must be loaded this long before its\n"
           "                        window closes (default 10000)\n"
           "  --reply-latency MS    delay before each reply (default 5)\n"
           "  --help                show this text and exit\n"
           "  --version             show the version and exit\n";
}

bool ParseProgramOptions(int argc, char** argv, ProgramOptions& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        std::string_view value;
        bool hasValue = false;
        if (const std::size_t eq = arg.find('='); arg.starts_with("--") && eq != arg.npos) {
            value = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
            hasValue = true;
        }
        const auto take = [&](std::string_view& out) {
            if (hasValue) {
                out = value;
                return true;
            }
            if (i + 1 >= argc) {
                error = "option " + std::string(arg) + " needs a value";
                return false;
            }
            out = argv[++i];
            return true;
        };
        const auto takeMs = [&](DWORD& out) {
            std::string_view text;
            if (!take(text)) {
                return false;
            }
            if (!Number(text, out)) {
                error = "option " + std::string(arg) +
                        ": not a number of milliseconds: " + std::string(text);
                return false;
            }
            return true;
        };
        std::string_view text;
        if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--version") {
            options.version = true;
        } else if (arg == "--verbose") {
            options.verbose = true;
        } else if (arg == "--invalid-time") {
            options.device.clockValid = false;
        } else if (arg == "--transcript") {
            if (!take(text)) {
                return false;
            }
            options.transcriptPath = text;
        } else if (arg == "--link") {
            if (!take(text)) {
                return false;
            }
            options.linkPath = text;
        } else if (arg == "--fault") {
            if (!take(text)) {
                return false;
            }
            Fault fault;
            std::string why;
            if (!ParseFault(text, fault, why)) {
                error = "--fault " + std::string(text) + ": " + why;
                return false;
            }
            options.faults.push_back(fault);
        } else if (arg == "--clock-offset") {
            double seconds = 0;
            if (!take(text)) {
                return false;
            }
            if (!Number(text, seconds)) {
                error = "--clock-offset: not a number of seconds: " + std::string(text);
                return false;
            }
            options.device.clockOffsetMs = std::llround(seconds * 1000);
        } else if (arg == "--clock-drift") {
            if (!take(text)) {
                return false;
            }
            if (!Number(text, options.device.clockDriftPpm)) {
                error = "--clock-drift: not a number: " + std::string(text);
                return false;
            }
        } else if (arg == "--line-faults") {
            if (!take(text)) {
                return false;
            }
            if (!ParseLineFaultRate(text, options.device.lineFaults.rate)) {
                error = "--line-faults: not a fraction from 0 to 1 or a percentage: " +
                        std::string(text);
                return false;
            }
        } else if (arg == "--seed") {
            if (!take(text)) {
                return false;
            }
            if (!ParseLineFaultSeed(text, options.device.lineFaults.seed)) {
                error = "--seed: not a whole number: " + std::string(text);
                return false;
            }
        } else if (arg == "--reset-silence") {
            if (!takeMs(options.device.resetSilenceMs)) {
                return false;
            }
        } else if (arg == "--load-margin") {
            if (!takeMs(options.device.loadMarginMs)) {
                return false;
            }
        } else if (arg == "--reply-latency") {
            if (!takeMs(options.device.replyLatencyMs)) {
                return false;
            }
        } else {
            error = "unknown option " + std::string(argv[i]);
            return false;
        }
    }
    return true;
}

}  // namespace tarvo::sim
