#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/SerializingStream.h"

#include "tests/support/RegistryTestKey.h"
#include "tests/support/SerialTestClasses.h"
#include "tests/support/StreamTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

using graph::Node;
using registrytest::RegistryTest;

namespace {

using RegistryObjectTest = registrytest::ObjectRegistryTest;

// ReadObjectInternal is for derived keys: this one lets the tests call it.
class CreatingKey : public RegistryKey {
public:
    explicit CreatingKey(const RegistryKey &key) : RegistryKey(key) {}
    using RegistryKey::ReadObjectInternal;
};

TEST_F(RegistryObjectTest, ReadObjectInternalCreatesTheStoredObjectWhenGivenNone)
{
    Node single(5, 6);
    ASSERT_EQ(ERROR_SUCCESS, key().WriteObject(String(L"single"), *factory, single));
    long result = -1;
    ComPtr<ISerializable> created(CreatingKey(key()).ReadObjectInternal(String(L"single"), *factory, nullptr, result));
    EXPECT_EQ(ERROR_SUCCESS, result);
    Node *node = dynamic_cast<Node *>(created.get());
    ASSERT_NE(nullptr, node);
    EXPECT_EQ(5, node->a);
    EXPECT_EQ(6, node->b);

    result = -1;
    EXPECT_EQ(nullptr, CreatingKey(key()).ReadObjectInternal(String(L"absent"), *factory, nullptr, result));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, result);
}

TEST_F(RegistryObjectTest, AnotherChainsPendingLateFailureIsLeftToItsOwner)
{
    FailingStream failing;
    {
        CRCOutputStream crc(failing);
        crc.Write("x", 1);  // written, and failing, in the destructor
    }
    Node node(1, 2), back(0, 0);
    EXPECT_EQ(ERROR_SUCCESS, key().WriteObject(String(L"node"), *factory, node));
    EXPECT_EQ(ERROR_SUCCESS, key().ReadObject(String(L"node"), *factory, back));
    EXPECT_EQ(1, back.a);
    StreamBase::Exception late;
    ASSERT_TRUE(StreamBase::TakeLateFailure(late));
    EXPECT_EQ(String(L"disk full"), late.message);
}

TEST_F(RegistryObjectTest, AGraphDeeperThanAReaderTakesIsRefusedAndNothingStored)
{
    // Each node holds the next inline: as deep as the reader allows, and deeper.
    const int allowed = SerializingInputStream::MaxNesting;
    std::unique_ptr<Node[]> nodes(new Node[allowed + 1000]);
    for (int i = 0; i + 1 < allowed + 1000; ++i)
        nodes[i].SetLink(&nodes[i + 1]);

    EXPECT_EXCEPTION(StreamBase::Exception, key().WriteObject(String(L"deep"), *factory, nodes[0]),
                     StreamBase::MalformedData, "Objects nested too deeply to be read back");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, rawValue("deep").result);

    nodes[allowed - 1].SetLink(nullptr);
    ASSERT_EQ(ERROR_SUCCESS, key().WriteObject(String(L"deep"), *factory, nodes[0]));
    Node back;
    EXPECT_EQ(ERROR_SUCCESS, key().ReadObject(String(L"deep"), *factory, back));
    int depth = 1;
    for (ISerializable *at = back.link; at; at = dynamic_cast<Node *>(at)->link)
        ++depth;
    EXPECT_EQ(allowed, depth);
    nodes[allowed - 1].SetLink(&nodes[allowed]);
}

TEST_F(RegistryObjectTest, NothingStoredLeavesTheObjectAloneAndDamageThrows)
{
    setRaw("text", REG_SZ, std::string("graph", 6));
    setRaw("empty", REG_BINARY, "");
    setRaw("damaged", REG_BINARY, "\x78\x9C not a zlib stream");
    Node untouched(7, 8);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().ReadObject(String(L"absent"), *factory, untouched));
    EXPECT_EQ(ERROR_SUCCESS, key().ReadObject(String(L"text"), *factory, untouched));
    EXPECT_EQ(ERROR_SUCCESS, key().ReadObject(String(L"empty"), *factory, untouched));
    EXPECT_EQ(7, untouched.a);
    EXPECT_EQ(8, untouched.b);
    EXPECT_THROW(key().ReadObject(String(L"damaged"), *factory, untouched), StreamBase::Exception);

    // An object of a class the reading factory does not know.
    ASSERT_EQ(ERROR_SUCCESS, key().WriteObject(String(L"graph"), *factory, untouched));
    ObjectFactory *empty = new ObjectFactory;
    long result = -1;
    EXPECT_THROW(CreatingKey(key()).ReadObjectInternal(String(L"graph"), *empty, nullptr, result),
                 StreamBase::Exception);
    empty->Release();
}

}  // namespace
