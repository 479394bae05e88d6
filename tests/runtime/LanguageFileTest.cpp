// Modules as applications initialise them: the process-wide list, and language files chosen by
// the naming callback or the module's own hook, checked against the module's version.

#include "qvcore/runtime/ModuleBase.h"
#include "tests/support/MessageBoxWatcher.h"
#include "tests/support/RectPrinting.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace {

std::string narrow(const String &s) { return s.SystemMultibyte(); }

// A module whose own hook names a language file beside it (null: none), and records what it
// was asked.
class TestModule : public ModuleBase {
public:
    explicit TestModule(const char *languageFile = nullptr) : languageFile_(languageFile) {}
    using ModuleBase::Free;
    using ModuleBase::Init;

    std::vector<unsigned short> askedLanguages;
    std::vector<String> askedPaths;

protected:
    bool GetLanguageDLLName(unsigned short language, const String &modulePath, String &path) override
    {
        askedLanguages.push_back(language);
        askedPaths.push_back(modulePath);
        if (!languageFile_)
            return false;
        path = String(modulePath.substr(0, modulePath.find_last_of('\\') + 1)) << String::FromSystemMultibyte(languageFile_);
        return true;
    }

private:
    const char *languageFile_;
};

// An application's naming callback: gives name for language 0x0407 only.
class GermanOnly : public ILanguageDLLName {
public:
    explicit GermanOnly(const char *name) : name_(name) {}
    bool GetLanguageDLLName(unsigned short language, const String &modulePath, String &path) override
    {
        ++calls;
        if (language != 0x0407)
            return false;
        path = String(modulePath.substr(0, modulePath.find_last_of('\\') + 1)) << String::FromSystemMultibyte(name_);
        return true;
    }
    int calls = 0;

private:
    const char *name_;
};

bool loaded(const char *name)
{
    return GetModuleHandleA(name) != nullptr;
}

class LanguageFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(module, nullptr) << "qvcore_test_module.dll not loaded";
        SetEnvironmentVariableA("QVCORE_NOLANGVERCHECK", nullptr);
        ModuleBase::SetLanguage(0x0409, nullptr);
    }
    void TearDown() override
    {
        SetEnvironmentVariableA("QVCORE_NOLANGVERCHECK", nullptr);
        ModuleBase::SetLanguage(0x0409, nullptr);
        // Every language file a test loaded went with its module object.
        EXPECT_FALSE(loaded("qvcore_test_lang.dll"));
        EXPECT_FALSE(loaded("qvcore_test_lang_other.dll"));
    }
    ~LanguageFiles() override { FreeLibrary(module); }

    String languagePath(const char *name) const
    {
        TestModule probe;
        probe.Init(module);
        probe.Free();
        String path = probe.GetDirectory();
        return path << String(L"\\") << String::FromSystemMultibyte(name);
    }

    const HMODULE module = LoadLibraryA("qvcore_test_module.dll");
};

}  // namespace

TEST_F(LanguageFiles, InitEntersModulesInOrderAndFreeOrDestructionRemovesThem)
{
    const std::vector<ModuleBase *> &list = ModuleBase::GetModules();
    const size_t before = list.size();
    TestModule first, second;
    first.Init(module);
    {
        TestModule third;
        second.Init(GetModuleHandleA("qvcore.dll"));
        third.Init(module);
        ASSERT_EQ(list.size(), before + 3);
        EXPECT_EQ(list[before], &first);
        EXPECT_EQ(list[before + 1], &second);
        EXPECT_EQ(list[before + 2], &third);
    }
    ASSERT_EQ(list.size(), before + 2);  // destroyed without Free
    first.Free();
    ASSERT_EQ(list.size(), before + 1);
    EXPECT_EQ(list[before], &second);

    // Without a language file the module serves its own resources.
    EXPECT_EQ(first.GetResources(), module);
    EXPECT_EQ(first.LoadString(1), S(L"Module text"));
    // The hook was asked for the current language with the module's path.
    ASSERT_EQ(first.askedLanguages.size(), 1u);
    EXPECT_EQ(first.askedLanguages[0], 0x0409);
    EXPECT_EQ(first.askedPaths[0].LowerCase().Right(22), S(L"qvcore_test_module.dll"));
}

