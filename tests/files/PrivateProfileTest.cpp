// Settings files through the system's private-profile functions, on real files.

#include "tests/support/TempDirectory.h"

#include "qvcore/files/PrivateProfile.h"

#include <memory>

using filetest::writeFile;

namespace {

struct Releaser {
    void operator()(IPrivateProfile *profile) const { profile->Release(); }
};
using Profile = std::unique_ptr<IPrivateProfile, Releaser>;

Profile newProfile()
{
    return Profile(CreatePrivateProfile());
}

// A new profile loaded from file.
Profile loadedFrom(const String &file, const char *signature = nullptr)
{
    Profile profile = newProfile();
    if (signature)
        profile->SetSignature(signature);
    profile->Load(file);
    return profile;
}

// Sections and entries in map order, "[s]k=v;..." for one-line comparisons.
std::string dump(IPrivateProfile &profile)
{
    std::string text;
    std::vector<String> sections, keys;
    profile.GetSectionNames(sections);
    for (const String &section : sections) {
        text += "[" + section.Utf8() + "]";
        profile.GetKeyNames(section, keys);
        for (const String &key : keys) {
            String value;
            profile.GetValue(section, key, value);
            text += key.Utf8() + "=" + value.Utf8() + ";";
        }
    }
    return text;
}

class PrivateProfileTest : public filetest::TempDirectoryTest {};

}  // namespace

TEST_F(PrivateProfileTest, TypedValuesAreSignedDecimalTextAndReadBackToTheSameBits)
{
    Profile profile = newProfile();
    const String s(L"Values");
    profile->SetValue(s, String(L"u32"), 0xFFFFFFFFu);
    profile->SetValue(s, String(L"u64"), 0x8000000000000001ull);
    profile->SetValue(s, String(L"u16"), static_cast<unsigned short>(65535));
    profile->SetValue(s, String(L"i16"), static_cast<short>(-2));
    profile->SetValue(s, String(L"flag"), true);
    profile->SetValue(s, String(L"ratio"), 1.5);
    profile->SetValue(s, String(L"Pos"), Point(-3, 4));
    profile->SetValue(s, String(L"Frame"), Rect(1, 2, 3, 0x80000000));
    EXPECT_EQ("[Values]FrameBottom=-2147483648;FrameLeft=1;FrameRight=3;FrameTop=2;PosX=-3;PosY=4;flag=1;"
              "i16=-2;ratio=1.500000;u16=65535;u32=-1;u64=-9223372036854775807;",
              dump(*profile));

    profile->Save(path(L"typed.ini"));
    Profile loaded = loadedFrom(path(L"typed.ini"));
    unsigned int u32 = 0;
    unsigned long long u64 = 0;
    unsigned short u16 = 0;
    short i16 = 0;
    double ratio = 0;
    Point pos;
    Rect frame;
    EXPECT_TRUE(loaded->GetValue(s, String(L"u32"), u32) && loaded->GetValue(s, String(L"u64"), u64) &&
                loaded->GetValue(s, String(L"u16"), u16) && loaded->GetValue(s, String(L"i16"), i16) &&
                loaded->GetValue(s, String(L"ratio"), ratio) && loaded->GetValue(s, String(L"Pos"), pos) &&
                loaded->GetValue(s, String(L"Frame"), frame));
    EXPECT_EQ(0xFFFFFFFFu, u32);
    EXPECT_EQ(0x8000000000000001ull, u64);
    EXPECT_EQ(65535, u16);
    EXPECT_EQ(-2, i16);
    EXPECT_EQ(1.5, ratio);
    EXPECT_EQ(Point(-3, 4), pos);
    EXPECT_EQ(Rect(1, 2, 3, 0x80000000), frame);
}

TEST_F(PrivateProfileTest, GettersReadLeadingNumbersAndLeaveMissingValuesUntouched)
{
    Profile profile = newProfile();
    const String s(L"S");
    const struct { const wchar_t *text; int asInt; bool asBool; double asDouble; } cases[] = {
        {L"2", 2, true, 2}, {L"word", 0, false, 0}, {L"  -17 apples", -17, true, -17},
        {L"0x10", 0, false, 0}, {L"2.5e2x", 2, true, 250}, {L"", 0, false, 0},
    };
    for (const auto &c : cases) {
        profile->SetValue(s, String(L"k"), String(c.text));
        int asInt = 99;
        bool asBool = !c.asBool;
        double asDouble = 99;
        EXPECT_TRUE(profile->GetValue(s, String(L"k"), asInt) && profile->GetValue(s, String(L"k"), asBool) &&
                    profile->GetValue(s, String(L"k"), asDouble));
        EXPECT_EQ(c.asInt, asInt) << String(c.text).Utf8();
        EXPECT_EQ(c.asBool, asBool) << String(c.text).Utf8();
        EXPECT_EQ(c.asDouble, asDouble) << String(c.text).Utf8();
    }
    profile->SetValue(s, String(L"OnlyX"), String(L"5"));
    Point point(7, 7);
    int untouched = 42;
    EXPECT_FALSE(profile->GetValue(s, String(L"Only"), point));  // the Y key is missing
    EXPECT_EQ(Point(7, 7), point);
    EXPECT_FALSE(profile->GetValue(String(L"none"), String(L"k"), untouched));
    EXPECT_FALSE(profile->GetValue(s, String(L"none"), untouched));
    EXPECT_EQ(42, untouched);

    profile->DeleteKey(s, String(L"k"));
    profile->DeleteKey(s, String(L"OnlyX"));
    std::vector<String> keys;
    EXPECT_TRUE(profile->GetKeyNames(s, keys));  // an emptied section stays
    EXPECT_TRUE(keys.empty());
    profile->DeleteSection(s);
    keys.push_back(String(L"stale"));
    EXPECT_FALSE(profile->GetKeyNames(s, keys));
    EXPECT_TRUE(keys.empty()) << "a missing section's keys are none, not the last ones";
}

