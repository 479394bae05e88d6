// Objects per second through the serializing streams beside the same fields through the plain
// stream operators, measured in the same run, and their ratio. The graph: N small objects of
// two ints and one reference each, every reference pointing at the object before (a
// back-reference; the first is null), all written through WriteRef in order, into memory
// through a buffer (as a document goes to a file) and read back from memory. Each figure is the
// best of several rounds, in thread CPU time (the machine is shared).
//
// Usage: GraphBench.exe [OBJECTS]   (default 1,000,000)

#include "bench/Bench.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/SerializingStream.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const int rounds = 3;
// The plain loops run this many times per measurement: the thread's CPU clock ticks in steps
// of about 10 ms, longer than one plain pass over the fields takes.
const int plainRepeats = 10;
const double goal = 5e6;  // objects per second, each way

class Item : public ISerializable, public QvUnknown {
public:
    void Read(SerializingInputStream &in, short) override
    {
        in >> a >> b;
        next = in.ReadRef();
    }
    void Write(SerializingOutputStream &out) const override
    {
        out << a << b;
        out.WriteRef(next);
    }
    short Version() const override { return 1; }
    ~Item() override
    {
        if (next)
            next->Release();
    }
    int a = 0, b = 0;
    ISerializable *next = nullptr;
};

struct PlainItem {
    int a, b, next;
};

void report(const char *what, int objects, double seconds, double plainSeconds)
{
    bench::row(std::string(what) + " as a graph", objects / seconds / 1e6, "plain operators", objects / plainSeconds / 1e6,
               "M obj/s", bench::figureAtLeast(goal / 1e6));
}

// count objects, each pointing at the one before (one reference held), and the same fields as
// plain records.
std::vector<Item *> makeItems(int count, std::vector<PlainItem> &plain)
{
    std::vector<Item *> items(count);
    plain.assign(count, PlainItem());
    for (int i = 0; i < count; ++i) {
        items[i] = new Item;
        items[i]->a = plain[i].a = i;
        items[i]->b = plain[i].b = -i;
        plain[i].next = i - 1;
        if (i > 0) {
            items[i]->next = items[i - 1];
            items[i - 1]->AddRef();
        }
    }
    return items;
}

// Seconds to write the graph and the plain fields; the bytes of each are left for reading.
std::vector<double> measureWriting(ObjectFactory &factory, const std::vector<Item *> &items,
                                   const std::vector<PlainItem> &plain, std::string &graphBytes, std::string &plainBytes)
{
    return bench::bestTimes(
        rounds,
        {[&] {
             MemoryOutputStream memory;
             BufferedOutputStream buffer(memory);
             SerializingOutputStream out(factory, buffer);
             for (Item *item : items)
                 out.WriteRef(item);
             graphBytes = memory.GetContent();
         },
         [&] {
             for (int k = 0; k < plainRepeats; ++k) {
                 MemoryOutputStream memory;
                 BufferedOutputStream buffer(memory);
                 for (const PlainItem &item : plain)
                     buffer << item.a << item.b << item.next;
                 plainBytes = memory.GetContent();
             }
         }},
        bench::threadSeconds);
}

// Seconds to read count objects back as a graph and as plain fields.
std::vector<double> measureReading(ObjectFactory &factory, int count, const std::string &graphBytes,
                                   const std::string &plainBytes)
{
    std::vector<ISerializable *> read(count);
    std::vector<PlainItem> plainRead(count);
    return bench::bestTimes(
        rounds,
        {[&] {
             MemoryInputStream memory(graphBytes);
             SerializingInputStream in(factory, memory);
             for (ISerializable *&object : read)
                 object = in.ReadRef();
         },
         [&] {
             for (int k = 0; k < plainRepeats; ++k) {
                 MemoryInputStream memory(plainBytes);
                 for (PlainItem &item : plainRead)
                     memory >> item.a >> item.b >> item.next;
             }
         }},
        bench::threadSeconds,
        [&] {
            // Last first: each object then goes alone instead of taking the whole chain
            // before it down one nested destructor at a time.
            for (auto object = read.rbegin(); object != read.rend(); ++object) {
                if (*object)
                    (*object)->Release();
                *object = nullptr;
            }
        });
}

}  // namespace

int main(int argc, char **argv)
{
    const int count = static_cast<int>(bench::countArgument(argc, argv, 1, 1000000, "GraphBench", "OBJECTS"));
    if (count == 0)
        return 2;
    ObjectFactory *factory = new ObjectFactory;
    {
        QV_SERIAL_CLASS(*factory, Item);
        std::vector<PlainItem> plain;
        std::vector<Item *> items = makeItems(count, plain);
        std::string graphBytes, plainBytes;
        std::vector<double> writing = measureWriting(*factory, items, plain, graphBytes, plainBytes);
        std::vector<double> reading = measureReading(*factory, count, graphBytes, plainBytes);
        std::printf("%d objects of two ints and a reference: %u bytes as a graph, %u as plain fields; best of %d "
                    "rounds in thread CPU time\n",
                    count, static_cast<unsigned>(graphBytes.size()), static_cast<unsigned>(plainBytes.size()), rounds);
        report("write", count, writing[0], writing[1] / plainRepeats);
        report("read", count, reading[0], reading[1] / plainRepeats);
        for (auto item = items.rbegin(); item != items.rend(); ++item)
            (*item)->Release();
    }
    factory->Release();
    return 0;
}
