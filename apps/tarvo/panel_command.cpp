#include "apps/tarvo/panel_command.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/tarvo/run_session.h"
#include "apps/tarvo/section_save.h"
#include "apps/tarvo/transmitter_hooks.h"
#include "host/dialogs/display_io.h"
#include "host/dialogs/terminal_operator.h"
#include "host/engine/plugin.h"
#include "host/text/utf8.h"
#include "platform/control_panel.h"

namespace tarvo::runner {
namespace {

using Line = host::TerminalOperator::ChoiceLine;

// What a line of the tree opens.
struct Target {
    CControlPanelEntry* entry = nullptr;  // with `item`
    int item = -1;
    TModule* block = nullptr;
    host::Plugin* menu = nullptr;  // the plug-in's front-panel menu
};

// A plug-in's branch, owned as the platform owns it (deleted through its virtual destructor),
// with the section as the plug-in wrote it when the panel opened.
struct Branch {
    host::Plugin* plugin = nullptr;
    std::unique_ptr<CControlPanelEntry> entry;
    std::string sectionBefore;
};

std::string FileNameOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Replaces the sections whose text changed since the panel opened; `saved` lists them.
bool SaveChanged(RunSession& session, std::vector<Branch>& branches,
                 const std::string& blocksBefore, std::vector<std::string>& saved,
                 std::string& error) {
    const std::string& path = session.Options().setupPath;
    host::HostEngine& engine = session.Engine();
    auto replace = [&](const std::wstring& tag, const std::string& text) {
        switch (SaveSectionInPlace(path, tag, text, error)) {
            case SectionSave::Saved:
                saved.push_back("<" + host::ToUtf8(tag) + ">");
                return true;
            case SectionSave::Failed:
                return false;
            case SectionSave::NotInPlace:
                break;
        }
        // A section that shares its lines with others can only be saved with the whole file.
        saved.push_back("the whole setup, in the host's layout (<" + host::ToUtf8(tag) +
                        "> was not on lines of its own)");
        return engine.SaveSetup(path, error);
    };
    for (Branch& b : branches) {
        std::string now;
        if (!b.plugin->WriteSetup(now)) {
            error = b.plugin->FileName() + ": WriteSetup failed";
            return false;
        }
        if (now != b.sectionBefore && !replace(b.plugin->SetupTag(), now))
            return false;
        b.entry->SetChanged(false);
    }
    const std::string blocksNow = engine.BlocksSectionText();
    return blocksNow == blocksBefore || replace(L"Blocks", blocksNow);
}

// The module saves what its menu confirms itself, as on the logger.
void OpenMenu(host::Plugin& plugin) {
    host::BackendDisplay display;
    plugin.Exports().DisplayProc(&display, nullptr);
}

}  // namespace

int ExecutePanel(const PanelOptions& options, std::FILE* out, std::FILE* err) {
    std::string error;
    // Refused before anything loads: a panel without a keyboard would only wait.
    if (!isatty(0)) {
        std::fprintf(err,
                     "tarvo: panel: standard input is not a terminal; run it in a terminal "
                     "(at least 80x24), or use tarvo call to script a setting\n");
        return 1;
    }
    RunSession session(options.session, out, err);
    session.AddHooks(std::make_unique<TransmitterHooks>());
    if (const int status = session.Open(); status != 0)
        return status;
    host::HostEngine& engine = session.Engine();

    std::vector<Branch> branches;
    for (int i = 0; i < engine.GetPluginCount(); ++i) {
        host::Plugin* plugin = engine.GetPlugin(i);
        if (plugin->Exports().CreateControlPanelEntry == nullptr)
            continue;
        Branch b{plugin,
                 std::unique_ptr<CControlPanelEntry>(plugin->Exports().CreateControlPanelEntry()),
                 {}};
        if (b.entry && plugin->WriteSetup(b.sectionBefore))
            branches.push_back(std::move(b));
    }
    const std::string blocksBefore = engine.BlocksSectionText();

    std::vector<Line> lines;
    std::vector<Target> targets;
    auto add = [&](Line::Kind kind, std::wstring text, Target target) {
        lines.push_back({kind, std::move(text)});
        targets.push_back(target);
    };
    for (Branch& b : branches) {
        add(Line::Kind::Heading,
            b.plugin->SetupTag() + L" (" + host::FromUtf8(b.plugin->FileName()) + L")", {});
        for (int item = 0; item < b.entry->GetItemCount(); ++item)
            add(Line::Kind::Item, L"  " + b.entry->GetItemName(item),
                {b.entry.get(), item, nullptr, nullptr});
    }
    // The front panel's menu lines, as the logger's keypad shows them.
    bool menuHeading = false;
    for (int i = 0; i < engine.GetPluginCount(); ++i) {
        host::Plugin* plugin = engine.GetPlugin(i);
        const host::PluginExports& e = plugin->Exports();
        if (e.DisplayProc == nullptr || e.GetMenuEntry == nullptr)
            continue;
        if (!std::exchange(menuHeading, true))
            add(Line::Kind::Heading, L"Front-panel menu", {});
        add(Line::Kind::Item, std::wstring(L"  ") + e.GetMenuEntry(),
            {nullptr, -1, nullptr, plugin});
    }
    if (engine.GetModuleCount() > 0)
        add(Line::Kind::Heading, L"Blocks", {});
    for (int i = 0; i < engine.GetModuleCount(); ++i) {
        TModule* block = engine.GetModule(i);
        add(Line::Kind::Item, L"  " + block->GetName(), {nullptr, -1, block, nullptr});
    }

    int status = 0;
    std::vector<std::string> saved;
    bool declined = false;
    {
        auto terminal = host::TerminalOperator::Open(error);
        if (!terminal) {
            std::fprintf(err, "tarvo: panel: %s\n", error.c_str());
            branches.clear();
            session.Close();
            return 1;
        }
        host::ScopedOperatorBackend backend(
            std::shared_ptr<host::OperatorBackend>(terminal.get(), [](host::OperatorBackend*) {}));
        const std::wstring title =
            L"Control panel - " + host::FromUtf8(FileNameOf(options.session.setupPath));
        bool confirmed = false;
        int focus = 0;
        for (;;) {
            const int picked = terminal->Choose(title, lines, focus);
            if (picked >= 0) {
                const Target& t = targets[static_cast<std::size_t>(picked)];
                if (t.entry)
                    confirmed |= t.entry->OpenItem(t.item);
                else if (t.block)
                    confirmed |= t.block->EditProperties();
                else
                    OpenMenu(*t.menu);
                continue;
            }
            for (const Branch& b : branches)
                confirmed |= b.entry->IsChanged();
            if (!confirmed)
                break;
            const int answer = terminal->Message(
                L"Save the changes to " + host::FromUtf8(options.session.setupPath) + L"?", 0,
                MB_YESNOCANCEL | MB_ICONQUESTION, L"Leaving the control panel");
            if (answer == IDCANCEL)
                continue;
            if (answer == IDYES && !SaveChanged(session, branches, blocksBefore, saved, error))
                status = 1;
            declined = answer == IDNO;
            break;
        }
    }
    // The terminal is back to its own mode here: what happened goes to the shell.
    if (status != 0)
        std::fprintf(err, "tarvo: panel: saving %s failed: %s\n", options.session.setupPath.c_str(),
                     error.c_str());
    else if (declined)
        std::fprintf(out, "tarvo: panel: the changes were not saved\n");
    else if (!saved.empty()) {
        std::fprintf(out, "tarvo: panel: saved %s:", options.session.setupPath.c_str());
        for (const std::string& s : saved)
            std::fprintf(out, " %s", s.c_str());
        std::fputc('\n', out);
    }
    branches.clear();  // before the plug-ins go
    session.Close();
    return status;
}

}  // namespace tarvo::runner
