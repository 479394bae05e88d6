// Path text helpers: no file-system access, checked against known results.

#include "TempDirectory.h"

#include <stdexcept>

namespace {

String S(const wchar_t *text)
{
    return String(text);
}

}  // namespace

TEST(FilePath, DirnameKeepsDriveRootsAndGivesDotWithoutBackslash)
{
    EXPECT_EQ(S(L"."), File::GetDirname(S(L"name.txt")));
    EXPECT_EQ(S(L"."), File::GetDirname(S(L"C:name.txt")));
    EXPECT_EQ(S(L"."), File::GetDirname(S(L"")));
    EXPECT_EQ(S(L"C:\\"), File::GetDirname(S(L"C:\\file.txt")));
    EXPECT_EQ(S(L"C:\\"), File::GetDirname(S(L"C:\\")));
    EXPECT_EQ(S(L"d:\\"), File::GetDirname(S(L"d:\\dir")));
    EXPECT_EQ(S(L"C:\\dir"), File::GetDirname(S(L"C:\\dir\\file.txt")));
    EXPECT_EQ(S(L"C:\\dir"), File::GetDirname(S(L"C:\\dir\\")));
    EXPECT_EQ(S(L"\\\\server\\share"), File::GetDirname(S(L"\\\\server\\share\\f")));
    EXPECT_EQ(S(L"a"), File::GetDirname(S(L"a\\b")));
    EXPECT_EQ(S(L""), File::GetDirname(S(L"\\b")));
}

TEST(FilePath, BasenameCutsTheExtensionLengthUnchecked)
{
    EXPECT_EQ(S(L""), File::GetBasename(S(L""), S(L"")));
    EXPECT_EQ(S(L"\\"), File::GetBasename(S(L"C:\\"), S(L"")));
    EXPECT_EQ(S(L"name.txt"), File::GetBasename(S(L"C:name.txt"), S(L"")));
    EXPECT_EQ(S(L"name.txt"), File::GetBasename(S(L"C:\\dir\\name.txt"), S(L"")));
    EXPECT_EQ(S(L"name"), File::GetBasename(S(L"C:\\dir\\name.txt"), S(L".txt")));
    // Four units go whatever the name really ends in.
    EXPECT_EQ(S(L"photo."), File::GetBasename(S(L"C:\\dir\\photo.jpeg"), S(L".txt")));
    EXPECT_EQ(S(L"na"), File::GetBasename(S(L"C:na.txt"), S(L"abcd")));
    // A name equal to the extension stays whole.
    EXPECT_EQ(S(L".txt"), File::GetBasename(S(L"C:\\dir\\.txt"), S(L".txt")));
    EXPECT_EQ(S(L""), File::GetBasename(S(L"C:\\dir\\"), S(L"")));
    EXPECT_THROW(File::GetBasename(S(L"C:\\dir\\ab"), S(L".txt")), std::length_error);
}

TEST(FilePath, MakePathJoinsWithOneBackslashAndHonoursDrivesAndDriveRelativeNames)
{
    EXPECT_EQ(S(L"C:\\dir\\f.txt"), File::MakePath(S(L"C:\\dir"), S(L"f.txt")));
    EXPECT_EQ(S(L"C:\\dir\\f.txt"), File::MakePath(S(L"C:\\dir\\\\"), S(L"f.txt")));
    EXPECT_EQ(S(L"C:\\f.txt"), File::MakePath(S(L"C:\\"), S(L"f.txt")));
    EXPECT_EQ(S(L"f.txt"), File::MakePath(S(L""), S(L"f.txt")));
    EXPECT_EQ(S(L"C:\\dir"), File::MakePath(S(L"C:\\dir"), S(L"")));
    // A name with one leading backslash goes onto the drive of the directory.
    EXPECT_EQ(S(L"C:\\other\\f.txt"), File::MakePath(S(L"C:\\dir\\sub"), S(L"\\other\\f.txt")));
    EXPECT_EQ(S(L"D:\\f"), File::MakePath(S(L"D:"), S(L"\\f")));
    // Two leading backslashes are not drive-relative.
    EXPECT_EQ(S(L"C:\\dir\\\\\\srv\\f"), File::MakePath(S(L"C:\\dir"), S(L"\\\\srv\\f")));
    EXPECT_EQ(S(L"\\f"), File::MakePath(S(L"\\\\"), S(L"f")));
}

