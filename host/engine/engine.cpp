#include "host/engine/engine.h"

#include "host/blocks/host_blocks_factory.h"
#include "host/engine/plugin.h"
#include "host/text/utf8.h"
#include "platform/report.h"

namespace tarvo::host {

HostEngine::HostEngine()
    : stopEvent_(true, true, "engine stop"),
      setupLock_(1, 1, "engine setup"),
      runLock_(1, 1, "engine run"),
      hostFactory_(std::make_unique<HostBlockFactory>([this] { return buildDirectory_; })) {}

HostEngine::~HostEngine() {
    Shutdown();
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
