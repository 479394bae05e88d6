// Round trips per second of a 100-object graph through RegistryKey::WriteObject and ReadObject
// (serialization, compression and the registry), beside SetBinary and GetBinary of the same
// stored bytes (the registry calls alone) in the same run, best of alternating rounds.
// Usage: RegistryBench [ROUNDS]   (round trips of each kind per round, default 2000)
// Goal: compression and serialization cost less than the registry calls themselves, i.e. an
// object round trip takes less than twice a binary one (ratio binary/object above 0.5).

#include "bench/Bench.h"
#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/SerializingStream.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

const int rounds = 3;

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

// A chain of count entries behind root, each with some fields.
void makeChain(Entry &root, int count)
{
    Entry *last = &root;
    for (int i = 1; i < count; ++i) {
        Entry *entry = new Entry;
        entry->number = i;
        entry->length = 180000LL + i;
        entry->rating = i / 10.0;
        entry->title = String(L"Track ") + String::FromNum(i);
        last->SetNext(entry);
        entry->Release();
        last = entry;
    }
}

// The graph behind root through the serializing streams into memory, uncompressed.
std::string serialize(ObjectFactory &factory, const Entry &root)
{
    MemoryOutputStream memory;
    {
        SerializingOutputStream out(factory, memory);
        out.Write(root);
    }
    return memory.GetContent();
}

// Round trips per second: an object through the registry; where its time goes (the serializing
// streams alone, zlib alone); and the stored bytes through the registry as they are.
struct Rates {
    double object, serializing, compressing, binary;
};

Rates measure(ObjectFactory &factory, RegistryKey &key, const Entry &root, int trips, const std::string &bytes)
{
    const std::string plain = serialize(factory, root);
    auto repeat = [trips](const std::function<void()> &trip) {
        return [trips, trip] {
            for (int i = 0; i < trips; ++i)
                trip();
        };
    };
    std::vector<double> seconds = bench::bestTimes(
        rounds, {repeat([&] {
                     key.WriteObject(String(L"graph"), factory, root);
                     Entry read;
                     key.ReadObject(String(L"graph"), factory, read);
                 }),
                 repeat([&] {
                     std::string back = serialize(factory, root);
                     MemoryInputStream source(back);
                     SerializingInputStream in(factory, source);
                     Entry read;
                     in.Read(read);
                 }),
                 repeat([&] {
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
                 }),
                 repeat([&] {
                     std::string back;
                     key.SetBinary(String(L"binary"), bytes);
                     key.GetBinary(String(L"binary"), back);
                 })});
    return {trips / seconds[0], trips / seconds[1], trips / seconds[2], trips / seconds[3]};
}

}  // namespace

int main(int argc, char **argv)
{
    const int trips = static_cast<int>(bench::countArgument(argc, argv, 1, 2000, "RegistryBench", "ROUNDS"));
    if (trips == 0)
        return 2;
    const int objects = 100;
    ObjectFactory *factory = new ObjectFactory;
    {
        QV_SERIAL_CLASS(*factory, Entry);
        RegistryKey key = RegistryKey(HKEY_CURRENT_USER).CreateSubkey(String(L"Software\\QvCoreBench"));
        Entry root;
        makeChain(root, objects);
        key.WriteObject(String(L"graph"), *factory, root);
        std::string bytes;
        key.GetBinary(String(L"graph"), bytes);

        Rates rates = measure(*factory, key, root, trips, bytes);
        std::printf("graph of %d objects, %u bytes stored (%u serialized), %d round trips a round, best of %d rounds\n",
                    objects, static_cast<unsigned>(bytes.size()),
                    static_cast<unsigned>(serialize(*factory, root).size()), trips, rounds);
        bench::row("WriteObject + ReadObject", rates.object, "SetBinary + GetBinary, same bytes", rates.binary,
                   "trips/s", bench::ratioAtLeast(0.5));
        bench::row("  of which serializing alone (memory)", rates.serializing, "SetBinary + GetBinary, same bytes",
                   rates.binary, "trips/s");
        bench::row("  of which zlib alone (both ways)", rates.compressing, "SetBinary + GetBinary, same bytes",
                   rates.binary, "trips/s");
        RegistryKey(HKEY_CURRENT_USER).DeleteSubkey(String(L"Software\\QvCoreBench"), /*recursive=*/true);
    }
    factory->Release();
    return 0;
}
