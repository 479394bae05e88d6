// One settings file loaded and saved again, as a whole process: bench/profile-bench.sh times it
// beside Python's configparser doing the same to the same file.
//   ProfileBench IN OUT

#include "qvcore/files/File.h"
#include "qvcore/files/PrivateProfile.h"

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: ProfileBench IN OUT\n");
        return 2;
    }
    IPrivateProfile *profile = CreatePrivateProfile();
    int status = 0;
    try {
        profile->Load(String::FromSystemMultibyte(argv[1]));
        profile->Save(String::FromSystemMultibyte(argv[2]));
    } catch (const File::Exception &e) {
        std::fprintf(stderr, "ProfileBench: %s\n", e.message.Utf8().c_str());
        status = 1;
    }
    profile->Release();
    return status;
}
