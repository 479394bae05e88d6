// Fills a file until the disk refuses more: FullDisk.exe stream|file PATH
// Writes 4,096-byte chunks of a known pattern (byte i is i % 251) through a FileOutputStream
// or a File, and prints how many bytes the library said it wrote and the failure it gave:
// "written <n>", then "code <c>" and "message <text>" (UTF-8), or "no failure"; last
// "disk-full <text>" and "general-failure <text>", the system's texts for a full disk and for
// a failure it has no code for (what Wine reports for a file-size limit).

#include "qvcore/files/File.h"
#include "qvcore/files/FileStream.h"

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const bool stream = std::strcmp(argv[1], "stream") == 0;
    const String path = String::FromSystemMultibyte(argv[2]);
    unsigned long long written = 0;
    std::string chunk(4096, '\0');
    auto fill = [&] {
        for (size_t i = 0; i < chunk.size(); ++i)
            chunk[i] = static_cast<char>((written + i) % 251);
    };
    try {
        if (stream) {
            FileOutputStream out(path, false);
            for (int i = 0; i < 1024; ++i) {
                fill();
                out.Write(chunk.data(), static_cast<int>(chunk.size()));
                written += chunk.size();
            }
        } else {
            File file;
            file.Create(path, GENERIC_WRITE, 0, false, CREATE_ALWAYS, 0);
            for (int i = 0; i < 1024; ++i) {
                fill();
                // A part taken is reported by its count: the rest is written again, so that the
                // system says why it stopped.
                for (size_t done = 0; done < chunk.size();) {
                    unsigned long now = file.Write(chunk.data() + done, static_cast<unsigned long>(chunk.size() - done));
                    written += now;
                    done += now;
                    if (now == 0)
                        break;
                }
            }
        }
        std::printf("written %llu\nno failure\n", written);
    } catch (const StreamBase::Exception &e) {
        std::printf("written %llu\ncode %d\nmessage %s\n", written, e.code, e.message.Utf8().c_str());
    } catch (const File::Exception &e) {
        std::printf("written %llu\ncode %lu\nmessage %s\n", written, e.code, e.message.Utf8().c_str());
    }
    std::printf("disk-full %s\n", String::FromError(ERROR_DISK_FULL).Utf8().c_str());
    std::printf("general-failure %s\n", String::FromError(ERROR_GEN_FAILURE).Utf8().c_str());
    return 0;
}
