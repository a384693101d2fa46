// The host's recording engine (host side): plug-ins, the setup file, the processing graph and
// the processing thread. GetEngine() is the process's HostEngine; tests may make their own.
//
// Loading a setup: the <Blocks> section is read and its blocks are made (through the host's
// factory, added factories and the plug-ins' factories, in that order of lookup), connected and
// checked; then each plug-in is handed its section by its setup tag (ReadSetup), or InitSetup
// when the file has none. Blocks come first so that a plug-in sees its blocks when it reads its
// settings. A setup without <Blocks> has an empty graph.
//
// Recording: Run calls each plug-in's OnEngineStart (in load order), resets and starts the
// enabled blocks and starts the processing thread, which waits through the clock for the next
// scheduled instant of any enabled block, runs the blocks due then, and every block fed by a
// block that produced, in graph order. Stop signals the stop event, ends the processing
// thread, stops the blocks and calls each plug-in's OnEngineStop (in reverse load order).
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/setup/blocks_section.h"
#include "host/setup/setup_file.h"
#include "platform/engine.h"
#include "platform/module.h"
#include "platform/module_factory.h"
#include "platform/sync.h"

namespace tarvo::host {

class Plugin;

// A block type the engine can make.
struct BlockType {
    std::wstring name;
    TModuleFactory* factory = nullptr;
    int index = 0;
    std::string origin;  // "host", a plug-in's file name, or what AddBlockTypes was given
};

class HostEngine : public CEngine {
  public:
    // Exists before any setup is loaded: stopped, its stop event signalled, its setup lock free.
    HostEngine();
    ~HostEngine() override;

    // CEngine. The setup lock is what a plug-in holds while it changes its settings (a dialog,
    // the front-panel menu); loading and saving take it too, unless the calling thread already
    // holds it, so a plug-in may save from inside its own locked edit.
    bool LockSetup(DWORD wait, int flag) override;
    void UnlockSetup() override;
    // Writes the setup back to the file it was loaded from when what the plug-ins and the graph
    // would write differs from the file. True when nothing needed saving or the save worked;
    // false (with a warning) without a file or when saving failed.
    bool AutoSaveSetup() override;
    bool IsRunning() const override;
    bool Run() override;
    bool Stop() override;
    TEvent& GetStopEvent() override { return stopEvent_; }
    int GetModuleCount() const override;
    TModule* GetModule(int index) const override;

    // Plug-ins. LoadPlugin refuses (false, `error` naming the file) a library that is not a
    // plug-in or whose setup tag another loaded plug-in already has. Not while recording.
    bool LoadPlugin(const std::string& path, std::string& error);
    int GetPluginCount() const { return static_cast<int>(plugins_.size()); }
    Plugin* GetPlugin(int index) const;
    Plugin* FindPlugin(const std::wstring& setupTag) const;

    // More block types (tests, benchmarks, embedders); the factory must outlive the engine's
    // blocks.
    void AddBlockTypes(TModuleFactory& factory, std::string origin);
    std::vector<BlockType> GetBlockTypes() const;

    // Setup. Load and LoadText leave the engine unchanged on failure, with `error` as
    // "FILE:LINE: what was expected". Refused while recording.
    bool LoadSetup(const std::string& path, std::string& error);
    bool LoadSetupText(const std::string& text, const std::string& fileName, std::string& error);
    // A fresh setup: an empty graph and InitSetup for every plug-in.
    bool NewSetup(std::string& error);
    // The whole setup as it would be saved now.
    bool BuildSetup(SetupFile& file, std::string& error);
    bool SaveSetup(const std::string& path, std::string& error);
    // The <Blocks> element as the graph would be written now, so that a caller can save that
    // section alone.
    std::string BlocksSectionText();
    const std::string& SetupPath() const { return setupPath_; }
    // The folder relative file names in the setup are taken from ("." without a file).
    std::string SetupDirectory() const;

    TModule* FindModule(const std::wstring& name) const;

    // Stops recording, destroys the graph and unloads every plug-in (AppExit). The runner
    // calls this before the clock it ran on goes away.
    void Shutdown();

  private:
    struct Graph {
        std::vector<std::unique_ptr<TModule>> blocks;  // setup-file order
        std::vector<ConnectionSpec> connections;       // as written back, ports by name
        std::vector<int> order;                        // processing order (topological)
        std::vector<std::vector<int>> feeders;         // per block, the blocks that feed it
    };

    bool Adopt(SetupFile file, const std::string& path, const std::string& name,
               std::string& error);
    // Holds the setup lock for the engine's own reads and writes of the setup, unless this
    // thread already holds it through LockSetup.
    class SetupGuard;
    // The setup as it would be saved now. The caller holds the setup lock (a SetupGuard), so
    // that no plug-in changes its settings, and no load replaces them, half-way.
    bool ComposeSetup(SetupFile& file, std::string& error);
    bool BuildGraph(const GraphDescription& description, const std::string& fileName, Graph& graph,
                    std::string& error);
    GraphDescription DescribeGraph() const;
    void ClearGraph();
    void ProcessingLoop();
    static std::string DirectoryOf(const std::string& path);

    TEvent stopEvent_;
    TSemaphore setupLock_;
    std::atomic<std::thread::id> setupOwner_{};  // who holds setupLock_, while someone does
    TSemaphore runLock_;                         // Run and Stop, one at a time
    std::atomic<bool> running_{false};

    std::unique_ptr<TModuleFactory> hostFactory_;
    std::vector<std::pair<TModuleFactory*, std::string>> addedFactories_;
    std::vector<std::unique_ptr<Plugin>> plugins_;

    SetupFile setup_;
    std::string setupPath_;
    std::string buildDirectory_ = ".";
    std::string savedText_;  // the setup as last loaded or saved, to tell a change
    Graph graph_;
    std::unique_ptr<TThread> processing_;
    std::atomic<std::thread::id> processingThread_{};
};

// The process engine as the host sees it (the same object GetEngine returns).
HostEngine& GetHostEngine();

}  // namespace tarvo::host
