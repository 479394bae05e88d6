#ifndef QVCORE_TESTS_SUPPORT_XMLTESTSUPPORT_H
#define QVCORE_TESTS_SUPPORT_XMLTESTSUPPORT_H

// Shared by the XML tests. The test programs run once per parser generation (QVCORE_MSXMLVER
// set to 1, to 4, and unset): the generation is chosen once per process, so every test asks
// which one is in force and states what it expects of each. The oracles here talk to the
// system's parser directly, never through the library.

#include "qvcore/xml/XMLParser.h"

#include "tests/support/Expect.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

#include <msxml2.h>
#include <ocidl.h>

#include <cstring>
#include <string>

namespace xmltest {

const CLSID kDOMDocument40 = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
const CLSID kXMLDocument = {0xCFC399AF, 0xD876, 0x11D0, {0x9C, 0x10, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};
const IID kIXMLDOMDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
const IID kIXMLDocument = {0xF52E2B61, 0x18A1, 0x11D1, {0xB1, 0x05, 0x00, 0x80, 0x5F, 0x49, 0x91, 0x6B}};
const IID kIXMLError = {0x948C5AD3, 0xC58D, 0x11D0, {0x9C, 0x0B, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};

/// The generation the library must be using: the forced one, else what the probe finds.
inline int expectedGeneration()
{
    char value[16] = {};
    DWORD length = GetEnvironmentVariableA("QVCORE_MSXMLVER", value, sizeof value);
    if (length > 0 && length < sizeof value && (std::strcmp(value, "1") == 0 || std::strcmp(value, "4") == 0))
        return value[0] - '0';
    IUnknown *object = nullptr;
    if (FAILED(CoCreateInstance(kDOMDocument40, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER,
                                IID_IUnknown, reinterpret_cast<void **>(&object))))
        return 1;
    IUnknown *document = nullptr;
    bool usable = SUCCEEDED(OleRun(object)) &&
                  SUCCEEDED(object->QueryInterface(kIXMLDOMDocument2, reinterpret_cast<void **>(&document)));
    if (document)
        document->Release();
    object->Release();
    return usable ? 4 : 1;
}

/// True under Wine, whose parser the notes on some tests speak of.
inline bool runningOnWine()
{
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

/// What the system's message table says for a COM code, without its line break.
inline String systemMessage(HRESULT code)
{
    char *buffer = nullptr;
    DWORD length = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                  reinterpret_cast<char *>(&buffer), 0, nullptr);
    std::string text(buffer ? buffer : "", length);
    LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return String::FromSystemMultibyte(text);
}

/// The library's text for a COM call given a null pointer: E_POINTER's system text in a fixed
/// frame, or the code itself where the system has no text for it (Wine).
inline String invalidPointerText()
{
    const String system = systemMessage(E_POINTER);
    return String(L"Unexpected COM error.\nMessage: ") +
           (system.empty() ? String(L"Unknown error 0x80004003") : system) + String(L"\n");
}

/// What the newer parser itself reports for text (loaded as loadXML does) or for a file.
struct DirectParseError {
    bool failed = false;
    String reason, url;
    long line = 0, position = 0;
};

inline DirectParseError parseDirectly40(const String &textOrPath, bool isFile)
{
    DirectParseError result;
    IXMLDOMDocument2 *document = nullptr;
    if (FAILED(CoCreateInstance(kDOMDocument40, nullptr, CLSCTX_INPROC_SERVER, kIXMLDOMDocument2,
                                reinterpret_cast<void **>(&document))))
        return result;
    document->put_async(VARIANT_FALSE);
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    BSTR source = SysAllocString(reinterpret_cast<const OLECHAR *>(textOrPath.c_str()));
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (isFile) {
        VARIANT path;
        path.vt = VT_BSTR;
        path.bstrVal = source;
        document->load(path, &loaded);
    } else {
        document->loadXML(source, &loaded);
    }
    SysFreeString(source);
    IXMLDOMParseError *error = nullptr;
    if (loaded != VARIANT_TRUE && SUCCEEDED(document->get_parseError(&error))) {
        result.failed = true;
        BSTR reason = nullptr, url = nullptr;
        error->get_reason(&reason);
        error->get_url(&url);
        error->get_line(&result.line);
        error->get_linepos(&result.position);
        result.reason = String(reinterpret_cast<const unsigned short *>(reason ? reason : L""));
        result.url = String(reinterpret_cast<const unsigned short *>(url ? url : L""));
        SysFreeString(reason);
        SysFreeString(url);
        error->Release();
    }
    document->Release();
    return result;
}

/// The code the first-generation parser answers loading bytes from a stream, and whether the
/// document then offers its own error record.
struct DirectLoad1 {
    HRESULT hr = E_FAIL;
    bool hasErrorRecord = false;
};

inline DirectLoad1 loadDirectly1(const std::string &bytes)
{
    DirectLoad1 result;
    IXMLDocument *document = nullptr;
    if (FAILED(CoCreateInstance(kXMLDocument, nullptr, CLSCTX_INPROC_SERVER, kIXMLDocument,
                                reinterpret_cast<void **>(&document))))
        return result;
    IPersistStreamInit *persist = nullptr;
    IStream *stream = nullptr;
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    std::memcpy(GlobalLock(memory), bytes.data(), bytes.size());
    GlobalUnlock(memory);
    if (SUCCEEDED(document->QueryInterface(IID_IPersistStreamInit, reinterpret_cast<void **>(&persist))) &&
        SUCCEEDED(CreateStreamOnHGlobal(memory, TRUE, &stream))) {
        result.hr = persist->Load(stream);
        IUnknown *errors = nullptr;
        result.hasErrorRecord = SUCCEEDED(document->QueryInterface(kIXMLError, reinterpret_cast<void **>(&errors)));
        if (errors)
            errors->Release();
    }
    if (stream)
        stream->Release();
    if (persist)
        persist->Release();
    document->Release();
    return result;
}

/// The first-generation parser reports tag names in upper case; the newer one as written.
inline String reportedTag(int generation, const wchar_t *tag)
{
    return generation == 4 ? String(tag) : String(tag).UpperCase();
}

/// Each test runs in a COM apartment of its own, with a fresh folder for its files.
class XMLTest : public filetest::TempDirectoryTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        filetest::TempDirectoryTest::SetUp();
        generation_ = expectedGeneration();
    }
    void TearDown() override
    {
        filetest::TempDirectoryTest::TearDown();
        CoUninitialize();
    }

    int generation() const { return generation_; }
    String tag(const wchar_t *name) const { return reportedTag(generation_, name); }

    /// The file name, written with bytes.
    String file(const wchar_t *name, const std::string &bytes) const
    {
        String name_ = path(String(name));
        filetest::writeFile(name_, bytes);
        return name_;
    }

private:
    int generation_ = 0;
};

}  // namespace xmltest

#endif
