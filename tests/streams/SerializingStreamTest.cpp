#include "qvcore/streams/SerializingStream.h"
#include "tests/support/SerialTestClasses.h"
#include "tests/support/StreamTestSupport.h"

#include <cstring>
#include <functional>

using graph::Node;
using graph::Palette;
using graph::Versioned;

namespace {

// A factory that knows the test classes, and a check that every object a test made is gone
// by its end.
struct GraphTest : ::testing::Test {
    GraphTest() : live(graph::liveObjects()) {}
    ~GraphTest() override
    {
        factory->Release();
        EXPECT_EQ(live, graph::liveObjects()) << "objects leaked or released twice";
    }

    // The bytes that write puts through a serializing stream into memory.
    std::string Written(const std::function<void(SerializingOutputStream &)> &write)
    {
        MemoryOutputStream memory;
        {
            SerializingOutputStream out(*factory, memory);
            write(out);
        }
        return memory.GetContent();
    }

    // A palette written twice: the item, then a back-reference to it.
    std::string TwoPalettes(const Palette &palette)
    {
        return Written([&](SerializingOutputStream &out) {
            out.Write(palette);
            out.Write(palette);
        });
    }

    ObjectFactory *factory = new ObjectFactory;
    QV_SERIAL_CLASS(*factory, Node);
    QV_SERIAL_SINGLETON(*factory, Palette);
    QV_SERIAL_CLASS(*factory, Versioned);
    int live;
};

// Ids of the test classes' names, little-endian.
const char nodeID[] = "2C D7 56 00";     // graph::Node
const char paletteID[] = "41 FC 27 09";  // graph::Palette

int readInt(const std::string &bytes)
{
    int value = 0;
    std::memcpy(&value, bytes.data(), 4);
    return value;
}

std::string hex(std::initializer_list<const char *> pieces)
{
    std::string bytes;
    for (const char *piece : pieces)
        bytes += hexBytes(piece);
    return bytes;
}

// Where the palette item lies in the graph below: after four references and two nodes.
const std::size_t paletteAt = 4 * 12 + 2 * 14, paletteSize = 6 + 12 + 4;

// A released reference's object, for identity checks after the caller's reference is gone.
template <class T>
T *adopt(ISerializable *object, std::vector<ComPtr<ISerializable>> &holders)
{
    holders.emplace_back(object);
    return dynamic_cast<T *>(object);
}

// The graph whose bytes are fixed below: root and child point at each other; child is also
// referred to from outside; one palette is written twice; then a null reference.
std::string goldenGraph()
{
    return hex({"00 00 00 00 11 03 19 80 00 00 00 00",         // 0 reference: inline object follows
                nodeID, "01 00 01 00 00 00 02 00 00 00",        // 1 root, version 1, a = 1, b = 2
                "00 00 00 00 11 03 19 80 02 00 00 00",         // 2 reference: inline object follows
                nodeID, "01 00 03 00 00 00 04 00 00 00",        // 3 child, a = 3, b = 4
                "00 00 00 00 11 03 19 80 01 00 00 00",         // 4 child's link: back to 1, the root
                "00 00 00 00 11 03 19 80 03 00 00 00",         // 5 outside reference to 3, the child
                paletteID, "01 00 08 00 00 00 6D 00 61 00 69 00 6E 00 07 00 00 00",  // 6 palette "main", 7
                "00 00 00 00 11 03 19 96 06 00 00 00",         // 7 the palette again: back to 6
                "00 00 00 00 11 03 19 80 00 00 00 00"});       // 8 null, not in first place
}

}  // namespace

