#include "apps/tarvo/call_command.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/callable_exports.h"
#include "apps/tarvo/run_session.h"
#include "apps/tarvo/section_save.h"
#include "apps/tarvo/transmitter_hooks.h"
#include "host/engine/plugin.h"
#include "host/text/utf8.h"

namespace tarvo::runner {
namespace {

constexpr int kCallError = 2;

std::string NameOf(const host::Plugin& plugin) {
    return plugin.FileName() + " (" + host::ToUtf8(plugin.SetupTag()) + ")";
}

// What `plugin` offers of the callable exports, one per line.
std::string Offers(const host::Plugin& plugin) {
    std::string list;
    for (const CallableExport& e : CallableExports()) {
        if (plugin.FindExport(e.name) != nullptr)
            list += "  " + Usage(e) + "\n";
    }
    return list.empty() ? NameOf(plugin) + " offers no export tarvo can call\n"
                        : NameOf(plugin) + " offers:\n" + list;
}

std::string OffersOfAll(host::HostEngine& engine) {
    std::string all;
    for (int i = 0; i < engine.GetPluginCount(); ++i)
        all += Offers(*engine.GetPlugin(i));
    return all.empty() ? "no plug-in is loaded\n" : all;
}

// The plug-in to call: the one --module names, or the one loaded plug-in with the export.
host::Plugin* ChoosePlugin(host::HostEngine& engine, const CallOptions& options,
                           std::string& error) {
    std::vector<host::Plugin*> candidates;
    for (int i = 0; i < engine.GetPluginCount(); ++i) {
        host::Plugin* plugin = engine.GetPlugin(i);
        const bool named = options.module.empty() ||
                           host::ToUtf8(plugin->SetupTag()) == options.module ||
                           plugin->FileName() == options.module;
        if (named && plugin->FindExport(options.exportName.c_str()) != nullptr)
            candidates.push_back(plugin);
    }
    if (candidates.size() == 1)
        return candidates.front();
    if (candidates.empty()) {
        error = "call: " +
                (options.module.empty() ? std::string("no loaded plug-in")
                                        : "no loaded plug-in named " + options.module) +
                " exports \"" + options.exportName + "\"\n" + OffersOfAll(engine);
    } else {
        error = "call: several plug-ins export \"" + options.exportName +
                "\"; name one with --module (its setup tag or file name)";
    }
    return nullptr;
}

int Fail(std::FILE* err, const std::string& message) {
    std::fprintf(err, "tarvo: %s", message.c_str());
    if (message.empty() || message.back() != '\n')
        std::fputc('\n', err);
    return 1;
}

// Writes the plug-in's section back in place; a setup whose section cannot be replaced on its
// own lines (or that had none) is saved whole, in the host's layout.
bool Save(RunSession& session, host::Plugin& plugin, std::string& error) {
    const std::string& path = session.Options().setupPath;
    std::string section;
    if (!plugin.WriteSetup(section)) {
        error = plugin.FileName() + ": WriteSetup failed";
        return false;
    }
    switch (SaveSectionInPlace(path, plugin.SetupTag(), section, error)) {
        case SectionSave::Saved:
            return true;
        case SectionSave::Failed:
            return false;
        case SectionSave::NotInPlace:
            break;
    }
    std::fprintf(session.Err(),
                 "tarvo: call: <%s> could not be replaced on lines of its own; the whole setup "
                 "is saved in the host's layout\n",
                 host::ToUtf8(plugin.SetupTag()).c_str());
    return session.Engine().SaveSetup(path, error);
}

// Everything between loading the setup and unloading it; returns the exit status.
int CallLoaded(RunSession& session, const CallOptions& options, std::FILE* out) {
    std::FILE* err = session.Err();
    host::HostEngine& engine = session.Engine();
    std::string error;
    const CallableExport* callable = FindCallable(options.exportName);
    if (callable == nullptr) {
        Fail(err, "call: \"" + options.exportName +
                      "\" is not an export tarvo can call (it knows the signatures of the ones "
                      "listed)\n" +
                      OffersOfAll(engine));
        return kCallError;
    }
    host::Plugin* plugin = ChoosePlugin(engine, options, error);
    if (plugin == nullptr) {
        Fail(err, error);
        return kCallError;
    }
    const bool takesOne = callable->shape == CallShape::Setter;
    if (options.arguments.size() != (takesOne ? 1u : 0u)) {
        Fail(err, "call: " + Usage(*callable) + " takes " +
                      (takesOne ? "one argument" : "no argument") + ", not " +
                      std::to_string(options.arguments.size()) + "\n" + Offers(*plugin));
        return kCallError;
    }
    std::optional<CallArgument> argument;
    if (takesOne) {
        argument.emplace();
        if (!ParseCallArgument(callable->kind, options.arguments.front(), *argument, error)) {
            Fail(err, "call: " + Usage(*callable) + ": " + error + "\n" + Offers(*plugin));
            return kCallError;
        }
    }
    std::string output;
    if (!CallExport(*callable, plugin->FindExport(callable->name), argument, output, error))
        return Fail(err, error);
    std::fputs(output.c_str(), out);
    std::fflush(out);
    if (options.save && !Save(session, *plugin, error))
        return Fail(err, "call: --save: " + error);
    return 0;
}

}  // namespace

int ExecuteCall(const CallOptions& options, std::FILE* out, std::FILE* err) {
    // The run's summary is not wanted: the call's result alone goes to `out`.
    RunSession session(options.session, out, err);
    session.AddHooks(std::make_unique<TransmitterHooks>());
    if (const int status = session.Open(); status != 0)
        return status;
    const int status = CallLoaded(session, options, out);
    session.Close();
    return status;
}

}  // namespace tarvo::runner
