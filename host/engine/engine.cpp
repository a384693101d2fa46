#include "host/engine/engine.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <string_view>
#include <thread>

#include "host/blocks/host_blocks_factory.h"
#include "host/clock/clock.h"
#include "host/engine/plugin.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"
#include "platform/clock.h"
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

std::string Quote(const std::wstring& text) {
    return "\"" + ToUtf8(text) + "\"";
}

std::string Where(const std::string& fileName, int line) {
    return fileName + ":" + std::to_string(line) + ": ";
}

// The port of `module` that `text` names: a port name, or a data index that has a port. Empty
// text names the block's only port. -1 with `error` when none fits.
int FindPort(const TModule& module, bool input, const std::wstring& text, std::string& error) {
    std::vector<int> ports;
    std::string names;
    for (int i = 0; i < MODULE_DATA_COUNT; ++i) {
        std::wstring name = input ? module.GetInputName(i) : module.GetOutputName(i);
        if (name.empty())
            continue;
        ports.push_back(i);
        names += (names.empty() ? "" : ", ") + ToUtf8(name);
    }
    const char* kind = input ? "input" : "output";
    const std::string block =
        "block " + Quote(module.GetName()) + " (" + ToUtf8(module.GetModuleName()) + ")";
    if (ports.empty()) {
        error = block + " has no " + kind;
        return -1;
    }
    if (text.empty()) {
        if (ports.size() == 1)
            return ports[0];
        error = block + " has several " + kind + "s (" + names + "); name one with " +
                (input ? "Input" : "Output") + "=\"...\"";
        return -1;
    }
    for (int i : ports) {
        if ((input ? module.GetInputName(i) : module.GetOutputName(i)) == text)
            return i;
    }
    long index = -1;
    if (ParseLong(text, index)) {
        for (int i : ports) {
            if (i == index)
                return i;
        }
    }
    error = block + " has no " + kind + " " + Quote(text) + "; its " + kind + "s: " + names;
    return -1;
}

std::wstring PortName(const TModule& module, bool input, int index) {
    return input ? module.GetInputName(index) : module.GetOutputName(index);
}

}  // namespace

HostEngine::HostEngine()
    : stopEvent_(true, true, "engine stop"),
      setupLock_(1, 1, "engine setup"),
      runLock_(1, 1, "engine run"),
      hostFactory_(std::make_unique<HostBlockFactory>([this] { return buildDirectory_; })) {}

HostEngine::~HostEngine() {
    Shutdown();
}

bool HostEngine::LockSetup(DWORD wait, int /*flag*/) {
    return setupLock_.Lock(wait);
}

void HostEngine::UnlockSetup() {
    setupLock_.Unlock();
}

bool HostEngine::IsRunning() const {
    return running_.load();
}

int HostEngine::GetModuleCount() const {
    return static_cast<int>(graph_.blocks.size());
}

TModule* HostEngine::GetModule(int index) const {
    if (index < 0 || index >= GetModuleCount())
        return nullptr;
    return graph_.blocks[static_cast<std::size_t>(index)].get();
}

TModule* HostEngine::FindModule(const std::wstring& name) const {
    for (auto& b : graph_.blocks) {
        if (b->GetName() == name)
            return b.get();
    }
    return nullptr;
}

Plugin* HostEngine::GetPlugin(int index) const {
    if (index < 0 || index >= GetPluginCount())
        return nullptr;
    return plugins_[static_cast<std::size_t>(index)].get();
}

Plugin* HostEngine::FindPlugin(const std::wstring& setupTag) const {
    for (auto& p : plugins_) {
        if (p->SetupTag() == setupTag)
            return p.get();
    }
    return nullptr;
}

bool HostEngine::LoadPlugin(const std::string& path, std::string& error) {
    if (IsRunning()) {
        error = path + ": cannot load a plug-in while recording";
        return false;
    }
    std::vector<std::wstring> taken;
    for (auto& p : plugins_)
        taken.push_back(p->SetupTag());
    auto plugin = Plugin::Load(path, error, taken);
    if (!plugin)
        return false;
    TReport::Debug("Loaded plug-in %s (setup tag <%s>, version %s)", path.c_str(),
                   ToUtf8(plugin->SetupTag()).c_str(), ToUtf8(plugin->FileVersion()).c_str());
    plugins_.push_back(std::move(plugin));
    return true;
}

