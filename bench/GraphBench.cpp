// Objects per second through the serializing streams beside the same fields through the plain
// stream operators, measured in the same run, and their ratio. The graph: N small objects of
// two ints and one reference each, every reference pointing at the object before (a
// back-reference; the first is null), all written through WriteRef in order, into memory
// through a buffer (as a document goes to a file) and read back from memory. Each figure is the
// best of several rounds, in thread CPU time (the machine is shared).
//
// Usage: GraphBench.exe [OBJECTS]   (default 1,000,000)

#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/SerializingStream.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

const int rounds = 3;
// The plain loops run this many times per measurement: the thread's CPU clock ticks in steps
// of about 10 ms, longer than one plain pass over the fields takes.
const int plainRepeats = 10;
const double goal = 5e6;  // objects per second, each way

// The CPU time of this thread (user and kernel, which page faults take): on a shared machine
// the wall clock mostly measures the other processes.
double seconds()
{
    FILETIME created, exited, kernel, user;
    GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user);
    auto ticks = [](const FILETIME &t) { return (static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime; };
    return static_cast<double>(ticks(kernel) + ticks(user)) / 1e7;
}

// The best time of each of runs; the rounds alternate between them, so that a busy moment of
// the machine does not fall on one side only. after runs untimed after each run (freeing).
std::vector<double> best(const std::vector<std::function<void()>> &runs, const std::function<void()> &after)
{
    std::vector<double> times(runs.size(), 1e30);
    for (int i = 0; i < rounds; ++i) {
        for (std::size_t r = 0; r < runs.size(); ++r) {
            double start = seconds();
            runs[r]();
            times[r] = std::min(times[r], seconds() - start);
            after();
        }
    }
    return times;
}

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

void report(const char *what, int objects, double ours, double plain)
{
    double rate = objects / ours, plainRate = objects / plain;
    std::printf("%-8s %10.2f M objects/s   plain operators %10.2f M objects/s   ratio %5.2f   goal %.0f M/s: %s\n",
                what, rate / 1e6, plainRate / 1e6, rate / plainRate, goal / 1e6, rate >= goal ? "met" : "MISSED");
}

}  // namespace

int main(int argc, char **argv)
{
    const int count = argc > 1 ? std::atoi(argv[1]) : 1000000;
    ObjectFactory *factory = new ObjectFactory;
    {
        QV_SERIAL_CLASS(*factory, Item);

        std::vector<Item *> items(count);
        std::vector<PlainItem> plain(count);
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

        std::string graphBytes, plainBytes;
        std::vector<double> writing = best(
            {[&] {
                 MemoryOutputStream memory;
                 BufferedOutputStream buffer(memory);
                 SerializingOutputStream out(*factory, buffer);
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
            [] {});

        std::vector<ISerializable *> read(count);
        std::vector<PlainItem> plainRead(count);
        std::vector<double> reading = best(
            {[&] {
                 MemoryInputStream memory(graphBytes);
                 SerializingInputStream in(*factory, memory);
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
            [&] {
                // Last first: each object then goes alone instead of taking the whole chain
                // before it down one nested destructor at a time.
                for (auto object = read.rbegin(); object != read.rend(); ++object) {
                    if (*object)
                        (*object)->Release();
                    *object = nullptr;
                }
            });

        std::printf("%d objects of two ints and a reference: %u bytes as a graph, %u as plain fields\n", count,
                    static_cast<unsigned>(graphBytes.size()), static_cast<unsigned>(plainBytes.size()));
        report("write", count, writing[0], writing[1] / plainRepeats);
        report("read", count, reading[0], reading[1] / plainRepeats);
        for (auto item = items.rbegin(); item != items.rend(); ++item)
            (*item)->Release();
    }
    factory->Release();
    return 0;
}
