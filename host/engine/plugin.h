// A plug-in library loaded by its exported names (host side).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/plugin.h"

class CControlPanelEntry;
class DisplayIO;
class TModuleFactory;

namespace tarvo::host {

// The exports a plug-in offers; optional ones are null when absent.
struct PluginExports {
    AppInitProc AppInit = nullptr;
    AppExitProc AppExit = nullptr;
    GetFileVersionProc GetFileVersion = nullptr;
    GetSetupTagProc GetSetupTag = nullptr;
    ReadSetupProc ReadSetup = nullptr;
    WriteSetupProc WriteSetup = nullptr;
    InitSetupProc InitSetup = nullptr;
    OnEngineStartProc OnEngineStart = nullptr;
    OnEngineStopProc OnEngineStop = nullptr;
    TModuleFactory* Factory = nullptr;
    CreateControlPanelEntryProc CreateControlPanelEntry = nullptr;
    DisplayProcProc DisplayProc = nullptr;
    GetMenuEntryProc GetMenuEntry = nullptr;
    IsMainMenuProc IsMainMenu = nullptr;
};

class Plugin {
  public:
    // Loads the library at `path`, finds its exports and calls AppInit. Null on failure, with
    // `error` naming the file and what went wrong: the loader's own message, every required
    // export that is missing ("PATH: not a plug-in: missing exports GetSetupTag, ReadSetup"),
    // an empty setup tag or one in `takenTags` (checked before AppInit, so a library loaded
    // twice is not initialised twice), or AppInit failing.
    static std::unique_ptr<Plugin> Load(const std::string& path, std::string& error,
                                        const std::vector<std::wstring>& takenTags = {});
    // Calls AppExit, then unloads the library. Every object the plug-in made (blocks, control
    // panel entries) must be gone by then.
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const std::string& Path() const { return path_; }
    // The file name without its folder ("libcorvane.so").
    std::string FileName() const;
    const std::wstring& SetupTag() const { return setupTag_; }
    std::wstring FileVersion() const;
    const PluginExports& Exports() const { return exports_; }
    TModuleFactory* Factory() const { return exports_.Factory; }
    // Any other symbol the library exports, by its exact name; null when it has none. What the
    // symbol is (a function of which type, an object) the caller must know.
    void* FindExport(const char* name) const;

    // The setup calls, each true on success. WriteSetup returns the section's text as the
    // plug-in wrote it.
    bool ReadSetup(CXMLSetup& reader);
    bool WriteSetup(std::string& text);
    bool InitSetup();
    // Absent optional exports count as success.
    bool OnEngineStart();
    bool OnEngineStop();

  private:
    Plugin() = default;

    std::string path_;
    void* handle_ = nullptr;
    PluginExports exports_;
    std::wstring setupTag_;
};

// The plug-ins found in `directory`: every "lib*.so" file there that exports GetSetupTag, in
// name order. Libraries without it (such as the host's own) are not plug-ins and are passed
// over. Libraries that cannot be loaded at all are reported in `problems` ("PATH: reason").
std::vector<std::string> FindPlugins(const std::string& directory,
                                     std::vector<std::string>& problems);

// The folder of the running program.
std::string ProgramDirectory();

}  // namespace tarvo::host