TEST_F(LanguageFiles, NamesAndDisplayNamesFindModulesInTheList)
{
    TestModule library, other;
    library.Init(module);
    other.Init(GetModuleHandleA("qvcore.dll"));
    EXPECT_EQ(library.GetFilename(), S(L"qvcore_test_module.dll"));
    EXPECT_EQ(library.GetName(), S(L"qvcore_test_module"));
    EXPECT_EQ(ModuleBase::GetModule(S(L"QVCORE_TEST_MODULE")), &library);
    EXPECT_EQ(ModuleBase::GetModule(S(L"qvcore.DLL")), &other);
    EXPECT_EQ(ModuleBase::GetModule(S(L"absent")), nullptr);

    library.SetDisplayName(S(L"Player"));
    EXPECT_EQ(library.GetName(), S(L"Player"));
    EXPECT_EQ(other.GetName(), S(L"qvcore"));
    EXPECT_EQ(ModuleBase::GetModule(S(L"player")), &library);

    // With allModules every module in the list is renamed, and only those.
    ModuleBase outside(module);
    library.SetDisplayName(S(L"Suite"), /*allModules=*/true);
    EXPECT_EQ(library.GetName(), S(L"Suite"));
    EXPECT_EQ(other.GetName(), S(L"Suite"));
    EXPECT_EQ(outside.GetName(), S(L"qvcore_test_module"));
}

TEST_F(LanguageFiles, ALanguageFileOfTheModulesVersionServesAllButImagesUnlessTheModuleIsToBeUsed)
{
    TestModule localized("qvcore_test_lang.dll");
    localized.Init(module);
    ASSERT_TRUE(loaded("qvcore_test_lang.dll"));
    EXPECT_EQ(localized.GetResources(), GetModuleHandleA("qvcore_test_lang.dll"));
    EXPECT_EQ(localized.GetModule(), module);

    unsigned long size = 0;
    const char *data = static_cast<const char *>(localized.LoadResource(40, MAKEINTRESOURCEA(10), &size));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(data, size), "language data");
    EXPECT_EQ(localized.LoadString(1), S(L"Language text"));
    // What the language file lacks is missing: there is no fall-back to the module.
    EXPECT_EQ(localized.LoadString(2), String());
    EXPECT_EQ(localized.LoadAcceleratorsFromResource(30), nullptr);
    // Bitmaps and pictures come from the module whatever the language file holds.
    unsigned long moduleSize = 0, pictureSize = 0;
    ASSERT_NE(ModuleBase(module).LoadResource(20, "PICTURE", &moduleSize), nullptr);
    EXPECT_EQ(localized.LoadResource(20, "picture", &pictureSize),
              ModuleBase(module).LoadResource(20, "PICTURE", &moduleSize));
    EXPECT_EQ(localized.LoadResource(10, MAKEINTRESOURCEA(2)), ModuleBase(module).LoadResource(10, MAKEINTRESOURCEA(2)));
    // Dialogs are translated too (their sizes follow the texts).
    EXPECT_EQ(localized.GetDialogRect(100, /*inPixels=*/false), Rect(1, 1, 10, 10));
    // Asked as a resource target, the module names the modules those lookups used.
    const ResourceTarget &target = localized;
    EXPECT_EQ(target.GetResourceModule(MAKEINTRESOURCEA(6)), localized.GetResources());
    EXPECT_EQ(target.GetResourceModule("Picture"), module);
    EXPECT_EQ(target.GetResourceModule(MAKEINTRESOURCEA(2)), module);

    // With the use-module flag the module serves everything; the language file stays loaded.
    localized.SetUseModule(true);
    EXPECT_EQ(localized.LoadString(1), S(L"Module text"));
    EXPECT_EQ(localized.GetDialogRect(100, /*inPixels=*/false), Rect(10, 20, 210, 120));
    EXPECT_EQ(target.GetResourceModule(MAKEINTRESOURCEA(6)), module);
    EXPECT_TRUE(loaded("qvcore_test_lang.dll"));
}

