#include "apps/corvane-sim/options.h"

#include <utility>

#include "apps/common/command_line.h"

namespace tarvo::sim {

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
           "                        invalid-time, slow-reply, cut-time. Without code= it acts\n"
           "                        on any request (master-refusal on 770 only, invalid-time on\n"
           "                        31, 35 and 219 only, cut-time on 31 and 219 only); count\n"
           "                        defaults to 1; text= takes the rest.\n"
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
    CLI::App app;
    apps::Prepare(&app);
    app.add_flag("--version", options.version);
    app.add_flag("--verbose", options.verbose);
    app.add_flag_callback("--invalid-time", [&options] { options.device.clockValid = false; });
    app.add_option("--transcript", options.transcriptPath);
    app.add_option("--link", options.linkPath);
    apps::AddFaults(app, "--fault", options.faults);
    TransmitterOptions& device = options.device;
    apps::AddParsed(app, "--clock-offset", apps::ParseSecondsAsMs, device.clockOffsetMs,
                    "a number of seconds such as 2 or -0.5");
    apps::AddParsed(app, "--clock-drift", ParseNumber<double>, device.clockDriftPpm,
                    "a number of parts per million such as 20 or -3.5");
    apps::AddParsed(app, "--line-faults", ParseLineFaultRate, device.lineFaults.rate,
                    "a fraction from 0 to 1 such as 0.05, or a percentage such as 5%");
    apps::AddParsed(app, "--seed", ParseLineFaultSeed, device.lineFaults.seed,
                    "a whole number such as 7");
    for (auto [name, ms] : {std::pair{"--reset-silence", &device.resetSilenceMs},
                            std::pair{"--load-margin", &device.loadMarginMs},
                            std::pair{"--reply-latency", &device.replyLatencyMs}})
        apps::AddParsed(app, name, ParseNumber<DWORD>, *ms, "a number of milliseconds");
    const apps::Parsed parsed = apps::Parse(app, {argv + 1, argv + argc}, error);
    options.help = parsed == apps::Parsed::Help;
    const std::string extra = parsed == apps::Parsed::Done ? apps::FirstLeftOver(app) : "";
    if (!extra.empty())
        error = (extra[0] == '-' ? "unknown option " : "unexpected argument ") + extra;
    return parsed != apps::Parsed::Failed && extra.empty();
}

}  // namespace tarvo::sim
