#include "host/engine/engine.h"

#include <map>

#include "host/blocks/load_checks.h"
#include "host/engine/internal/engine_messages.h"
#include "host/text/number_text.h"
#include "platform/report.h"

namespace tarvo::host {
namespace {

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
            std::string expected;
            if (p->GetType() == TPropertyType::TextArray) {
                p->SetTexts(SplitArray(s.value));
            } else if (!p->FromText(s.value, expected)) {
                error = Where(fileName, s.line) + "property " + Quote(s.name) + " of block " +
                        Quote(b.name) + " must be " + expected + ", not " + Quote(s.value);
                return false;
            }
            std::string warning;
            if (!CheckHostSetting(*module, s.name, error, warning)) {
                error = Where(fileName, s.line) + error;
                return false;
            }
            if (!warning.empty())
                TReport::Warning("%s%s", Where(fileName, s.line).c_str(), warning.c_str());
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

}  // namespace tarvo::host
