#include "host/engine/engine.h"

#include <filesystem>
#include <thread>

#include "host/blocks/load_checks.h"
#include "host/engine/internal/engine_messages.h"
#include "host/engine/plugin.h"
#include "platform/report.h"

namespace tarvo::host {
namespace {

// Whether `text`, past leading blanks, opens an element named `name`.
bool StartsWithElement(const std::string& text, const std::string& name) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos || text.compare(first, name.size() + 1, "<" + name) != 0)
        return false;
    const std::size_t after = first + name.size() + 1;
    return after < text.size() &&
           std::string_view(" \t\r\n/>").find(text[after]) != std::string_view::npos;
}

}  // namespace

class HostEngine::SetupGuard {
  public:
    explicit SetupGuard(HostEngine& engine)
        : engine_(engine), take_(engine.setupOwner_.load() != std::this_thread::get_id()) {
        if (take_)
            engine_.LockSetup(INFINITE, 0);
    }
    ~SetupGuard() {
        if (take_)
            engine_.UnlockSetup();
    }
    SetupGuard(const SetupGuard&) = delete;
    SetupGuard& operator=(const SetupGuard&) = delete;

  private:
    HostEngine& engine_;
    const bool take_;
};

bool HostEngine::LockSetup(DWORD wait, int /*flag*/) {
    if (!setupLock_.Lock(wait))
        return false;
    setupOwner_.store(std::this_thread::get_id());
    return true;
}

void HostEngine::UnlockSetup() {
    setupOwner_.store(std::thread::id());
    setupLock_.Unlock();
}

std::string HostEngine::DirectoryOf(const std::string& path) {
    if (path.empty())
        return ".";
    auto dir = std::filesystem::path(path).parent_path();
    return dir.empty() ? "." : dir.string();
}

std::string HostEngine::SetupDirectory() const {
    return DirectoryOf(setupPath_);
}

bool HostEngine::LoadSetup(const std::string& path, std::string& error) {
    SetupFile file;
    if (!file.Load(path, error))
        return false;
    return Adopt(std::move(file), path, path, error);
}

bool HostEngine::LoadSetupText(const std::string& text, const std::string& fileName,
                               std::string& error) {
    SetupFile file;
    if (!file.Parse(text, fileName, error))
        return false;
    return Adopt(std::move(file), "", fileName, error);
}

bool HostEngine::NewSetup(std::string& error) {
    return Adopt(SetupFile{}, "", "(new setup)", error);
}

bool HostEngine::Adopt(SetupFile file, const std::string& path, const std::string& name,
                       std::string& error) {
    if (IsRunning()) {
        error = name + ": cannot load a setup while recording";
        return false;
    }
    GraphDescription description;
    if (file.HasSection(L"Blocks")) {
        auto reader = file.ReadSection(L"Blocks");
        if (!reader) {
            error = Where(name, file.SectionLine(L"Blocks")) + "cannot read <Blocks>";
            return false;
        }
        if (!ParseBlocksSection(*reader, name, description, error))
            return false;
    }
    // Blocks made now resolve their file names against the folder of the setup being loaded.
    buildDirectory_ = DirectoryOf(path);
    Graph graph;
    if (!BuildGraph(description, name, graph, error))
        return false;
    // No block may write over the setup, over what another block reads, or over another
    // block's file: the run would destroy what it was given.
    std::vector<PlacedBlock> placed;
    for (std::size_t i = 0; i < graph.blocks.size(); ++i)
        placed.push_back({.block = graph.blocks[i].get(), .line = description.blocks[i].line});
    int line = 0;
    if (!CheckBlockFiles(placed, path, line, error)) {
        error = Where(name, line) + error;
        return false;
    }

    SetupGuard guard(*this);
    ClearGraph();
    graph_ = std::move(graph);
    setup_ = std::move(file);
    setupPath_ = path;
    for (auto& p : plugins_) {
        auto reader = setup_.ReadSection(p->SetupTag());
        if (reader) {
            if (!p->ReadSetup(*reader)) {
                TReport::Warning("%s: %s could not read its section <%s>", name.c_str(),
                                 p->FileName().c_str(), ToUtf8(p->SetupTag()).c_str());
            }
        } else if (!p->InitSetup()) {
            TReport::Warning("%s: InitSetup failed", p->FileName().c_str());
        }
    }
    // The file as read is the baseline: AutoSaveSetup writes when what the plug-ins and the
    // graph would write differs from it (a section made by InitSetup counts as a change).
    savedText_ = setup_.ToText();
    return true;
}

bool HostEngine::ComposeSetup(SetupFile& file, std::string& error) {
    file = setup_;
    bool ok = true;
    for (auto& p : plugins_) {
        std::string text;
        if (!p->WriteSetup(text)) {
            error = p->FileName() + ": WriteSetup failed for <" + ToUtf8(p->SetupTag()) + ">";
            ok = false;
            continue;
        }
        // A section written under another name (or not at all) would vanish from the file and
        // the plug-in's settings with it at the next load; refuse the save instead.
        if (!StartsWithElement(text, ToUtf8(p->SetupTag()))) {
            error = p->FileName() + ": WriteSetup wrote no <" + ToUtf8(p->SetupTag()) + "> element";
            ok = false;
            continue;
        }
        file.SetSection(p->SetupTag(), text);
    }
    if (!graph_.blocks.empty() || file.HasSection(L"Blocks")) {
        file.SetSection(L"Blocks", WriteBlocksSection(DescribeGraph()));
    }
    return ok;
}

bool HostEngine::BuildSetup(SetupFile& file, std::string& error) {
    SetupGuard guard(*this);
    return ComposeSetup(file, error);
}

std::string HostEngine::BlocksSectionText() {
    SetupGuard guard(*this);
    return WriteBlocksSection(DescribeGraph());
}

bool HostEngine::SaveSetup(const std::string& path, std::string& error) {
    SetupGuard guard(*this);
    SetupFile file;
    if (!ComposeSetup(file, error))
        return false;
    if (!file.Save(path, error))
        return false;
    savedText_ = file.ToText();
    return true;
}

bool HostEngine::AutoSaveSetup() {
    SetupGuard guard(*this);
    SetupFile file;
    std::string error;
    if (!ComposeSetup(file, error)) {
        TReport::Warning("Setup not saved: %s", error.c_str());
        return false;
    }
    std::string text = file.ToText();
    if (text == savedText_)
        return true;
    if (setupPath_.empty()) {
        TReport::Warning("Setup changed but not saved: it was not loaded from a file");
        return false;
    }
    if (!file.Save(setupPath_, error)) {
        TReport::Warning("Setup not saved: %s", error.c_str());
        return false;
    }
    savedText_ = text;
    TReport::Status("Setup saved to %s", setupPath_.c_str());
    return true;
}

}  // namespace tarvo::host