// Hand-written files (comments, spaces, either line end, the ANSI code page): files.profile-interop.
TEST_F(PrivateProfileTest, ARelativeNameMeansTheCurrentFolderAsForFile)
{
    // The system's profile functions alone would look in the Windows folder.
    writeFile(path(L"hand.ini"), "[Unix]\nA=1\n");
    enter();
    Profile relative = loadedFrom(String(L"hand.ini"));
    relative->SetValue(String(L"Unix"), String(L"C"), String(L"3"));
    relative->Save(String(L"saved.ini"));
    EXPECT_EQ("[Unix]A=1;C=3;", dump(*loadedFrom(path(L"saved.ini"))));
}

TEST_F(PrivateProfileTest, SignatureMismatchesAndMissingFilesThrowAndChangeNothing)
{
    Profile profile = newProfile();
    profile->SetSignature("QVSET1\r\n");
    profile->SetValue(String(L"Kept"), String(L"k"), String(L"v"));
    writeFile(path(L"short.ini"), "QVS");
    writeFile(path(L"other.ini"), "XXXXXX\r\n[S]\r\nk=1\r\n");
    for (const wchar_t *name : {L"short.ini", L"other.ini"}) {
        using Mismatch = IPrivateProfile::PPException;
        const Mismatch e = expect::exceptionOf<Mismatch>([&] { profile->Load(path(name)); });
        EXPECT_EQ(1, e.code) << String(name).Utf8();
        EXPECT_FALSE(e.message.empty()) << String(name).Utf8();
    }
    EXPECT_EXCEPTION(File::Exception, profile->Load(path(L"missing.ini")),
                     ERROR_FILE_NOT_FOUND, String::FromError(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ("[Kept]k=v;", dump(*profile));

    // The signature leads the saved file, and the file loads again.
    profile->Save(path(L"signed.ini"));
    EXPECT_EQ("QVSET1\r\n", filetest::readFile(path(L"signed.ini")).substr(0, 8));
    EXPECT_EQ("[Kept]k=v;", dump(*loadedFrom(path(L"signed.ini"), "QVSET1\r\n")));
}

TEST_F(PrivateProfileTest, SectionsDifferingInCaseAreTwoInMemoryAndMeetInTheFile)
{
    Profile profile = newProfile();
    profile->SetValue(String(L"Case"), String(L"a"), String(L"1"));
    profile->SetValue(String(L"case"), String(L"b"), String(L"2"));
    EXPECT_EQ("[Case]a=1;[case]b=2;", dump(*profile));
    profile->Save(path(L"case.ini"));
    // The system's functions match section names without regard to case: writing "case"
    // replaced the entries of "Case", whose name the file keeps.
    EXPECT_EQ("[Case]b=2;", dump(*loadedFrom(path(L"case.ini"))));
}

TEST_F(PrivateProfileTest, TenThousandKeysSaveAndLoadWhileTooManySectionNamesLoadNothing)
{
    Profile profile = newProfile();
    for (int i = 0; i < 10000; ++i)
        profile->SetValue(String(L"S") + String::FromNum(i / 1000), String(L"Key") + String::FromNum(i), i);
    profile->Save(path(L"big.ini"));
    Profile loaded = loadedFrom(path(L"big.ini"));
    EXPECT_EQ(dump(*profile), dump(*loaded));

    // 3,000 names of 12 bytes do not fit the 32,767 bytes the names are read into.
    std::string many;
    for (int i = 0; i < 3000; ++i)
        many += "[Section" + std::to_string(10000 + i) + "]\r\nk=v\r\n";
    writeFile(path(L"many.ini"), many);
    Profile none = newProfile();
    EXPECT_FALSE(loaded->IsSectionListCut());
    none->Load(path(L"many.ini"));
    std::vector<String> names;
    none->GetSectionNames(names);
    EXPECT_TRUE(names.empty());
    // The client can tell, and the file it could not read is not overwritten with nothing.
    EXPECT_TRUE(none->IsSectionListCut());
    none->SetValue(String(L"New"), String(L"k"), 1);
    EXPECT_EXCEPTION(File::Exception, none->Save(path(L"many.ini")),
                     ERROR_MORE_DATA, String::FromError(ERROR_MORE_DATA));
    EXPECT_EXCEPTION(File::Exception, none->WriteSections(), ERROR_MORE_DATA, String::FromError(ERROR_MORE_DATA));
    EXPECT_EQ(many, filetest::readFile(path(L"many.ini")));
    none->Save(path(L"other.ini"));  // another file may be written
    none->Load(path(L"other.ini"));
    EXPECT_FALSE(none->IsSectionListCut());
}
