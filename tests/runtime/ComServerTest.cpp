#include "qvcore/runtime/QvUnknown.h"

#include "tests/support/LogClient.h"

#include <gtest/gtest.h>

using namespace logclient;

namespace {

// {7CADFC7D-B1F1-4010-BA9C-C879E11AB6B1}
const IID qvDataObject = {0x7CADFC7D, 0xB1F1, 0x4010, {0xBA, 0x9C, 0xC8, 0x79, 0xE1, 0x1A, 0xB6, 0xB1}};

void *const untouched = reinterpret_cast<void *>(static_cast<UINT_PTR>(0x5A5A5A5A));

TEST(ComServer, GetClassObjectHandsOutANewLogObjectForEitherLogInterfaceOnly)
{
    // The entry points and IID_QvDataObject are found by their undecorated names.
    Server server;
    ASSERT_TRUE(server.loaded());
    const void *exported = reinterpret_cast<const void *>(GetProcAddress(server.module(), "IID_QvDataObject"));
    ASSERT_NE(exported, nullptr);
    EXPECT_TRUE(IsEqualIID(*static_cast<const IID *>(exported), qvDataObject));

    // The class is checked before the interface.
    const CLSID otherClass = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1C}};
    void *object = untouched;
    EXPECT_EQ(server.getClassObject(otherClass, logInterface1, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(server.getClassObject(otherClass, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(server.getClassObject(classId, IID_IClassFactory, &object), E_INVALIDARG);
    EXPECT_EQ(server.getClassObject(classId, IID_IUnknown, &object), E_INVALIDARG);
    EXPECT_EQ(server.canUnloadNow(), S_OK);

    Log *first = server.create(logInterface1);
    Log *second = server.create(logInterface2);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(server.canUnloadNow(), S_FALSE);

    // Every identifier of the object answers with the object itself, count raised.
    for (const IID *iid : {&IID_IUnknown, &logInterface1, &logInterface2}) {
        void *same = nullptr;
        EXPECT_EQ(first->QueryInterface(*iid, &same), S_OK);
        EXPECT_EQ(same, first);
        EXPECT_EQ(first->Release(), 1u);
    }
    EXPECT_EQ(first->QueryInterface(IID_IClassFactory, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(first->AddRef(), 2u);
    EXPECT_EQ(first->Release(), 1u);
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(server.canUnloadNow(), S_FALSE);
    EXPECT_EQ(second->Release(), 0u);
    EXPECT_EQ(server.canUnloadNow(), S_OK);
}

// Deletion through the virtual destructor is observed through the flag.
class Counted : public QvUnknown {
public:
    explicit Counted(bool *deleted) : deleted_(deleted) {}
    ~Counted() override { *deleted_ = true; }
    bool *deleted_;
};

TEST(QvUnknown, CountsEachObjectOnItsOwnAndAnswersNoInterface)
{
    bool deleted[3] = {};
    Counted *first = new Counted(&deleted[0]);
    EXPECT_EQ(first->AddRef(), 2u);
    EXPECT_EQ(first->AddRef(), 3u);
    Counted *copy = new Counted(*first);  // starts with one reference of its own
    copy->deleted_ = &deleted[1];
    Counted *second = new Counted(&deleted[2]);
    EXPECT_EQ(second->AddRef(), 2u);
    *second = *first;  // leaves the target's count alone
    second->deleted_ = &deleted[2];

    for (const IID *iid : {&IID_IUnknown, &IID_IDataObject, &qvDataObject}) {
        void *object = untouched;
        EXPECT_EQ(first->QueryInterface(*iid, &object), E_NOINTERFACE);
        EXPECT_EQ(object, untouched);
    }
    int n = 0;
    for (Counted *object : {first, copy, second}) {
        unsigned long count = object == first ? 3 : object == copy ? 1 : 2;
        for (; count > 0; --count) {
            EXPECT_FALSE(deleted[n]);
            EXPECT_EQ(static_cast<IUnknown *>(object)->Release(), count - 1);
        }
        EXPECT_TRUE(deleted[n++]);
    }
}

class Transfer : public DataObject {
public:
    explicit Transfer(bool *deleted) : deleted_(deleted) {}
    ~Transfer() override { *deleted_ = true; }
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC *, STGMEDIUM *) override { return DV_E_FORMATETC; }
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC *, STGMEDIUM *) override { return DV_E_FORMATETC; }
    bool *deleted_;
};

TEST(DataObject, AnswersItsInterfacesAndFixedResultsInTheSystemSlotOrder)
{
    bool deleted = false;
    IDataObject *data = new Transfer(&deleted);
    for (const IID *iid : {&IID_IUnknown, &IID_IDataObject, &qvDataObject}) {
        void *object = nullptr;
        EXPECT_EQ(data->QueryInterface(*iid, &object), S_OK);
        EXPECT_EQ(object, data);
        EXPECT_EQ(data->Release(), 1u);
    }
    void *object = untouched;
    EXPECT_EQ(data->QueryInterface(IID_IStream, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);

    FORMATETC format = {CF_TEXT, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    FORMATETC canonical = format;
    STGMEDIUM medium = {};
    EXPECT_EQ(data->QueryGetData(&format), E_INVALIDARG);
    EXPECT_EQ(data->GetCanonicalFormatEtc(&format, &canonical), E_INVALIDARG);
    EXPECT_EQ(data->SetData(&format, &medium, FALSE), E_NOTIMPL);
    IEnumFORMATETC *formats = static_cast<IEnumFORMATETC *>(untouched);
    EXPECT_EQ(data->EnumFormatEtc(DATADIR_GET, &formats), E_NOTIMPL);
    EXPECT_EQ(formats, nullptr);
    DWORD connection = 7;
    EXPECT_EQ(data->DAdvise(&format, ADVF_NODATA, nullptr, &connection), E_NOTIMPL);
    EXPECT_EQ(data->DUnadvise(connection), OLE_E_ADVISENOTSUPPORTED);
    IEnumSTATDATA *advises = static_cast<IEnumSTATDATA *>(untouched);
    EXPECT_EQ(data->EnumDAdvise(&advises), OLE_E_ADVISENOTSUPPORTED);
    EXPECT_EQ(advises, nullptr);

    EXPECT_EQ(data->AddRef(), 2u);
    EXPECT_EQ(data->Release(), 1u);
    EXPECT_FALSE(deleted);
    EXPECT_EQ(data->Release(), 0u);
    EXPECT_TRUE(deleted);
}

}  // namespace
