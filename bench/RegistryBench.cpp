// Round trips per second of a 100-object graph through RegistryKey::WriteObject and ReadObject
// (serialization, compression and the registry), beside SetBinary and GetBinary of the same
// stored bytes (the registry calls alone) in the same run.
// Usage: RegistryBench [ROUNDS]   (default 2000)
// Goal: compression and serialization cost less than the registry calls themselves, i.e. an
// object round trip takes less than twice a binary one (ratio binary/object above 0.5).

#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/SerializingStream.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// A playlist entry: some fields and the next entry, owned (one reference).
class Entry : public ISerializable, public virtual QvUnknown {
public:
    ~Entry() override { SetNext(nullptr); }
    void Read(SerializingInputStream &in, short) override
    {
        std::basic_string<unsigned short> text;
        in >> number >> length >> rating >> text;
        title = text;
        SetNext(in.ReadRef());
        if (next)
            next->Release();  // SetNext took its own reference
    }
    void Write(SerializingOutputStream &out) const override
    {
        out << number << length << rating << title;
        out.WriteRef(next);
    }
    short Version() const override { return 1; }
    void SetNext(ISerializable *entry)
    {
        if (entry)
            entry->AddRef();
        if (next)
            next->Release();
        next = entry;
    }

    int number = 0;
    __int64 length = 0;
    double rating = 0;
    String title;
    ISerializable *next = nullptr;
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char **argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 2000;
    const int objects = 100;
    ObjectFactory *factory = new ObjectFactory;
    {
        QV_SERIAL_CLASS(*factory, Entry);
        RegistryKey key = RegistryKey(HKEY_CURRENT_USER).CreateSubkey(String(L"Software\\QvCoreBench"));

        Entry root;
        Entry *last = &root;
        for (int i = 1; i < objects; ++i) {
            Entry *entry = new Entry;
            entry->number = i;
            entry->length = 180000LL + i;
            entry->rating = i / 10.0;
            entry->title = String(L"Track ") + String::FromNum(i);
            last->SetNext(entry);
            entry->Release();
            last = entry;
        }

        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) {
            key.WriteObject(String(L"graph"), *factory, root);
            Entry read;
            key.ReadObject(String(L"graph"), *factory, read);
        }
        double objectRate = rounds / secondsSince(start);

        // Where an object round trip's time goes: the graph through the serializing streams
        // alone (memory, no compression), and the stored bytes through zlib alone.
        start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) {
            MemoryOutputStream memory;
            {
                SerializingOutputStream out(*factory, memory);
                out.Write(root);
            }
            std::string plain = memory.GetContent();
            MemoryInputStream source(plain);
            SerializingInputStream in(*factory, source);
            Entry read;
            in.Read(read);
        }
        double serializingRate = rounds / secondsSince(start);
        std::string plain;
        {
            MemoryOutputStream memory;
            {
                SerializingOutputStream out(*factory, memory);
                out.Write(root);
            }
            plain = memory.GetContent();
        }
        start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) {
            MemoryOutputStream memory;
            {
                CompressingStream compressing(memory, -1);
                compressing.Write(plain.data(), static_cast<int>(plain.size()));
            }
            std::string packed = memory.GetContent();
            MemoryInputStream source(packed);
            DecompressingStream decompressing(source);
            std::string back(plain.size(), '\0');
            decompressing.Read(&back[0], static_cast<int>(back.size()));
        }
        double compressingRate = rounds / secondsSince(start);

        std::string bytes, back;
        key.GetBinary(String(L"graph"), bytes);
        start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) {
            key.SetBinary(String(L"binary"), bytes);
            key.GetBinary(String(L"binary"), back);
        }
        double binaryRate = rounds / secondsSince(start);

        std::printf("graph of %d objects, %u bytes stored, %d rounds\n", objects, static_cast<unsigned>(bytes.size()),
                    rounds);
        std::printf("WriteObject + ReadObject:  %10.0f round trips/s\n", objectRate);
        std::printf("SetBinary + GetBinary:     %10.0f round trips/s (same bytes)\n", binaryRate);
        std::printf("  of which serializing:    %10.0f round trips/s (%u bytes, memory only)\n", serializingRate,
                    static_cast<unsigned>(plain.size()));
        std::printf("  of which zlib:           %10.0f round trips/s (compress and decompress alone)\n",
                    compressingRate);
        std::printf("ratio object/binary rate:  %10.2f (goal: above 0.5, serialization and compression "
                    "cheaper than the registry calls)\n", objectRate / binaryRate);
        RegistryKey(HKEY_CURRENT_USER).DeleteSubkey(String(L"Software\\QvCoreBench"), /*recursive=*/true);
    }
    factory->Release();
    return 0;
}
