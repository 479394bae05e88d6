#include "qvcore/streams/ObjectFactory.h"
#include "tests/support/SerialTestClasses.h"

#include <gtest/gtest.h>

#include <memory>

namespace ns {
class Thing : public virtual QvUnknown {};
}  // namespace ns
struct Point {
    int x, y;
};
template <class T>
class Box {};

namespace {

// The factory under test, released at the end of the test.
struct FactoryTest : ::testing::Test {
    ObjectFactory *factory = new ObjectFactory;
    ~FactoryTest() override { factory->Release(); }
};

}  // namespace

// Ids are stored in data: these values were computed independently from the hash's
// definition (each character a signed byte, h = h + ((2h) xor c) in 32 bits).
TEST_F(FactoryTest, ClassIdsAreTheNameHashWithCharactersAsSignedBytes)
{
    const struct {
        const char *label, *name;
        int id;
    } rows[] = {
        {"one letter", "A", 65},
        {"two letters", "AB", 257},
        {"empty", "", 0},
        {"null", nullptr, 0},
        {"a byte above 0x7F counts negative", "\xE9", -23},
        {"and stays negative in the sum", "\xE9" "A", -132},
        {"a qualified name", "graph::Palette", 153615425},
        {"wraps around in 32 bits", "MultimediaDocument", -487446262},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.id, factory->GetClassID(row.name)) << row.label;
}

TEST_F(FactoryTest, TypeIdsEqualTheIdsOfTheBareQualifiedNames)
{
    EXPECT_EQ(7548, factory->GetClassID(typeid(Point)));
    EXPECT_EQ(factory->GetClassID("Point"), factory->GetClassID(typeid(Point)));
    EXPECT_EQ(575133, factory->GetClassID(typeid(ns::Thing)));
    EXPECT_EQ(factory->GetClassID("ns::Thing"), factory->GetClassID(typeid(ns::Thing)));
    EXPECT_EQ(147877870, factory->GetClassID(typeid(Box<ns::Thing>)));
    EXPECT_EQ("Box<ns::Thing>", ObjectFactory::ClassNameOf(typeid(Box<ns::Thing>)));
    // The dynamic type counts, whatever the static type of the expression.
    graph::Node node;
    const ISerializable &asInterface = node;
    EXPECT_EQ(factory->GetClassID("graph::Node"), factory->GetClassID(typeid(asInterface)));
}

TEST_F(FactoryTest, CreatesRegisteredClassesByIdNameAndType)
{
    QV_SERIAL_CLASS(*factory, graph::Node);
    int before = graph::liveObjects();
    for (IUnknown *made : {factory->CreateObject(factory->GetClassID("graph::Node")),
                           factory->CreateObject("graph::Node"), factory->CreateObject(typeid(graph::Node))}) {
        ASSERT_NE(nullptr, dynamic_cast<graph::Node *>(made));
        EXPECT_EQ(0u, made->Release()) << "one reference, the caller's";
    }
    EXPECT_EQ(before, graph::liveObjects());
    EXPECT_FALSE(factory->GetObjectFactoryObjectFunctions(factory->GetClassID("graph::Node"))->IsSingleton());

    EXPECT_EQ(nullptr, factory->CreateObject("graph::Unknown"));
    EXPECT_EQ(nullptr, factory->CreateObject(typeid(Point)));
    EXPECT_EQ(nullptr, factory->GetObjectFactoryObjectFunctions(factory->GetClassID("graph::Unknown")));
}

TEST_F(FactoryTest, AnExplicitNameGivesItsIdAndASingletonSaysSo)
{
    QV_SERIAL_CLASS_NAMED(*factory, graph::Node, "Node");
    QV_SERIAL_SINGLETON(*factory, graph::Palette);
    EXPECT_EQ(nullptr, factory->CreateObject(typeid(graph::Node))) << "registered under Node only";
    IUnknown *node = factory->CreateObject("Node");
    ASSERT_NE(nullptr, dynamic_cast<graph::Node *>(node));
    node->Release();
    const IObjectFactoryObjectFunctions *palettes = factory->GetObjectFactoryObjectFunctions(
        factory->GetClassID(typeid(graph::Palette)));
    ASSERT_NE(nullptr, palettes);
    EXPECT_TRUE(palettes->IsSingleton());
}

// Replacement and the end of a registration: a class's entry never outlives the object that
// owns its functions, and never takes out an entry registered after it.
TEST_F(FactoryTest, ASecondRegistrationReplacesTheFirstAndEachEndsOnlyItsOwn)
{
    const int id = factory->GetClassID("Shape");
    QV_SERIAL_CLASS_NAMED(*factory, graph::Node, "Shape");
    {
        QV_SERIAL_CLASS_NAMED(*factory, graph::Versioned, "Shape");
        IUnknown *made = factory->CreateObject(id);
        EXPECT_NE(nullptr, dynamic_cast<graph::Versioned *>(made));
        made->Release();
    }
    EXPECT_EQ(nullptr, factory->GetObjectFactoryObjectFunctions(id)) << "the replacing registration took its entry out";
    {
        auto first = std::make_unique<ObjectFactoryClass<graph::Node>>(*factory, "Other");
        QV_SERIAL_CLASS_NAMED(*factory, graph::Versioned, "Other");
        first.reset();  // replaced: the later entry stays
        IUnknown *made = factory->CreateObject("Other");
        EXPECT_NE(nullptr, dynamic_cast<graph::Versioned *>(made));
        made->Release();
    }
}

TEST(ObjectFactory, ARegistrationKeepsItsFactoryAlive)
{
    ObjectFactory *factory = new ObjectFactory;
    {
        QV_SERIAL_CLASS(*factory, graph::Node);
        EXPECT_EQ(1u, factory->Release()) << "the owner's reference gone, the registration's left";
        IUnknown *made = factory->CreateObject(typeid(graph::Node));
        ASSERT_NE(nullptr, made);
        made->Release();
        factory->AddRef();
    }
    EXPECT_EQ(0u, factory->Release());
}
