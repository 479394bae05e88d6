#include "qvcore/runtime/QvUnknown.h"

#include "qvcore/runtime/RefCount_p.h"

const IID IID_QvDataObject = {0x7CADFC7D, 0xB1F1, 0x4010, {0xBA, 0x9C, 0xC8, 0x79, 0xE1, 0x1A, 0xB6, 0xB1}};

// --- QvUnknown ------------------------------------------------------------------------------

QvUnknown::QvUnknown() : refCount_(1) {}

// A copy is a new object: it starts with its own single reference.
QvUnknown::QvUnknown(const QvUnknown &) : IUnknown(), refCount_(1) {}

// The count belongs to the object, not to its value: references to the target stay valid.
QvUnknown &QvUnknown::operator=(const QvUnknown &)
{
    return *this;
}

QvUnknown::~QvUnknown() {}

HRESULT STDMETHODCALLTYPE QvUnknown::QueryInterface(REFIID, void **)
{
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE QvUnknown::AddRef()
{
    return refcount::Add(refCount_);
}

ULONG STDMETHODCALLTYPE QvUnknown::Release()
{
    return refcount::Release(refCount_, [this] { delete this; });
}

// --- DataObject -----------------------------------------------------------------------------

DataObject::DataObject() : refCount_(1) {}

DataObject::~DataObject() {}

HRESULT STDMETHODCALLTYPE DataObject::QueryInterface(REFIID riid, void **ppv)
{
    return refcount::Query(static_cast<IDataObject *>(this), riid, ppv,
                           {&IID_IUnknown, &IID_IDataObject, &IID_QvDataObject});
}

ULONG STDMETHODCALLTYPE DataObject::AddRef()
{
    return refcount::Add(refCount_);
}

ULONG STDMETHODCALLTYPE DataObject::Release()
{
    return refcount::Release(refCount_, [this] { delete this; });
}

HRESULT STDMETHODCALLTYPE DataObject::QueryGetData(FORMATETC *)
{
    return E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE DataObject::GetCanonicalFormatEtc(FORMATETC *, FORMATETC *)
{
    return E_INVALIDARG;
}

// The base object offers its data only through GetData/GetDataHere of derived classes: it takes
// no data, enumerates no formats and keeps no advise sinks. These answers are fixed;
// derived classes that do more override the slot.
HRESULT STDMETHODCALLTYPE DataObject::SetData(FORMATETC *, STGMEDIUM *, BOOL)
{
    return E_NOTIMPL;  // 0x80004001
}

HRESULT STDMETHODCALLTYPE DataObject::EnumFormatEtc(DWORD, IEnumFORMATETC **ppenum)
{
    if (ppenum)
        *ppenum = nullptr;
    return E_NOTIMPL;  // 0x80004001
}

HRESULT STDMETHODCALLTYPE DataObject::DAdvise(FORMATETC *, DWORD, IAdviseSink *, DWORD *)
{
    return E_NOTIMPL;  // 0x80004001
}

HRESULT STDMETHODCALLTYPE DataObject::DUnadvise(DWORD)
{
    return OLE_E_ADVISENOTSUPPORTED;
}

HRESULT STDMETHODCALLTYPE DataObject::EnumDAdvise(IEnumSTATDATA **ppenum)
{
    if (ppenum)
        *ppenum = nullptr;
    return OLE_E_ADVISENOTSUPPORTED;
}
