#include "platform/module.h"
#include "platform/module_factory.h"

namespace {

bool ValidIndex(int index) {
    return index >= 0 && index < MODULE_DATA_COUNT;
}

}  // namespace

TModule::TModule(std::wstring moduleName)
    : moduleName_(std::move(moduleName)), dataLock_(1, 1, "block data") {}

TModule::~TModule() = default;

TProperty* TModule::AddProperty(TProperty property) {
    if (GetProperty(property.GetName()) != nullptr)
        return nullptr;
    properties_.push_back(std::make_unique<TProperty>(std::move(property)));
    return properties_.back().get();
}

TProperty* TModule::GetProperty(const std::wstring& name) {
    for (auto& p : properties_) {
        if (p->GetName() == name)
            return p.get();
    }
    return nullptr;
}

const TProperty* TModule::GetProperty(const std::wstring& name) const {
    return const_cast<TModule*>(this)->GetProperty(name);
}

TProperty* TModule::GetProperty(int index) {
    if (index < 0 || index >= GetPropertyCount())
        return nullptr;
    return properties_[static_cast<std::size_t>(index)].get();
}

const TProperty* TModule::GetProperty(int index) const {
    return const_cast<TModule*>(this)->GetProperty(index);
}

std::wstring TModule::GetInputName(int /*index*/) const {
    return {};
}
std::wstring TModule::GetOutputName(int /*index*/) const {
    return {};
}

TModule* TModule::GetInputModule(int index) const {
    return ValidIndex(index) ? inputs_[index].module : nullptr;
}

int TModule::GetInputModuleIndex(int index) const {
    return ValidIndex(index) ? inputs_[index].index : -1;
}

bool TModule::GetInputData(int index, CSensorData& data) const {
    if (!ValidIndex(index) || inputs_[index].module == nullptr)
        return false;
    const TModule& source = *inputs_[index].module;
    TModuleDataLock lock(source);
    data = source.data_[inputs_[index].index];
    return true;
}

bool TModule::LockData(DWORD ms) const {
    return dataLock_.Lock(ms);
}

void TModule::UnlockData() const {
    dataLock_.Unlock();
}

CSensorData& TModule::GetData(int index) {
    return data_[ValidIndex(index) ? index : 0];
}

const CSensorData& TModule::GetData(int index) const {
    return data_[ValidIndex(index) ? index : 0];
}

void TModule::SetOutputData(int index, const CSensorData& data) {
    if (!ValidIndex(index))
        return;
    TModuleDataLock lock(*this);
    data_[index] = data;
}

bool TModule::IsEnabled() const {
    return enabled_.load();
}

void TModule::SetEnabled(bool enabled) {
    enabled_.store(enabled);
}

bool TModule::Execute() {
    return false;
}
bool TModule::Start() {
    return true;
}
void TModule::Stop() {}
void TModule::Reset() {}
bool TModule::EditProperties() {
    return false;
}
std::wstring TModule::GetStatusText() const {
    return {};
}

bool TModule::GetNextRunTime(TTime /*from*/, TTime& /*next*/) const {
    return false;
}

void TModule::ConnectInput(int index, TModule* source, int sourceIndex) {
    if (!ValidIndex(index))
        return;
    inputs_[index] = Input{source, ValidIndex(sourceIndex) ? sourceIndex : 0};
}

void TModule::DisconnectInputs() {
    for (auto& input : inputs_)
        input = Input{};
}

TModuleFactory::~TModuleFactory() = default;

TModule* TModuleFactory::CreateModule(int /*index*/) {
    return nullptr;
}

TPropertyPage* TModuleFactory::CreatePage(int /*index*/) {
    return nullptr;
}

const wchar_t* TModuleFactory::GetModuleName(int index) const {
    if (index < 0 || index >= moduleCount_ || moduleNames_ == nullptr)
        return nullptr;
    return moduleNames_[index];
}

const wchar_t* TModuleFactory::GetPageName(int index) const {
    if (index < 0 || index >= pageCount_ || pageNames_ == nullptr)
        return nullptr;
    return pageNames_[index];
}

void TModuleFactory::SetModules(int count, const wchar_t* const* names) {
    moduleCount_ = count > 0 ? count : 0;
    moduleNames_ = names;
}

void TModuleFactory::SetPages(int count, const wchar_t* const* names) {
    pageCount_ = count > 0 ? count : 0;
    pageNames_ = names;
}
