// Path text helpers: no file-system access, checked against known results.

#include "tests/support/TempDirectory.h"

#include <stdexcept>

TEST(FilePath, DirnameKeepsDriveRootsAndGivesDotWithoutBackslash)
{
    const wchar_t *cases[][2] = {
        {L"name.txt", L"."}, {L"C:name.txt", L"."}, {L"", L"."}, {L"C:\\file.txt", L"C:\\"}, {L"C:\\", L"C:\\"},
        {L"d:\\dir", L"d:\\"}, {L"C:\\dir\\file.txt", L"C:\\dir"}, {L"C:\\dir\\", L"C:\\dir"},
        {L"\\\\server\\share\\f", L"\\\\server\\share"}, {L"a\\b", L"a"}, {L"\\b", L""}};
    for (auto &c : cases)
        EXPECT_EQ(String(c[1]), File::GetDirname(c[0])) << c[0];
}

TEST(FilePath, BasenameCutsTheExtensionLengthUnchecked)
{
    // Four units go whatever the name really ends in; a name equal to the extension stays whole.
    const wchar_t *cases[][3] = {
        {L"", L"", L""}, {L"C:\\", L"", L"\\"}, {L"C:name.txt", L"", L"name.txt"},
        {L"C:\\dir\\name.txt", L"", L"name.txt"}, {L"C:\\dir\\name.txt", L".txt", L"name"},
        {L"C:\\dir\\photo.jpeg", L".txt", L"photo."}, {L"C:na.txt", L"abcd", L"na"},
        {L"C:\\dir\\.txt", L".txt", L".txt"}, {L"C:\\dir\\", L"", L""}};
    for (auto &c : cases)
        EXPECT_EQ(String(c[2]), File::GetBasename(c[0], c[1])) << c[0] << " " << c[1];
    EXPECT_THROW(File::GetBasename(L"C:\\dir\\ab", L".txt"), std::length_error);
}

TEST(FilePath, MakePathJoinsWithOneBackslashAndHonoursDrivesAndDriveRelativeNames)
{
    // One leading backslash puts the name onto the directory's drive; two are not drive-relative.
    const wchar_t *cases[][3] = {
        {L"C:\\dir", L"f.txt", L"C:\\dir\\f.txt"}, {L"C:\\dir\\\\", L"f.txt", L"C:\\dir\\f.txt"},
        {L"C:\\", L"f.txt", L"C:\\f.txt"}, {L"", L"f.txt", L"f.txt"}, {L"C:\\dir", L"", L"C:\\dir"},
        {L"C:\\dir\\sub", L"\\other\\f.txt", L"C:\\other\\f.txt"}, {L"D:", L"\\f", L"D:\\f"},
        {L"C:\\dir", L"\\\\srv\\f", L"C:\\dir\\\\\\srv\\f"}, {L"\\\\", L"f", L"\\f"}};
    for (auto &c : cases)
        EXPECT_EQ(String(c[2]), File::MakePath(c[0], c[1])) << c[0] << " + " << c[1];
}

TEST(FilePath, ExtensionTitleCutAndSwitchLookOnlyAfterTheLastBackslash)
{
    EXPECT_EQ(String(L".gz"), File::GetFileExtension(L"C:\\d\\archive.tar.gz"));
    EXPECT_EQ(String(L""), File::GetFileExtension(L"C:\\d.x\\file"));
    EXPECT_EQ(String(L"."), File::GetFileExtension(L"C:\\d\\file."));
    EXPECT_EQ(String(L"archive.tar"), File::GetFileTitleA(L"C:\\d\\archive.tar.gz"));
    EXPECT_EQ(String(L"file"), File::GetFileTitleA(L"C:\\d.x\\file"));
    EXPECT_EQ(String(L"C:\\d\\archive.tar"), File::CutExtension(L"C:\\d\\archive.tar.gz"));
    EXPECT_EQ(String(L"C:\\d.x\\file"), File::CutExtension(L"C:\\d.x\\file"));
    EXPECT_EQ(String(L"name"), File::CutExtension(L"name.txt", L".txt"));
    EXPECT_EQ(String(L"C:\\d\\f.bak"), File::SwitchExtension(L"C:\\d\\f.txt", L".bak"));
    EXPECT_EQ(String(L"C:\\d.x\\f.bak"), File::SwitchExtension(L"C:\\d.x\\f", L".bak"));
    EXPECT_EQ(String(L"C:\\d\\fbak"), File::SwitchExtension(L"C:\\d\\f.txt", L"bak"));
}

TEST(FilePath, DriveRootsAndAbsolutePaths)
{
    struct Case {
        const wchar_t *path;
        bool root, absolute;
    };
    const Case cases[] = {{L"C:\\", true, true},   {L"z:\\", true, true},        {L"C:", false, false},
                          {L"C:\\x", false, true}, {L"C:/", false, false},       {L"1:\\", false, false},
                          {L"", false, false},     {L"\\\\server\\share", false, true}, {L"C:dir", false, false},
                          {L"\\dir", false, false}, {L"dir\\f", false, false}};
    for (const Case &c : cases) {
        EXPECT_EQ(c.root, File::IsDriveRoot(c.path)) << c.path;
        EXPECT_EQ(c.absolute, File::IsPathAbsolute(c.path)) << c.path;
    }
}

TEST(FilePath, CleanFilenameReplacesTheNineReservedCharactersOnly)
{
    String name(L"a<b>c:d\"e/f\\g|h?i*j.k l~ 2004");
    File::CleanFilename(name, '-');
    EXPECT_EQ(String(L"a-b-c-d-e-f-g-h-i-j.k l~ 2004"), name);
}

TEST(FilePath, CompactPathFitsTheCountWithAnEllipsis)
{
    String path(L"C:\\Documents\\Projects\\Holiday pictures 2004\\Beach\\sunset over the sea.jpeg");
    String compact = File::CompactPath(path, 30);
    EXPECT_LE(compact.length(), 30u);
    EXPECT_NE(String::npos, compact.find(String(L"...")));
    // A path that already fits comes back whole, however large the count.
    for (unsigned count : {static_cast<unsigned>(path.length()), 200u, 0x7FFFFFF0u, 0xFFFFFFFFu})
        EXPECT_EQ(path, File::CompactPath(path, count)) << count;
    String longPath = String(L"C:\\") + String::FromChar('a', 300);
    EXPECT_EQ(longPath, File::CompactPath(longPath, 1000));
}
