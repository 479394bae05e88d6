// A chain of streams: values are compressed, cut into CRC-checked blocks and Base64-encoded
// into a file, then read back through the mirror chain.
#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/files/FileStream.h"
#include "qvcore/streams/StreamBase.h"

#include <cstdio>
#include <string>

static void writeRecord(const String &path)
{
    // Output chains are built from the file forwards: each filter over the stream it feeds.
    FileOutputStream file(path, /*append=*/false);
    Base64EncodingStream base64(file, 76);
    CRCOutputStream crc(base64);
    CompressingStream zip(crc, 9);
    zip << 2024 << std::string("track title") << String(L"wide text \u00e9");
    for (int i = 0; i < 1000; ++i)
        zip << i;
    zip.Flush();  // pushes everything through to the file; failures are thrown here
}   // destroyed front first (zip, crc, base64, file): each writes its tail into the next

static void readRecord(const String &path)
{
    // Input chains are built from the file backwards.
    FileInputStream file(path);
    Base64DecodingStream base64(file);
    BufferedInputStream groups(base64);  // whole Base64 groups, however the reader asks
    CRCInputStream crc(groups);
    DecompressingStream unzip(crc);
    int year = 0;
    std::string title;
    std::basic_string<unsigned short> wide;
    unzip >> year >> title >> wide;
    long long sum = 0;
    for (int i = 0; i < 1000; ++i) {
        int value = 0;
        unzip >> value;
        sum += value;
    }
    std::printf("read back: %d, \"%s\", \"%s\", sum %lld\n", year, title.c_str(), String(wide).Utf8().c_str(), sum);
}

int main()
{
    String path(L"record.b64");
    try {
        writeRecord(path);
        readRecord(path);

        // One damaged character in the file: the CRC block check catches it.
        FILE *f = std::fopen("record.b64", "r+b");
        std::fseek(f, 10, SEEK_SET);
        int c = std::fgetc(f);
        std::fseek(f, 10, SEEK_SET);
        std::fputc(c == 'A' ? 'B' : 'A', f);
        std::fclose(f);
        readRecord(path);
    } catch (const StreamBase::Exception &e) {
        std::printf("damaged file: code %d, \"%s\"\n", e.code, e.message.Utf8().c_str());
    }
    return 0;
}
