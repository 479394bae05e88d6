// The module's file: names, versions, exports, libraries beside it, and the listing of every
// module in the process.

#include "qvcore/runtime/ModuleBase.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

std::string systemPath(HMODULE module)
{
    char path[MAX_PATH] = {};
    GetModuleFileNameA(module, path, sizeof path);
    return path;
}

void expectVersion(const ModuleVersion &version, unsigned long fileHigh, unsigned long fileLow,
                   unsigned long productHigh, unsigned long productLow, const char *what)
{
    EXPECT_EQ(version.fileHigh, fileHigh) << what;
    EXPECT_EQ(version.fileLow, fileLow) << what;
    EXPECT_EQ(version.productHigh, productHigh) << what;
    EXPECT_EQ(version.productLow, productLow) << what;
}

}  // namespace

TEST(ModuleFile, PathNamesAndExportsComeFromTheLoadedModule)
{
    HMODULE dll = GetModuleHandleA("qvcore.dll");
    ModuleBase module(dll);
    const std::string path = systemPath(dll);
    EXPECT_EQ(module.GetPath(), String::FromSystemMultibyte(path));
    EXPECT_EQ(module.GetDirectory(), String::FromSystemMultibyte(path.substr(0, path.rfind('\\'))));
    EXPECT_EQ(module.GetFilename(), S(L"qvcore.dll"));
    EXPECT_EQ(module.GetName(), S(L"qvcore"));
    // A module object without a handle stands for the executable.
    EXPECT_EQ(ModuleBase().GetPath(), String::FromSystemMultibyte(systemPath(nullptr)));

    EXPECT_EQ(module.GetProcedure("DllCanUnloadNow"), GetProcAddress(GetModuleHandleA("qvcore.dll"), "DllCanUnloadNow"));
    EXPECT_NE(module.GetProcedure("DllCanUnloadNow"), nullptr);
    EXPECT_EQ(module.GetProcedure("NoSuchExport"), nullptr);
}

TEST(ModuleFile, GetModuleVersionReadsFileAndProductVersionsInAllThreeForms)
{
    HMODULE dll = LoadLibraryA("qvcore_test_module.dll");
    ASSERT_NE(dll, nullptr);
    ModuleBase module(dll);
    const String path = module.GetPath();
    expectVersion(module.GetModuleVersion(), 0x00020005, 0x00070009, 0x00030000, 0x00000001, "own");
    expectVersion(ModuleBase::GetModuleVersion(dll), 0x00020005, 0x00070009, 0x00030000, 0x00000001, "by handle");
    expectVersion(ModuleBase::GetModuleVersion(path), 0x00020005, 0x00070009, 0x00030000, 0x00000001,
                  "by file name, loaded");
    FreeLibrary(dll);
    expectVersion(ModuleBase::GetModuleVersion(path), 0x00020005, 0x00070009, 0x00030000, 0x00000001,
                  "by file name, not loaded");
    expectVersion(ModuleBase::GetModuleVersion(GetModuleHandleA("qvcore.dll")), 0x00010000, 0, 0x00010000, 0, "qvcore.dll");
    expectVersion(ModuleBase::GetModuleVersion(S(L"Z:\\no\\such\\file.dll")), 0, 0, 0, 0, "missing file");
    // The test program has no version resource.
    expectVersion(ModuleBase().GetModuleVersion(), 0, 0, 0, 0, "no version resource");
}

namespace {

// A module copied into a folder of its own, with a library beside it that is nowhere else.
class LibrariesBeside : public filetest::TempDirectoryTest {
protected:
    void SetUp() override
    {
        TempDirectoryTest::SetUp();
        // The test DLLs lie beside the test program.
        std::string folder = systemPath(nullptr);
        folder.erase(folder.rfind('\\') + 1);
        ASSERT_TRUE(CopyFileA((folder + "qvcore_test_module.dll").c_str(),
                              path(S(L"qvcore_test_copy.dll")).SystemMultibyte().c_str(), TRUE));
        ASSERT_TRUE(CopyFileA((folder + "qvcore_test_lang.dll").c_str(), path(S(L"beside.dll")).SystemMultibyte().c_str(), TRUE));
        copy = LoadLibraryA(path(S(L"qvcore_test_copy.dll")).SystemMultibyte().c_str());
        ASSERT_NE(copy, nullptr);
        GetCurrentDirectoryA(sizeof elsewhere, elsewhere);
    }
    void TearDown() override
    {
        FreeLibrary(copy);
        TempDirectoryTest::TearDown();
    }
    std::string currentDirectory() const
    {
        char now[MAX_PATH] = {};
        GetCurrentDirectoryA(sizeof now, now);
        return now;
    }

    HMODULE copy = nullptr;
    char elsewhere[MAX_PATH] = {};
};

}  // namespace

TEST_F(LibrariesBeside, LocalLoadLibraryLoadsFromTheModulesFolderAndRestoresTheCurrentDirectory)
{
    ModuleBase module(copy);
    for (bool changeDirectory : {false, true}) {
        HINSTANCE library = module.LocalLoadLibrary(S(L"beside.dll"), changeDirectory);
        ASSERT_NE(library, nullptr) << "changeDirectory " << changeDirectory;
        EXPECT_EQ(String::FromSystemMultibyte(systemPath(library)).CompareNoCase(path(S(L"beside.dll"))), 0);
        EXPECT_EQ(currentDirectory(), elsewhere);
        FreeLibrary(library);

        EXPECT_EQ(module.LocalLoadLibrary(S(L"absent.dll"), changeDirectory), nullptr);
        EXPECT_EQ(currentDirectory(), elsewhere);
    }
}

// The heading and qvcore.dll's line (address, version 1.0.0.0, path): qvtool.commands' "modules" row.
TEST(ModuleFile, GetProcessInformationListsEveryModuleOnce)
{
    const std::string listing = ModuleBase::GetProcessInformation().SystemMultibyte();
    // The executable (no version resource) and the system's own modules are there too, once each.
    EXPECT_NE(listing.find("0.0.0.0                  " + systemPath(nullptr) + "\r\n"), std::string::npos) << listing;
    const std::string kernel = systemPath(GetModuleHandleA("kernel32.dll")) + "\r\n";
    size_t first = listing.find(kernel);
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(listing.find(kernel, first + 1), std::string::npos);
}