TEST(FilePath, ExtensionTitleCutAndSwitchLookOnlyAfterTheLastBackslash)
{
    EXPECT_EQ(S(L".gz"), File::GetFileExtension(S(L"C:\\d\\archive.tar.gz")));
    EXPECT_EQ(S(L""), File::GetFileExtension(S(L"C:\\d.x\\file")));
    EXPECT_EQ(S(L"."), File::GetFileExtension(S(L"C:\\d\\file.")));
    EXPECT_EQ(S(L"archive.tar"), File::GetFileTitleA(S(L"C:\\d\\archive.tar.gz")));
    EXPECT_EQ(S(L"file"), File::GetFileTitleA(S(L"C:\\d.x\\file")));
    EXPECT_EQ(S(L"C:\\d\\archive.tar"), File::CutExtension(S(L"C:\\d\\archive.tar.gz")));
    EXPECT_EQ(S(L"C:\\d.x\\file"), File::CutExtension(S(L"C:\\d.x\\file")));
    EXPECT_EQ(S(L"name"), File::CutExtension(S(L"name.txt"), S(L".txt")));
    EXPECT_EQ(S(L"C:\\d\\f.bak"), File::SwitchExtension(S(L"C:\\d\\f.txt"), S(L".bak")));
    EXPECT_EQ(S(L"C:\\d.x\\f.bak"), File::SwitchExtension(S(L"C:\\d.x\\f"), S(L".bak")));
    EXPECT_EQ(S(L"C:\\d\\fbak"), File::SwitchExtension(S(L"C:\\d\\f.txt"), S(L"bak")));
}

TEST(FilePath, DriveRootsAndAbsolutePaths)
{
    EXPECT_TRUE(File::IsDriveRoot(S(L"C:\\")));
    EXPECT_TRUE(File::IsDriveRoot(S(L"z:\\")));
    EXPECT_FALSE(File::IsDriveRoot(S(L"C:")));
    EXPECT_FALSE(File::IsDriveRoot(S(L"C:\\x")));
    EXPECT_FALSE(File::IsDriveRoot(S(L"C:/")));
    EXPECT_FALSE(File::IsDriveRoot(S(L"1:\\")));
    EXPECT_FALSE(File::IsDriveRoot(S(L"")));

    EXPECT_TRUE(File::IsPathAbsolute(S(L"C:\\")));
    EXPECT_TRUE(File::IsPathAbsolute(S(L"c:\\dir\\f")));
    EXPECT_TRUE(File::IsPathAbsolute(S(L"\\\\server\\share")));
    EXPECT_FALSE(File::IsPathAbsolute(S(L"C:dir")));
    EXPECT_FALSE(File::IsPathAbsolute(S(L"\\dir")));
    EXPECT_FALSE(File::IsPathAbsolute(S(L"dir\\f")));
    EXPECT_FALSE(File::IsPathAbsolute(S(L"")));
}

TEST(FilePath, CleanFilenameReplacesTheNineReservedCharactersOnly)
{
    String name(L"a<b>c:d\"e/f\\g|h?i*j.k l~");
    File::CleanFilename(name, '_');
    EXPECT_EQ(S(L"a_b_c_d_e_f_g_h_i_j.k l~"), name);
    String clean(L"report 2004.txt");
    File::CleanFilename(clean, '-');
    EXPECT_EQ(S(L"report 2004.txt"), clean);
}

TEST(FilePath, CompactPathFitsTheCountWithAnEllipsis)
{
    String path(L"C:\\Documents\\Projects\\Holiday pictures 2004\\Beach\\sunset over the sea.jpeg");
    String compact = File::CompactPath(path, 30);
    EXPECT_LE(compact.length(), 30u);
    EXPECT_NE(String::npos, compact.find(S(L"...")));
    EXPECT_EQ(path, File::CompactPath(path, 200));
}