TEST_F(GraphTest, NullReferencesAreMinusOneInFirstPlaceAndZeroLater)
{
    std::string bytes = Written([](SerializingOutputStream &out) {
        out.WriteRef(nullptr);
        out.WriteRef(nullptr);
    });
    EXPECT_EQ("00 00 00 00 11 03 19 80 FF FF FF FF 00 00 00 00 11 03 19 80 00 00 00 00", toHex(bytes));
    MemoryInputStream memory(bytes);
    SerializingInputStream in(*factory, memory);
    EXPECT_EQ(nullptr, in.ReadRef());
    EXPECT_EQ(nullptr, in.ReadRef());
    EXPECT_EQ(0, memory.Remaining());
}

// The same bytes on both architectures: these are what every build must write.
TEST_F(GraphTest, AGraphWithSharingACycleAndASingletonHasFixedBytes)
{
    ComPtr<Node> root(new Node(1, 2)), child(new Node(3, 4));
    ComPtr<Palette> palette(new Palette("main", 7, /*publish=*/false));
    root->SetLink(child.get());
    child->SetLink(root.get());
    std::string bytes = Written([&](SerializingOutputStream &out) {
        out.WriteRef(root.get());
        out.WriteRef(child.get());
        out.Write(*palette.get());
        out.Write(*palette.get());
        out.WriteRef(nullptr);
    });
    child->SetLink(nullptr);  // the cycle broken, so that both go
    EXPECT_EQ(toHex(goldenGraph()), toHex(bytes));
}

TEST_F(GraphTest, ReadingTheGraphBackKeepsSharingCyclesAndTheOneSingleton)
{
    std::string bytes = goldenGraph();
    MemoryInputStream memory(bytes);
    std::vector<ComPtr<ISerializable>> held;
    {
        SerializingInputStream in(*factory, memory);
        Node *root = adopt<Node>(in.ReadRef(), held);
        Node *child = adopt<Node>(in.ReadRef(), held);
        Palette *first = adopt<Palette>(in.Create(), held);
        Palette *second = adopt<Palette>(in.Create(), held);
        EXPECT_EQ(nullptr, in.ReadRef());
        EXPECT_EQ(0, memory.Remaining());

        ASSERT_TRUE(root && child && first);
        EXPECT_EQ(1, root->a);
        EXPECT_EQ(2, root->b);
        EXPECT_EQ(4, child->b);
        EXPECT_EQ(static_cast<ISerializable *>(child), root->link) << "shared: one object";
        EXPECT_EQ(static_cast<ISerializable *>(root), child->link) << "the cycle closes on the root";
        EXPECT_EQ(first, second) << "a singleton back-reference is the instance read before";
        EXPECT_EQ(7, first->colour);
        root->SetLink(nullptr);
    }
    held.clear();
}

TEST_F(GraphTest, ASingletonBackReferenceReadIntoATargetTakesTheExistingState)
{
    Palette palette("main", 7, /*publish=*/false);
    std::string bytes = TwoPalettes(palette);
    MemoryInputStream memory(bytes);
    SerializingInputStream in(*factory, memory);
    ComPtr<ISerializable> first(in.Create());
    Palette target;
    in.Read(target);
    EXPECT_EQ(7, target.colour);
    EXPECT_EQ("main", target.name.Latin1());
}

TEST_F(GraphTest, ANewerVersionThrowsCode6AndAnOlderOneIsReadAsItsVersion)
{
    Versioned object;
    object.value = 42;
    Versioned::current() = 2;
    std::string newer = Written([&](SerializingOutputStream &out) { out.Write(object); });
    Versioned::current() = 1;
    std::string older = Written([&](SerializingOutputStream &out) { out.Write(object); });

    {
        MemoryInputStream memory(newer);
        SerializingInputStream in(*factory, memory);
        EXPECT_EXCEPTION(StreamBase::Exception, in.Create(), StreamBase::VersionTooHigh, "Object version too high");
    }
    Versioned::current() = 2;
    MemoryInputStream memory(older);
    SerializingInputStream in(*factory, memory);
    Versioned target;
    in.Read(target);
    EXPECT_EQ(1, target.readAs);
    EXPECT_EQ(42, target.value);
    Versioned::current() = 1;
}

