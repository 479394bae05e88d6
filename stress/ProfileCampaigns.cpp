// Settings files: a damaged file is loaded and every section, key and value read. The contract
// allows File::Exception (the file cannot be read) and IPrivateProfile::PPException.
#include "Campaign.h"

#include "qvcore/files/File.h"
#include "qvcore/files/PrivateProfile.h"
#include "qvcore/files/FileStream.h"

#include <memory>

namespace qvstress {
namespace {

std::vector<std::string> profileSamples(Random &random)
{
    std::vector<std::string> all;
    all.push_back("[Window]\r\nTitle=Sample player\r\nPosX=120\r\nPosY=80\r\n\r\n[Audio]\r\nVolume=75\r\n");
    all.push_back("; comment\n[a]\nx = 1\n y=2 \n[b]\n[c]\nz=\n=novalue\n[a]\nx=3\n");
    std::string many;
    for (int section = 0; section < 8; ++section) {
        many += "[Section" + std::to_string(section) + "]\r\n";
        for (uint32_t key = random.Below(20); key > 0; --key)
            many += "Key" + std::to_string(key) + "=" + std::to_string(random.Next()) + "\r\n";
    }
    all.push_back(many);
    return all;
}

bool loadProfile(const std::string &input, std::string &)
{
    static const String path = File::MakePath(File::GetTempDirectory(), String(L"qvstress-profile.ini"));
    {
        FileOutputStream file(path, /*append=*/false);
        file.Write(input.data(), static_cast<int>(input.size()));
    }
    std::unique_ptr<IPrivateProfile, void (*)(IPrivateProfile *)> profile(
        CreatePrivateProfile(), [](IPrivateProfile *p) { p->Release(); });
    try {
        profile->Load(path);
        std::vector<String> sections;
        profile->GetSectionNames(sections);
        for (const String &section : sections) {
            std::vector<String> keys;
            profile->GetKeyNames(section, keys);
            for (const String &key : keys) {
                String text;
                int number = 0;
                profile->GetValue(section, key, text);
                profile->GetValue(section, key, number);
            }
        }
    } catch (const File::Exception &) {
    } catch (const IPrivateProfile::PPException &) {
    }
    return true;
}

const CampaignRegistration profile({"profile", "settings-file loading of damaged files", profileSamples,
                                    loadProfile});

}  // namespace
}  // namespace qvstress
