#ifndef QVCORE_RUNTIME_QVUNKNOWN_H
#define QVCORE_RUNTIME_QVUNKNOWN_H

#include "qvcore/Platform.h"

#include <objidl.h>

/// Identifies a DataObject as one of the library's own:
/// {7CADFC7D-B1F1-4010-BA9C-C879E11AB6B1}.
EXTERN_C QVCORE_API const IID IID_QvDataObject;

/// Reference-counted base of the objects the library hands out through COM-style interfaces.
///
/// - The count is 1 after construction, copy construction included; assignment copies nothing
///   and leaves the count of the target as it was.
/// - AddRef and Release are atomic, so an object may be shared between threads. The Release
///   that brings the count to zero deletes the object through the virtual destructor: create
///   QvUnknown objects with new.
/// - QueryInterface answers no interface at all (IID_IUnknown included) and leaves *ppv as it
///   was; a derived class that answers interfaces overrides it.
/// - A QvUnknown does not hold the module lock count read by DllCanUnloadNow (see
///   qvcore/runtime/LogFile.h for which objects do): whoever creates one links against the
///   library, which keeps it loaded.
class QVCORE_API QvUnknown : public virtual IUnknown {
public:
    QvUnknown();
    QvUnknown(const QvUnknown &other);
    QvUnknown &operator=(const QvUnknown &other);

    /// E_NOINTERFACE for every identifier; ppv is not touched.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override;
    /// The new count.
    ULONG STDMETHODCALLTYPE AddRef() override;
    /// The new count; 0 when the object has been deleted.
    ULONG STDMETHODCALLTYPE Release() override;

    virtual ~QvUnknown();

private:
    volatile LONG refCount_;
};

/// A minimal IDataObject for drag-and-drop and clipboard transfers, to be derived from: the
/// derived class supplies GetData and GetDataHere.
///
/// - The count is 1 after construction. AddRef and Release are atomic, as for QvUnknown
///   (a DataObject mostly belongs to the one thread that runs the drag or clipboard
///   operation). The Release that brings the count to zero deletes the object (create it with
///   new).
/// - QueryInterface answers IID_IUnknown, IID_IDataObject and IID_QvDataObject with the object
///   itself (count raised), anything else with E_NOINTERFACE and *ppv null.
/// - Fixed answers: QueryGetData, GetCanonicalFormatEtc E_INVALIDARG; SetData, DAdvise
///   E_NOTIMPL (0x80004001); EnumFormatEtc 0x80004001 with *ppenum null; DUnadvise OLE_E_ADVISENOTSUPPORTED;
///   EnumDAdvise OLE_E_ADVISENOTSUPPORTED with *ppenum null.
/// - Like QvUnknown, a DataObject does not hold the module lock count.
class QVCORE_API DataObject : public virtual IDataObject {
public:
    DataObject();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetData(FORMATETC *format, STGMEDIUM *medium) override = 0;
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC *format, STGMEDIUM *medium) override = 0;
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC *format) override;
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC *in, FORMATETC *out) override;
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC *format, STGMEDIUM *medium, BOOL release) override;
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD direction, IEnumFORMATETC **ppenum) override;
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC *format, DWORD flags, IAdviseSink *sink,
                                      DWORD *connection) override;
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD connection) override;
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA **ppenum) override;

    virtual ~DataObject();

private:
    // Not copyable: a copy would share nothing of a transfer in progress.
    DataObject(const DataObject &) = delete;
    DataObject &operator=(const DataObject &) = delete;

    volatile LONG refCount_;
};

#endif