TEST_F(LanguageFiles, TheNamingCallbackComesBeforeTheModulesHook)
{
    GermanOnly naming("qvcore_test_lang.dll");
    ModuleBase::SetLanguage(0x0407, &naming);
    EXPECT_EQ(ModuleBase::GetLanguage(), 0x0407);
    TestModule module1("qvcore_test_absent.dll");  // the hook's file would not even load
    module1.Init(module);
    EXPECT_EQ(naming.calls, 1);
    EXPECT_TRUE(module1.askedLanguages.empty());
    EXPECT_EQ(module1.LoadString(1), S(L"Language text"));

    // When the callback declines, the module's hook is asked.
    ModuleBase::SetLanguage(0x040C, &naming);
    TestModule module2("qvcore_test_lang.dll");
    module2.Init(module);
    EXPECT_EQ(naming.calls, 2);
    ASSERT_EQ(module2.askedLanguages.size(), 1u);
    EXPECT_EQ(module2.askedLanguages[0], 0x040C);
    EXPECT_EQ(module2.LoadString(1), S(L"Language text"));
}

TEST_F(LanguageFiles, AFileThatDoesNotLoadLeavesTheModulesResources)
{
    TestModule localized("qvcore_test_absent.dll");
    MessageBoxWatcher watcher("Warning");
    localized.Init(module);
    EXPECT_FALSE(watcher.stop().shown);
    EXPECT_EQ(localized.GetResources(), module);
    EXPECT_EQ(localized.LoadString(1), S(L"Module text"));
}

TEST_F(LanguageFiles, AFileNamingTheModuleItselfTakesNoReferenceToIt)
{
    {
        TestModule itself("qvcore_test_module.dll");
        itself.Init(module);
        EXPECT_EQ(itself.GetResources(), module);
        EXPECT_EQ(itself.LoadString(1), S(L"Module text"));
    }
    // The fixture's reference is the only one left: released, the module goes.
    ASSERT_TRUE(FreeLibrary(module));
    EXPECT_FALSE(loaded("qvcore_test_module.dll")) << "a reference taken for the language file was never released";
    LoadLibraryA("qvcore_test_module.dll");  // for the fixture to release
}

TEST_F(LanguageFiles, AnotherVersionIsRefusedWithAWarningBox)
{
    // "yes" is not the one value that turns the check off.
    SetEnvironmentVariableA("QVCORE_NOLANGVERCHECK", "yes");
    TestModule localized("qvcore_test_lang_other.dll");
    MessageBoxWatcher watcher("Warning");
    localized.Init(module);
    const MessageBoxWatcher::Seen &seen = watcher.stop();
    ASSERT_TRUE(seen.shown) << "no warning box appeared";
    EXPECT_EQ(seen.text, "The version of the language file '" + narrow(languagePath("qvcore_test_lang_other.dll")) +
                             "' (2.5.7.8) does not match the application's version (2.5.7.9).\n"
                             "The application will use the default language.");
    EXPECT_EQ(seen.owner, nullptr);
    EXPECT_EQ(seen.icon, LoadIconA(nullptr, IDI_EXCLAMATION));
    EXPECT_EQ(localized.GetResources(), module);
    EXPECT_EQ(localized.LoadString(1), S(L"Module text"));
    EXPECT_FALSE(loaded("qvcore_test_lang_other.dll"));
}

TEST_F(LanguageFiles, TheVersionCheckIsOffOnlyForTheValueOne)
{
    SetEnvironmentVariableA("QVCORE_NOLANGVERCHECK", "1");
    TestModule localized("qvcore_test_lang_other.dll");
    MessageBoxWatcher watcher("Warning");
    localized.Init(module);
    EXPECT_FALSE(watcher.stop().shown);
    EXPECT_EQ(localized.GetResources(), GetModuleHandleA("qvcore_test_lang_other.dll"));
    EXPECT_EQ(localized.LoadString(1), S(L"Language text"));
}
