#include "host/engine/plugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "host/setup/setup_file.h"
#include "host/text/utf8.h"
#include "platform/report.h"

namespace tarvo::host {
namespace {

std::string LoaderError() {
    const char* e = dlerror();
    return e ? e : "unknown loader error";
}

template <typename T>
T Find(void* handle, const char* name) {
    return reinterpret_cast<T>(dlsym(handle, name));
}

}  // namespace

std::unique_ptr<Plugin> Plugin::Load(const std::string& path, std::string& error,
                                     const std::vector<std::wstring>& takenTags) {
    dlerror();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        error = path + ": cannot load: " + LoaderError();
        return nullptr;
    }
    PluginExports e;
    e.AppInit = Find<AppInitProc>(handle, "AppInit");
    e.AppExit = Find<AppExitProc>(handle, "AppExit");
    e.GetFileVersion = Find<GetFileVersionProc>(handle, "GetFileVersion");
    e.GetSetupTag = Find<GetSetupTagProc>(handle, "GetSetupTag");
    e.ReadSetup = Find<ReadSetupProc>(handle, "ReadSetup");
    e.WriteSetup = Find<WriteSetupProc>(handle, "WriteSetup");
    e.InitSetup = Find<InitSetupProc>(handle, "InitSetup");
    e.OnEngineStart = Find<OnEngineStartProc>(handle, "OnEngineStart");
    e.OnEngineStop = Find<OnEngineStopProc>(handle, "OnEngineStop");
    e.Factory = static_cast<TModuleFactory*>(dlsym(handle, "Factory"));
    e.CreateControlPanelEntry =
        Find<CreateControlPanelEntryProc>(handle, "CreateControlPanelEntry");
    e.DisplayProc = Find<DisplayProcProc>(handle, "DisplayProc");
    e.GetMenuEntry = Find<GetMenuEntryProc>(handle, "GetMenuEntry");
    e.IsMainMenu = Find<IsMainMenuProc>(handle, "IsMainMenu");

    std::vector<std::string> missing;
    const std::pair<const char*, bool> required[] = {
        {"AppInit", e.AppInit != nullptr},
        {"AppExit", e.AppExit != nullptr},
        {"GetFileVersion", e.GetFileVersion != nullptr},
        {"GetSetupTag", e.GetSetupTag != nullptr},
        {"ReadSetup", e.ReadSetup != nullptr},
        {"WriteSetup", e.WriteSetup != nullptr},
        {"InitSetup", e.InitSetup != nullptr},
    };
    for (auto& [name, present] : required) {
        if (!present)
            missing.push_back(name);
    }
    if (!missing.empty()) {
        error = path + ": not a plug-in: missing export" + (missing.size() > 1 ? "s " : " ");
        for (std::size_t i = 0; i < missing.size(); ++i) {
            error += (i ? ", " : "") + missing[i];
        }
        dlclose(handle);
        return nullptr;
    }
    const wchar_t* tag = e.GetSetupTag();
    if (tag == nullptr || *tag == L'\0') {
        error = path + ": GetSetupTag returned no tag";
        dlclose(handle);
        return nullptr;
    }
    if (std::find(takenTags.begin(), takenTags.end(), std::wstring(tag)) != takenTags.end()) {
        error = path + ": its setup tag <" + ToUtf8(tag) + "> is already used by a loaded plug-in";
        dlclose(handle);
        return nullptr;
    }
    std::unique_ptr<Plugin> plugin(new Plugin);
    plugin->path_ = path;
    plugin->handle_ = handle;
    plugin->exports_ = e;
    plugin->setupTag_ = tag;
    if (e.AppInit() == 0) {
        error = path + ": AppInit failed";
        // AppInit failed, so there is nothing for AppExit to undo.
        plugin->exports_.AppExit = nullptr;
        return nullptr;
    }
    return plugin;
}

Plugin::~Plugin() {
    if (exports_.AppExit)
        exports_.AppExit();
    if (handle_)
        dlclose(handle_);
}

std::string Plugin::FileName() const {
    return std::filesystem::path(path_).filename().string();
}

void* Plugin::FindExport(const char* name) const {
    return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}

std::wstring Plugin::FileVersion() const {
    const wchar_t* v = exports_.GetFileVersion ? exports_.GetFileVersion() : nullptr;
    return v ? v : L"";
}

bool Plugin::ReadSetup(CXMLSetup& reader) {
    return exports_.ReadSetup(&reader) != 0;
}

bool Plugin::WriteSetup(std::string& text) {
    SetupTextWriter writer;
    if (exports_.WriteSetup(&writer) == 0)
        return false;
    text = writer.Text();
    return true;
}

bool Plugin::InitSetup() {
    return exports_.InitSetup(nullptr) != 0;
}

bool Plugin::OnEngineStart() {
    return !exports_.OnEngineStart || exports_.OnEngineStart() != 0;
}

bool Plugin::OnEngineStop() {
    return !exports_.OnEngineStop || exports_.OnEngineStop() != 0;
}

std::vector<std::string> FindPlugins(const std::string& directory,
                                     std::vector<std::string>& problems) {
    namespace fs = std::filesystem;
    std::vector<std::string> candidates;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(directory, ec)) {
        std::string name = entry.path().filename().string();
        if (name.size() > 6 && name.starts_with("lib") && name.ends_with(".so") &&
            name != "libtarvo.so" && entry.is_regular_file(ec)) {
            candidates.push_back(entry.path().string());
        }
    }
    std::sort(candidates.begin(), candidates.end());
    std::vector<std::string> found;
    for (const auto& path : candidates) {
        dlerror();
        void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (handle == nullptr) {
            problems.push_back(path + ": cannot load: " + LoaderError());
            continue;
        }
        if (dlsym(handle, "GetSetupTag") != nullptr) {
            found.push_back(path);
        } else {
            TReport::Debug("%s exports no GetSetupTag; not a plug-in", path.c_str());
        }
        dlclose(handle);
    }
    return found;
}

std::string ProgramDirectory() {
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return ".";
    return exe.parent_path().string();
}

}  // namespace tarvo::host
