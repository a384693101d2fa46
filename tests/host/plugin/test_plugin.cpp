// A tiny plug-in for the host's tests: one setup section <TestPlugin> holding one element
// <Settings .../> whose attributes it keeps in order and writes back; one block type "Scale"
// (Input and Output at data index 2, output = input * Factor); counters of the calls the host
// makes, read through the extra export TestPluginState.
//
// Built twice: as is, and with TEST_PLUGIN_WITHOUT_SETUP_TAG, lacking that required export.
#include <string>
#include <utility>
#include <vector>

#include "platform/module.h"
#include "platform/module_factory.h"
#include "platform/plugin.h"
#include "platform/report.h"
#include "platform/xml_setup.h"
#include "tests/host/plugin/test_plugin_state.h"

namespace {

TestPluginState state;

class ScaleBlock : public TModule {
  public:
    ScaleBlock() : TModule(L"Scale") {
        AddProperty(TProperty::Real(L"Factor", 2.0));
        ++state.blocksAlive;
    }
    ~ScaleBlock() override { --state.blocksAlive; }
    std::wstring GetInputName(int index) const override { return index == 2 ? L"Input" : L""; }
    std::wstring GetOutputName(int index) const override { return index == 2 ? L"Output" : L""; }
    bool Execute() override {
        CSensorData data;
        if (!GetInputData(2, data))
            return false;
        TValue v = data.GetValue();
        v.SetReal(v.AsDouble() * GetProperty(L"Factor")->GetReal());
        data.SetValue(v);
        SetOutputData(2, data);
        return true;
    }
};

const wchar_t* const kBlockNames[] = {L"Scale"};

}  // namespace

// The factory's class must not be local to this file: the object is exported by its name.
class TestFactory : public TModuleFactory {
  public:
    TestFactory() { SetModules(1, kBlockNames); }
    TModule* CreateModule(int index) override { return index == 0 ? new ScaleBlock : nullptr; }
};

TestFactory Factory;

extern "C" {

__attribute__((visibility("default"))) TestPluginState* TestPluginStateOf() {
    return &state;
}

__attribute__((visibility("default"))) int AppInit() {
    ++state.appInit;
    return 1;
}

__attribute__((visibility("default"))) int AppExit() {
    ++state.appExit;
    state.blocksAliveAtExit = state.blocksAlive;
    return 1;
}

__attribute__((visibility("default"))) const wchar_t* GetFileVersion() {
    return L"1.2.3.4";
}

#ifndef TEST_PLUGIN_WITHOUT_SETUP_TAG
__attribute__((visibility("default"))) const wchar_t* GetSetupTag() {
    return L"TestPlugin";
}
#endif

// Reads <Settings A = "..." .../> and remembers the attributes; anything else is counted as
// unexpected.
__attribute__((visibility("default"))) int ReadSetup(CXMLSetup* setup) {
    ++state.readSetup;
    state.settings.clear();
    CXMLToken token;
    std::wstring pendingName;
    while (setup->ReadNextToken(token)) {
        const int type = token.GetType();
        if (type == XML_TOKEN_ATTR_NAME)
            pendingName = token.GetText();
        else if (type == XML_TOKEN_ATTR_VALUE)
            state.settings.emplace_back(pendingName, token.GetText());
        else if (type == XML_TOKEN_START ? token.GetText() != L"Settings"
                                         : type != XML_TOKEN_EMPTY_END && type != XML_TOKEN_END)
            ++state.unexpectedTokens;
    }
    return 1;
}

__attribute__((visibility("default"))) int WriteSetup(CXMLSetup* setup) {
    ++state.writeSetup;
    setup->WriteStartTag(state.writeOtherElement ? L"<Other>" : L"<TestPlugin>");
    setup->WriteStartTag(L"<Settings");
    for (auto& [name, value] : state.settings)
        setup->WriteText(name + L" = \"" + value + L"\"");
    setup->WriteEndTag(L"/>");
    setup->WriteEndTag(state.writeOtherElement ? L"</Other>" : L"</TestPlugin>");
    return 1;
}

__attribute__((visibility("default"))) int InitSetup(void*) {
    ++state.initSetup;
    state.settings = {{L"Alpha", L"1"}, {L"Beta", L"fresh"}};
    return 1;
}

__attribute__((visibility("default"))) int OnEngineStart() {
    ++state.engineStart;
    TReport::Status("TestPlugin: engine started");
    return 1;
}

__attribute__((visibility("default"))) int OnEngineStop() {
    ++state.engineStop;
    TReport::Status("TestPlugin: engine stopped");
    return 1;
}
}