// Hand-built items, each malformed in one way, read as a test names it.
TEST_F(GraphTest, EveryMalformedItemThrowsCode3WithItsText)
{
    QV_SERIAL_CLASS_NAMED(*factory, graph::Plain, "Plain");
    const int plain = factory->GetClassID("Plain");
    const std::string plainID(reinterpret_cast<const char *>(&plain), 4);
    Palette palette("main", 7, /*publish=*/false);
    enum Call { ReadRef, Create, ReadNode };
    const struct {
        const char *label;
        std::string bytes;
        Call call;
        const char *text;
    } rows[] = {
        {"an object where a reference belongs", hex({nodeID, "01 00 01 00 00 00"}), ReadRef, "Next stream object is not a reference"},
        {"a reference with a wrong tag", hex({"00 00 00 00 11 03 19 96 FF FF FF FF"}), ReadRef,
         "Next stream object is not a reference"},
        {"a reference to a number not read", hex({"00 00 00 00 11 03 19 80 05 00 00 00"}), ReadRef,
         "Reference to non-existing object"},
        {"a command that is neither", hex({"00 00 00 00 11 03 19 81"}), Create, "Unknown command in stream"},
        {"a singleton back-reference to nothing", hex({"00 00 00 00 11 03 19 96 00 00 00 00"}), Create,
         "Reference to unknown object in stream"},
        {"a class the factory does not know", hex({"78 56 34 12 01 00"}), Create, "Unexpected object in stream"},
        {"another class than the target's", hex({paletteID, "01 00"}), ReadNode, "Unexpected object in stream"},
        {"a class that is not serializable", plainID + hexBytes("01 00"), Create, "Non-serializable object in stream"},
        {"a palette's back-reference read into a node",
         TwoPalettes(palette), ReadNode, "Wrong type of object in stream"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        MemoryInputStream memory(row.bytes);
        SerializingInputStream in(*factory, memory);
        Node node;
        std::vector<ComPtr<ISerializable>> held;
        if (row.call == ReadNode && row.text == std::string("Wrong type of object in stream"))
            held.emplace_back(in.Create());  // the palette the back-reference points at
        switch (row.call) {
        case ReadRef: EXPECT_EXCEPTION(StreamBase::Exception, in.ReadRef(), 3, row.text); break;
        case Create: EXPECT_EXCEPTION(StreamBase::Exception, in.Create(), 3, row.text); break;
        case ReadNode: EXPECT_EXCEPTION(StreamBase::Exception, in.Read(node), 3, row.text); break;
        }
    }
}

TEST_F(GraphTest, ASingletonThatAlreadyLivesIsReportedWithTheLiveInstance)
{
    Palette live("main", 1, /*publish=*/true);
    std::string bytes = goldenGraph().substr(paletteAt, paletteSize);
    MemoryInputStream memory(bytes);
    SerializingInputStream in(*factory, memory);
    int before = graph::liveObjects();
    try {
        ComPtr<ISerializable> created(in.Create());
        ADD_FAILURE() << "no exception";
    } catch (const SerializingInputStream::SingeltonObjectExistsException &e) {
        EXPECT_EQ(StreamBase::MalformedData, e.code);
        EXPECT_EQ("Duplicate singelton object in stream", e.message.Latin1());
        EXPECT_EQ(static_cast<ISerializable *>(&live), e.object);
    }
    EXPECT_EQ(before, graph::liveObjects()) << "the second palette is released";
}

TEST_F(GraphTest, AClassRegisteredUnderItsOldNameTooReadsDataWrittenUnderIt)
{
    // A node written while its class was called old::Node: a reference to it inline, a = 5,
    // b = 6, and its null link.
    const char *oldID = "F9 73 09 00";  // old::Node
    ASSERT_EQ(ObjectFactory::ClassIDOf("old::Node"), readInt(hexBytes(oldID)));
    const std::string old = hex({"00 00 00 00 11 03 19 80 00 00 00 00", oldID, "01 00 05 00 00 00 06 00 00 00",
                                 "00 00 00 00 11 03 19 80 00 00 00 00"});
    {
        MemoryInputStream memory(old);
        SerializingInputStream in(*factory, memory);
        EXPECT_EXCEPTION(StreamBase::Exception, in.ReadRef(), 3, "Unexpected object in stream");
    }
    QV_SERIAL_CLASS_NAMED(*factory, Node, "old::Node");
    MemoryInputStream memory(old);
    SerializingInputStream in(*factory, memory);
    ComPtr<ISerializable> read(in.ReadRef());
    Node *node = dynamic_cast<Node *>(read.get());
    ASSERT_NE(nullptr, node);
    EXPECT_EQ(5, node->a);
    EXPECT_EQ(6, node->b);
    // What is written now carries the id of the class's current name.
    EXPECT_EQ(hexBytes(nodeID), Written([&](SerializingOutputStream &out) { out.Write(*node); }).substr(0, 4));
}

TEST_F(GraphTest, NestingBeyondTheLimitIsMalformedDataNotAStackOverflow)
{
    // A chain of nodes each holding the next inline, as deep as allowed: reads back.
    const std::string command = hexBytes("00 00 00 00 11 03 19 80"), node = hex({nodeID, "01 00 00 00 00 00 00 00 00 00"});
    auto chain = [&](int depth) {
        std::string bytes;
        for (int n = 0; n < depth; ++n) {
            int number = 2 * n;
            bytes += command;
            bytes.append(reinterpret_cast<const char *>(&number), 4);
            bytes += node;
        }
        return bytes + command + hexBytes("00 00 00 00");
    };
    std::string allowed = chain(SerializingInputStream::MaxNesting);
    {
        MemoryInputStream memory(allowed);
        SerializingInputStream in(*factory, memory);
        ComPtr<ISerializable> head(in.ReadRef());
        EXPECT_EQ(0, memory.Remaining());
    }
    std::string hostile = chain(100000);
    MemoryInputStream memory(hostile);
    SerializingInputStream in(*factory, memory);
    EXPECT_EXCEPTION(StreamBase::Exception, in.ReadRef(), 3, "Objects nested too deeply in stream");
}

namespace {

// Each item the stream reports, as one word.
class Recorder : public ISerializingObserver {
public:
    void ObjectBegins(int number, int classID) override { Add("object#" + std::to_string(number) + ":", classID); }
    void ObjectVersion(int, short version) override { Add("v", version); }
    void ObjectEnds(int number) override { Add("end#", number); }
    void ReferenceRead(int number, int r) override { Add("ref#" + std::to_string(number) + "->", r); }
    void SingletonReferenceRead(int number, int r) override { Add("single#" + std::to_string(number) + "->", r); }
    std::string items;

private:
    void Add(const std::string &what, int value) { items += (items.empty() ? "" : " ") + what + std::to_string(value); }
};

}  // namespace

TEST_F(GraphTest, AnObserverSeesEveryItemWithItsNumberInOrder)
{
    std::string bytes = goldenGraph();
    MemoryInputStream memory(bytes);
    std::vector<ComPtr<ISerializable>> held;
    Recorder recorder;
    {
        SerializingInputStream in(*factory, memory);
        in.SetObserver(&recorder);
        Node *root = adopt<Node>(in.ReadRef(), held);
        held.emplace_back(in.ReadRef());
        held.emplace_back(in.Create());
        held.emplace_back(in.Create());
        held.emplace_back(in.ReadRef());
        root->SetLink(nullptr);
    }
    held.clear();
    EXPECT_EQ("ref#0->0 object#1:5691180 v1 ref#2->2 object#3:5691180 v1 ref#4->1 end#3 end#1 ref#5->3 "
              "object#6:153615425 v1 end#6 single#7->6 ref#8->0",
              recorder.items);
}
