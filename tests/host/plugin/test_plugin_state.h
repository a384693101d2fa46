// What the test plug-in records, read by the tests through its export TestPluginStateOf.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct TestPluginState {
    int appInit = 0;
    int appExit = 0;
    int readSetup = 0;
    int writeSetup = 0;
    int initSetup = 0;
    int engineStart = 0;
    int engineStop = 0;
    int unexpectedTokens = 0;
    int blocksAlive = 0;
    int blocksAliveAtExit = -1;
    bool writeOtherElement = false;  // WriteSetup writes <Other> instead of its own tag
    std::vector<std::pair<std::wstring, std::wstring>> settings;
};

extern "C" {
using TestPluginStateOfProc = TestPluginState* (*)();
}
