// A language file: the program's texts come from a resource-only DLL of the user's language
// when one exists (language-de.dll beside the program), else from the program itself.
#include "qvcore/runtime/Application.h"

#include "resource.h"

#include <cstdio>

class Greeter : public ConsoleApplication {
protected:
    // Asked once, while Run() initialises the module: names the language file for a language.
    // A file that does not exist simply leaves the program's own texts in use.
    bool GetLanguageDLLName(unsigned short language, const String &modulePath, String &path) override
    {
        const wchar_t *suffix = PRIMARYLANGID(language) == LANG_GERMAN ? L"de"
                              : PRIMARYLANGID(language) == LANG_FRENCH ? L"fr"
                                                                      : nullptr;
        if (!suffix)
            return false;
        // Beside the program: its folder is modulePath up to the last backslash.
        String folder = modulePath.substr(0, modulePath.rfind('\\') + 1);
        path = folder + String(L"language-") + String(suffix) + String(L".dll");
        return true;
    }

    void Execute() override
    {
        // Texts come from the language file while one is in use, from the program otherwise.
        std::printf("language file: %s\n", GetResources() == GetModule() ? "none" : "in use");
        std::printf("  %s\n", LoadString(IDS_GREETING).Utf8().c_str());
        std::printf("  %s\n", String::FromFormat(this, IDS_FILES_COPIED, 3).Utf8().c_str());
    }
};

int main()
{
    // German: language-de.dll is found and used.
    ModuleBase::SetLanguage(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN));
    {
        Greeter greeter;
        greeter.Run(GetModuleHandleA(nullptr));
    }
    // French: there is no language-fr.dll, so the program's own texts stay in use.
    ModuleBase::SetLanguage(MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH));
    {
        Greeter greeter;
        greeter.Run(GetModuleHandleA(nullptr));
    }
    return 0;
}
