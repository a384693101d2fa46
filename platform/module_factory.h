// How the platform finds a plug-in's block types: one factory object per plug-in, exported by
// the name "Factory" (see platform/plugin.h).
#pragma once

class TModule;
class TPropertyPage;

class TModuleFactory {
  public:
    TModuleFactory() = default;
    virtual ~TModuleFactory();
    TModuleFactory(const TModuleFactory&) = delete;
    TModuleFactory& operator=(const TModuleFactory&) = delete;

    // A new block of type `index` (0 .. GetModuleCount() - 1), owned by the caller; null for
    // any other index. The base makes none.
    virtual TModule* CreateModule(int index);
    // A new stand-alone property page, owned by the caller; null when there is none.
    virtual TPropertyPage* CreatePage(int index);

    // Served from the count and names the derived class set; null names outside the range.
    int GetModuleCount() const { return moduleCount_; }
    const wchar_t* GetModuleName(int index) const;
    int GetPageCount() const { return pageCount_; }
    const wchar_t* GetPageName(int index) const;

  protected:
    // `names` must outlive the factory (a static array).
    void SetModules(int count, const wchar_t* const* names);
    void SetPages(int count, const wchar_t* const* names);

  private:
    int moduleCount_ = 0;
    const wchar_t* const* moduleNames_ = nullptr;
    int pageCount_ = 0;
    const wchar_t* const* pageNames_ = nullptr;
};
