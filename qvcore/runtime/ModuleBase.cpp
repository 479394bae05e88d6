// The module object's life: the process-wide list, the language settings and the choice of a
// language file when a module initialises.

#include "qvcore/runtime/ModuleBase.h"

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/runtime/SysInfo.h"

#include <algorithm>
#include <cstdio>

namespace {

// Modules initialise on the thread that loads them (Concurrency in the header's terms: the
// list and the settings are not locked). Function-local so that modules initialising while
// other DLLs are constructed find them ready.
std::vector<ModuleBase *> &moduleList()
{
    static std::vector<ModuleBase *> modules;
    return modules;
}

struct LanguageSettings {
    bool set = false;
    unsigned short language = 0;
    ILanguageDLLName *naming = nullptr;
    double horizontal = 1.0;
    double vertical = 1.0;
};

LanguageSettings &settings()
{
    static LanguageSettings values;
    return values;
}

bool sameFileVersion(const ModuleVersion &a, const ModuleVersion &b)
{
    return a.fileHigh == b.fileHigh && a.fileLow == b.fileLow;
}

std::string warningText(const String &path, const ModuleVersion &language, const ModuleVersion &module)
{
    const char format[] = "The version of the language file '%s' (%i.%i.%i.%i) does not match the application's "
                          "version (%i.%i.%i.%i).\nThe application will use the default language.";
    const std::string narrowPath = path.SystemMultibyte();
    auto print = [&](char *buffer, size_t size) {
        return std::snprintf(buffer, size, format, narrowPath.c_str(), HIWORD(language.fileHigh),
                             LOWORD(language.fileHigh), HIWORD(language.fileLow), LOWORD(language.fileLow),
                             HIWORD(module.fileHigh), LOWORD(module.fileHigh), HIWORD(module.fileLow),
                             LOWORD(module.fileLow));
    };
    std::string text(static_cast<size_t>(print(nullptr, 0)), '\0');
    print(&text[0], text.size() + 1);
    return text;
}

}  // namespace

ModuleBase::ModuleBase(HINSTANCE module) : module_(module), resources_(module), useModule_(false) {}

ModuleBase::~ModuleBase()
{
    // A module destroyed without Free() must not stay behind in the list as a dangling entry.
    Free();
    releaseLanguageFile();
}

void ModuleBase::releaseLanguageFile()
{
    // The language file is the object's own whenever it is not the module itself.
    ScopedLibrary languageFile(resources_ != module_ ? resources_ : nullptr);
    resources_ = module_;
}

HINSTANCE ModuleBase::GetHInstance(const void *address)
{
    return SystemText::ModuleOfAddress(address);
}

const std::vector<ModuleBase *> &ModuleBase::GetModules()
{
    return moduleList();
}

ModuleBase *ModuleBase::GetModule(const String &name)
{
    for (ModuleBase *module : moduleList()) {
        if (module->GetName().CompareNoCase(name) == 0 || module->GetFilename().CompareNoCase(name) == 0)
            return module;
    }
    return nullptr;
}

void ModuleBase::SetLanguage(unsigned short language, ILanguageDLLName *naming)
{
    settings().set = true;
    settings().language = language;
    settings().naming = naming;
}

unsigned short ModuleBase::GetLanguage()
{
    if (!settings().set) {
        settings().language = GetUserDefaultUILanguage();
        settings().set = true;
    }
    return settings().language;
}

void ModuleBase::SetDialogScalingFactors(double horizontal, double vertical)
{
    settings().horizontal = horizontal;
    settings().vertical = vertical;
}

void ModuleBase::GetDialogScalingFactors(double &horizontal, double &vertical)
{
    horizontal = settings().horizontal;
    vertical = settings().vertical;
}

String ModuleBase::GetName() const
{
    if (!displayName_.empty())
        return displayName_;
    String name = GetFilename();
    String::size_type dot = name.find_last_of('.');
    return dot == String::npos ? name : String(name.substr(0, dot));
}

void ModuleBase::SetDisplayName(const String &name, bool allModules)
{
    if (!allModules) {
        displayName_ = name;
        return;
    }
    for (ModuleBase *module : moduleList())
        module->displayName_ = name;
}

bool ModuleBase::GetLanguageDLLName(unsigned short, const String &, String &)
{
    return false;
}

void ModuleBase::Init(HINSTANCE module)
{
    releaseLanguageFile();
    module_ = resources_ = module;
    std::vector<ModuleBase *> &modules = moduleList();
    if (std::find(modules.begin(), modules.end(), this) == modules.end())
        modules.push_back(this);

    const unsigned short language = GetLanguage();
    const String modulePath = GetPath();
    String path;
    ILanguageDLLName *naming = settings().naming;
    bool named = naming && naming->GetLanguageDLLName(language, modulePath, path);
    if (!named) {
        path.clear();
        named = GetLanguageDLLName(language, modulePath, path);
    }
    if (named) {
        if (HINSTANCE languageFile = loadLanguageFile(path))
            resources_ = languageFile;
    }
}

HINSTANCE ModuleBase::loadLanguageFile(const String &path) const
{
    ScopedLibrary library(LoadLibraryA(path.SystemMultibyte().c_str()));
    // A path naming the module itself loads nothing new: the module serves its own resources,
    // and the reference just taken goes again (kept, it would never be released).
    if (!library || library.get() == moduleOrExecutable())
        return nullptr;
    // Translations made for another release may lack or misnumber its texts: only a file of
    // the module's own version is used, unless the user has switched the check off.
    if (SysInfo::GetEnvironmentVariableA(String(L"QVCORE_NOLANGVERCHECK")) == String(L"1"))
        return library.release();
    const ModuleVersion languageVersion = GetModuleVersion(library.get());
    const ModuleVersion moduleVersion = GetModuleVersion();
    if (sameFileVersion(languageVersion, moduleVersion))
        return library.release();
    MessageBoxA(nullptr, warningText(path, languageVersion, moduleVersion).c_str(), "Warning", MB_ICONEXCLAMATION);
    return nullptr;
}

void ModuleBase::Free()
{
    std::vector<ModuleBase *> &modules = moduleList();
    modules.erase(std::remove(modules.begin(), modules.end(), this), modules.end());
}

int ModuleBase::MessageBox(HWND owner, const char *text, const char *caption, unsigned int type) const
{
    const std::string name = caption ? std::string() : GetName().SystemMultibyte();
    return ::MessageBoxA(owner, text, caption ? caption : name.c_str(), type);
}
