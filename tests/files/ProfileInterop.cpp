// The profile as a program, for a host-side script that checks files against another reader
// and writer of the format:
//   ProfileInterop dump FILE    prints every entry as "section<TAB>key<TAB>value" in UTF-8
//   ProfileInterop write FILE   reads such lines (UTF-8) from standard input and saves them
// Exit code 1 with a message on a failure.

#include "qvcore/files/File.h"
#include "qvcore/files/PrivateProfile.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

int run(const std::string &command, const String &file)
{
    IPrivateProfile *profile = CreatePrivateProfile();
    struct Release {
        IPrivateProfile *p;
        ~Release() { p->Release(); }
    } release{profile};
    if (command == "dump") {
        profile->Load(file);
        std::vector<String> sections, keys;
        profile->GetSectionNames(sections);
        for (const String &section : sections) {
            profile->GetKeyNames(section, keys);
            for (const String &key : keys) {
                String value;
                profile->GetValue(section, key, value);
                std::printf("%s\t%s\t%s\n", section.Utf8().c_str(), key.Utf8().c_str(), value.Utf8().c_str());
            }
        }
        return 0;
    }
    if (command == "write") {
        std::string line;
        while (std::getline(std::cin, line)) {
            std::string::size_type a = line.find('\t'), b = line.find('\t', a + 1);
            if (a == std::string::npos || b == std::string::npos)
                continue;
            profile->SetValue(String::FromUtf8(line.substr(0, a)), String::FromUtf8(line.substr(a + 1, b - a - 1)),
                              String::FromUtf8(line.substr(b + 1)));
        }
        profile->Save(file);
        return 0;
    }
    std::fprintf(stderr, "usage: ProfileInterop dump|write FILE\n");
    return 2;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: ProfileInterop dump|write FILE\n");
        return 2;
    }
    try {
        return run(argv[1], String::FromSystemMultibyte(argv[2]));
    } catch (const File::Exception &e) {
        std::fprintf(stderr, "ProfileInterop: %s: %s\n", argv[2], e.message.Utf8().c_str());
    } catch (const IPrivateProfile::PPException &e) {
        std::fprintf(stderr, "ProfileInterop: %s: %s\n", argv[2], e.message.Utf8().c_str());
    }
    return 1;
}
