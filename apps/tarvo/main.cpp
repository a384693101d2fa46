// tarvo: the logger platform on Linux. See `tarvo --help`.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "apps/tarvo/call_command.h"
#include "apps/tarvo/check_command.h"
#include "apps/tarvo/lost_readings.h"
#include "apps/tarvo/options.h"
#include "apps/tarvo/panel_command.h"
#include "apps/tarvo/run_journal.h"
#include "apps/tarvo/run_session.h"
#include "apps/tarvo/transmitter_hooks.h"

int main(int argc, char** argv) {
    using namespace tarvo::runner;
    std::vector<std::string> args(argv + 1, argv + argc);
    Command command;
    std::string error;
    if (!ParseCommand(args, command, error)) {
        std::fprintf(stderr, "tarvo: %s\n", error.c_str());
        return 2;
    }
    switch (command.kind) {
        case Command::Kind::Help:
            std::fputs(HelpText(), stdout);
            return 0;
        case Command::Kind::Version:
            std::printf("tarvo %s\n", TARVO_VERSION);
            return 0;
        case Command::Kind::Call:
            return ExecuteCall(command.call, stdout, stderr);
        case Command::Kind::Panel:
            return ExecutePanel(command.panel, stdout, stderr);
        case Command::Kind::Check:
            return ExecuteCheck(command.check, stdout, stderr);
        case Command::Kind::Blocks:
            return ListBlocks(command.blocks, stdout, stderr);
        case Command::Kind::Run: {
            RunSession session(command.run);
            session.AddHooks(std::make_unique<RunJournal>(stderr));
            session.AddHooks(std::make_unique<TransmitterHooks>());
            session.AddHooks(std::make_unique<LostReadings>());
            return session.Execute();
        }
    }
    return 2;
}
