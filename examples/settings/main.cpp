// Settings in an INI file: typed values read and written through the library's profile.
#include "qvcore/core/Rect.h"
#include "qvcore/files/File.h"
#include "qvcore/files/PrivateProfile.h"

#include <cstdio>
#include <vector>

int main()
{
    // Relative names are taken from the current folder.
    String path(L"player.ini");
    IPrivateProfile *settings = CreatePrivateProfile();  // one reference, given back below
    try {
        settings->SetValue(String(L"Window"), String(L"Title"), String(L"Sample player"));
        settings->SetValue(String(L"Window"), String(L"Pos"), Point(120, 80));  // PosX, PosY
        settings->SetValue(String(L"Window"), String(L"Volume"), 75);
        settings->Save(path);

        IPrivateProfile *again = CreatePrivateProfile();
        again->Load(path);
        Point pos;
        int volume = 0;
        String title;
        int missing = 42;
        again->GetValue(String(L"Window"), String(L"Pos"), pos);
        again->GetValue(String(L"Window"), String(L"Volume"), volume);
        again->GetValue(String(L"Window"), String(L"Title"), title);
        bool found = again->GetValue(String(L"Window"), String(L"Missing"), missing);
        std::printf("title \"%s\", pos %ld,%ld, volume %d\n", title.Utf8().c_str(), pos.x, pos.y, volume);
        std::printf("a missing key: found %s, value left at %d\n", found ? "yes" : "no", missing);

        std::vector<String> keys;
        again->GetKeyNames(String(L"Window"), keys);
        std::printf("keys:");
        for (const String &key : keys)
            std::printf(" %s", key.Utf8().c_str());
        std::printf("\n");
        again->Release();

        settings->Load(String(L"no such file.ini"));
    } catch (const File::Exception &e) {
        std::printf("loading a missing file: File::Exception code %lu\n", static_cast<unsigned long>(e.code));
    }
    settings->Release();
    return 0;
}