void HostEngine::AddBlockTypes(TModuleFactory& factory, std::string origin) {
    addedFactories_.emplace_back(&factory, std::move(origin));
}

std::vector<BlockType> HostEngine::GetBlockTypes() const {
    std::vector<BlockType> types;
    auto add = [&types](TModuleFactory* factory, const std::string& origin) {
        for (int i = 0; i < factory->GetModuleCount(); ++i) {
            const wchar_t* name = factory->GetModuleName(i);
            if (name)
                types.push_back(BlockType{name, factory, i, origin});
        }
    };
    add(hostFactory_.get(), "host");
    for (auto& [factory, origin] : addedFactories_)
        add(factory, origin);
    for (auto& p : plugins_) {
        if (p->Factory())
            add(p->Factory(), p->FileName());
    }
    return types;
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

bool HostEngine::BuildGraph(const GraphDescription& description, const std::string& fileName,
                            Graph& graph, std::string& error) {
    auto types = GetBlockTypes();
    std::map<std::wstring, int> byName;
    std::vector<int> lines;
    for (const auto& b : description.blocks) {
        const BlockType* type = nullptr;
        for (const auto& t : types) {
            if (t.name == b.type) {
                type = &t;
                break;
            }
        }
        if (type == nullptr) {
            std::string known;
            for (const auto& t : types)
                known += (known.empty() ? "" : ", ") + ToUtf8(t.name);
            error = Where(fileName, b.line) + "unknown block type " + Quote(b.type) +
                    "; known types: " + known;
            return false;
        }
        std::unique_ptr<TModule> module(type->factory->CreateModule(type->index));
        if (!module) {
            error = Where(fileName, b.line) + "the factory of " + type->origin +
                    " made no block of type " + Quote(b.type);
            return false;
        }
        module->SetName(b.name);
        module->SetEnabled(b.enabled);
        for (const auto& s : b.settings) {
            TProperty* p = module->GetProperty(s.name);
            if (p == nullptr) {
                std::string names;
                for (int i = 0; i < module->GetPropertyCount(); ++i) {
                    names += (i ? ", " : "") + ToUtf8(module->GetProperty(i)->GetName());
                }
                error = Where(fileName, s.line) + "block " + Quote(b.name) + " (" + ToUtf8(b.type) +
                        ") has no property " + Quote(s.name) +
                        (names.empty() ? "; it has none" : "; its properties: " + names);
                return false;
            }
            if (p->GetType() == TPropertyType::TextArray) {
                p->SetTexts(SplitArray(s.value));
                continue;
            }
            std::string expected;
            if (!p->FromText(s.value, expected)) {
                error = Where(fileName, s.line) + "property " + Quote(s.name) + " of block " +
                        Quote(b.name) + " must be " + expected + ", not " + Quote(s.value);
                return false;
            }
        }
        byName[b.name] = static_cast<int>(graph.blocks.size());
        lines.push_back(b.line);
        graph.blocks.push_back(std::move(module));
    }

    const std::size_t n = graph.blocks.size();
    graph.feeders.assign(n, {});
    std::vector<std::vector<int>> fed(n);
    std::vector<std::array<int, MODULE_DATA_COUNT>> inputLine(n);
    for (auto& l : inputLine)
        l.fill(0);
    for (const auto& c : description.connections) {
        auto from = byName.find(c.from);
        auto to = byName.find(c.to);
        if (from == byName.end() || to == byName.end()) {
            const std::wstring& missing = from == byName.end() ? c.from : c.to;
            error = Where(fileName, c.line) + "connection " + Quote(c.from) + " -> " + Quote(c.to) +
                    " names no block " + Quote(missing);
            return false;
        }
        TModule& source = *graph.blocks[static_cast<std::size_t>(from->second)];
        TModule& target = *graph.blocks[static_cast<std::size_t>(to->second)];
        std::string portError;
        int out = FindPort(source, false, c.output, portError);
        int in = out < 0 ? -1 : FindPort(target, true, c.input, portError);
        if (out < 0 || in < 0) {
            error = Where(fileName, c.line) + "connection " + Quote(c.from) + " -> " + Quote(c.to) +
                    ": " + portError;
            return false;
        }
        auto& taken = inputLine[static_cast<std::size_t>(to->second)][static_cast<std::size_t>(in)];
        if (taken != 0) {
            error = Where(fileName, c.line) + "input " + Quote(PortName(target, true, in)) +
                    " of block " + Quote(target.GetName()) + " is already connected (line " +
                    std::to_string(taken) + ")";
            return false;
        }
        taken = c.line;
        target.ConnectInput(in, &source, out);
        graph.feeders[static_cast<std::size_t>(to->second)].push_back(from->second);
        fed[static_cast<std::size_t>(from->second)].push_back(to->second);
        graph.connections.push_back(ConnectionSpec{source.GetName(), PortName(source, false, out),
                                                   target.GetName(), PortName(target, true, in),
                                                   c.line});
    }

    // Kahn's algorithm, always taking the earliest block in file order that is ready, so the
    // processing order follows the file wherever the wiring allows.
    std::vector<int> pending(n);
    for (std::size_t i = 0; i < n; ++i)
        pending[i] = static_cast<int>(graph.feeders[i].size());
    std::vector<bool> done(n, false);
    for (std::size_t step = 0; step < n; ++step) {
        int next = -1;
        for (std::size_t i = 0; i < n; ++i) {
            if (!done[i] && pending[i] == 0) {
                next = static_cast<int>(i);
                break;
            }
        }
        if (next < 0) {
            // Every block left waits on another: the first of them lies on or behind a cycle.
            for (std::size_t i = 0; i < n; ++i) {
                if (!done[i]) {
                    int line = 0;
                    for (const auto& c : graph.connections) {
                        if (c.to == graph.blocks[i]->GetName())
                            line = c.line;
                    }
                    error = Where(fileName, line ? line : lines[i]) +
                            "connections form a loop through block " +
                            Quote(graph.blocks[i]->GetName()) + "; the graph must have no cycles";
                    return false;
                }
            }
        }
        done[static_cast<std::size_t>(next)] = true;
        graph.order.push_back(next);
        for (int t : fed[static_cast<std::size_t>(next)])
            --pending[static_cast<std::size_t>(t)];
    }
    return true;
}

GraphDescription HostEngine::DescribeGraph() const {
    GraphDescription description;
    for (const auto& b : graph_.blocks) {
        BlockSpec block;
        block.type = b->GetModuleName();
        block.name = b->GetName();
        block.enabled = b->IsEnabled();
        for (int i = 0; i < b->GetPropertyCount(); ++i) {
            const TProperty* p = b->GetProperty(i);
            std::wstring value =
                p->GetType() == TPropertyType::TextArray ? JoinArray(p->GetTexts()) : p->GetText();
            block.settings.push_back({p->GetName(), value, 0});
        }
        description.blocks.push_back(std::move(block));
    }
    description.connections = graph_.connections;
    return description;
}

void HostEngine::ClearGraph() {
    for (auto& b : graph_.blocks)
        b->DisconnectInputs();
    // Destroyed in reverse order of making, so that later blocks, which may refer to earlier
    // ones through their plug-in, go first.
    while (!graph_.blocks.empty())
        graph_.blocks.pop_back();
    graph_ = Graph{};
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

    TSingleLock lock(setupLock_, true);
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

bool HostEngine::BuildSetupLocked(SetupFile& file, std::string& error) {
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
    return BuildSetupLocked(file, error);
}

bool HostEngine::SaveSetup(const std::string& path, std::string& error) {
    SetupFile file;
    if (!BuildSetupLocked(file, error))
        return false;
    if (!file.Save(path, error))
        return false;
    savedText_ = file.ToText();
    return true;
}

bool HostEngine::AutoSaveSetup() {
    SetupFile file;
    std::string error;
    if (!BuildSetupLocked(file, error)) {
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

bool HostEngine::Run() {
    TSingleLock lock(runLock_, true);
    if (running_.load())
        return true;
    running_.store(true);
    stopEvent_.Reset();
    for (auto& p : plugins_) {
        if (!p->OnEngineStart()) {
            TReport::Warning("%s: OnEngineStart failed", p->FileName().c_str());
        }
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (!b.IsEnabled())
            continue;
        b.Reset();
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (!b.IsEnabled())
            continue;
        if (!b.Start()) {
            TReport::Warning("Block \"%s\" (%s) did not start cleanly", ToUtf8(b.GetName()).c_str(),
                             ToUtf8(b.GetModuleName()).c_str());
        }
    }
    processing_ = std::make_unique<TThread>([this] { ProcessingLoop(); }, "engine processing");
    TReport::Status("Recording started");
    return true;
}

bool HostEngine::Stop() {
    // A block cannot stop the recording it is running in: the processing thread would wait
    // for itself to end.
    if (processingThread_.load() == std::this_thread::get_id()) {
        TReport::Warning("Recording cannot be stopped from the processing thread");
        return false;
    }
    TSingleLock lock(runLock_, true);
    if (!running_.load())
        return true;
    stopEvent_.Set();
    if (processing_) {
        processing_->Join();
        processing_.reset();
        processingThread_.store(std::thread::id());
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (b.IsEnabled())
            b.Stop();
    }
    for (auto it = plugins_.rbegin(); it != plugins_.rend(); ++it) {
        if (!(*it)->OnEngineStop()) {
            TReport::Warning("%s: OnEngineStop failed", (*it)->FileName().c_str());
        }
    }
    running_.store(false);
    TReport::Status("Recording stopped");
    return true;
}

void HostEngine::ProcessingLoop() {
    processingThread_.store(std::this_thread::get_id());
    const std::size_t n = graph_.blocks.size();
    // Position of each block in the processing order, and which are scheduled and when next.
    std::vector<bool> scheduled(n, false);
    std::vector<TTime> due(n);
    std::vector<bool> fired(n, false);
    TRTCChange clockChange;

    auto scheduleAll = [&](TTime from) {
        for (std::size_t i = 0; i < n; ++i) {
            const TModule& b = *graph_.blocks[i];
            TTime next;
            scheduled[i] = b.IsEnabled() && b.GetNextRunTime(from, next);
            due[i] = next;
        }
    };
    scheduleAll(TTime::GetCurrentTime());

    for (;;) {
        bool any = false;
        TTime earliest;
        for (std::size_t i = 0; i < n; ++i) {
            if (scheduled[i] && (!any || due[i] < earliest)) {
                earliest = due[i];
                any = true;
            }
        }
        TTime now = TTime::GetCurrentTime();
        if (!any || earliest > now) {
            DWORD wait = INFINITE;
            if (any) {
                std::int64_t ms = (earliest - now).GetTotalMilliseconds();
                wait = static_cast<DWORD>(std::min<std::int64_t>(ms, 0x7FFFFFFF));
            }
            DWORD r = WaitForMultipleObjects({&stopEvent_, &clockChange}, wait);
            if (r == WAIT_OBJECT_0)
                return;
            if (r == WAIT_OBJECT_0 + 1) {
                // The logger's clock was set: the schedule starts again from the new time
                // rather than catching up (or waiting out) the jump.
                clockChange.Reset();
                scheduleAll(TTime::GetCurrentTime());
            }
            continue;
        }

        // One pass at `earliest`: the blocks due then, and every block fed by one that produced.
        std::fill(fired.begin(), fired.end(), false);
        for (int i : graph_.order) {
            const auto k = static_cast<std::size_t>(i);
            TModule& b = *graph_.blocks[k];
            if (!b.IsEnabled())
                continue;
            bool run = scheduled[k] && due[k] == earliest;
            if (!run) {
                for (int f : graph_.feeders[k]) {
                    if (fired[static_cast<std::size_t>(f)]) {
                        run = true;
                        break;
                    }
                }
            }
            if (!run)
                continue;
            b.SetRunTime(earliest);
            fired[k] = b.Execute();
        }
        for (std::size_t k = 0; k < n; ++k) {
            if (scheduled[k] && due[k] == earliest) {
                TTime next;
                scheduled[k] = graph_.blocks[k]->GetNextRunTime(
                    earliest + TTimeSpan::FromMilliseconds(1), next);
                due[k] = next;
            }
        }
    }
}

void HostEngine::Shutdown() {
    Stop();
    ClearGraph();
    // Plug-ins go in reverse load order, each after every block it made is gone.
    while (!plugins_.empty())
        plugins_.pop_back();
    setup_ = SetupFile{};
    setupPath_.clear();
    savedText_.clear();
}

HostEngine& GetHostEngine() {
    // Built on first use so that it never precedes the clock and sync state it relies on.
    static HostEngine engine;
    return engine;
}

}  // namespace tarvo::host

CEngine& GetEngine() {
    return tarvo::host::GetHostEngine();
}
