#ifndef QVCORE_TESTS_SUPPORT_LOGINTERFACE_H
#define QVCORE_TESTS_SUPPORT_LOGINTERFACE_H

// What a COM client of qvcore.dll knows: the identifiers and the slot layout of the log
// interface, written down here rather than taken from the library's headers, so that the tests
// check the binary interface itself. Needs nothing of the library: a client that does not link
// against it (a program activated through the registry) declares the interface with this too.

#include <objbase.h>

class String;
class WinException;

namespace logclient {

// {16D389DE-1A3F-4A43-986D-2D07C91F911B}
const CLSID classId = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1B}};
// {E3F4C6F9-11E5-4F94-82A6-656B0CE12B04}
const IID logInterface1 = {0xE3F4C6F9, 0x11E5, 0x4F94, {0x82, 0xA6, 0x65, 0x6B, 0x0C, 0xE1, 0x2B, 0x04}};
// {CA520F39-84EF-4100-B5BD-763C3EB21EAE}
const IID logInterface2 = {0xCA520F39, 0x84EF, 0x4100, {0xB5, 0xBD, 0x76, 0x3C, 0x3E, 0xB2, 0x1E, 0xAE}};

// Slots 3 to 12, after IUnknown's three.
struct Log : public IUnknown {
    virtual HRESULT __stdcall SetSourceModule(const void *address) = 0;
    virtual HRESULT __stdcall LogLine(const unsigned short *text) = 0;
    virtual HRESULT __stdcall SetIndent(unsigned long level) = 0;
    virtual HRESULT __stdcall Open(const unsigned short *path) = 0;
    virtual HRESULT __stdcall GetFileName(BSTR *out) = 0;
    virtual HRESULT __stdcall Reopen() = 0;
    virtual HRESULT __stdcall LogException(const WinException &e) = 0;
    virtual HRESULT __cdecl LogFormat(const unsigned short *fmt, ...) = 0;
    virtual HRESULT __stdcall LogText(const String &text) = 0;
    virtual HRESULT __stdcall FormatLine(String &out, const String &text) = 0;
};

}  // namespace logclient

#endif
