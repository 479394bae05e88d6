// The parser's identifiers, its objects' creation and the process-wide choice of generation.

#include "qvcore/runtime/SysInfo.h"
#include "qvcore/xml/XMLCom_p.h"

namespace xmlcom {

const CLSID kDOMDocument40 = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
const CLSID kXMLSchemaCache40 = {0x88D969C2, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
const CLSID kXMLDocument = {0xCFC399AF, 0xD876, 0x11D0, {0x9C, 0x10, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};
const IID kIXMLDOMDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
const IID kIXMLDOMSchemaCollection = {0x373984C8, 0xB845, 0x449B, {0x91, 0xE7, 0x45, 0xAC, 0x83, 0x03, 0x6A, 0xDE}};
const IID kIXMLDocument = {0xF52E2B61, 0x18A1, 0x11D1, {0xB1, 0x05, 0x00, 0x80, 0x5F, 0x49, 0x91, 0x6B}};
const IID kIXMLElement = {0x3F7F31AC, 0xE15F, 0x11D0, {0x9C, 0x25, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};
const IID kIXMLError = {0x948C5AD3, 0xC58D, 0x11D0, {0x9C, 0x0B, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};

namespace {

// 0 until the first choice, then 1 or 4 for the rest of the process. No lock: two threads
// choosing at once both probe and store the same answer.
int g_generation = 0;

// Only a document object that can be created, run and asked for its document interface
// counts: a registered class whose server cannot start is as good as none.
bool newerParserAvailable()
{
    ComPtr<IUnknown> document;
    return SUCCEEDED(CreateRunning(kDOMDocument40, kIXMLDOMDocument2, document.receiveVoid()));
}

int chooseGeneration()
{
    // A missing or unparsable value reads as 0: the probe decides.
    int forced = 0;
    SysInfo::GetEnvironmentVariableA(String(L"QVCORE_MSXMLVER")).ParseNum(forced);
    if (forced == 1 || forced == 4)
        return forced;
    return newerParserAvailable() ? 4 : 1;
}

}  // namespace

int Generation()
{
    // The answer is stored in one write, so that no thread ever sees a generation that a probe
    // under way on another thread would still change.
    if (g_generation == 0)
        g_generation = chooseGeneration();
    return g_generation;
}

HRESULT CreateRunning(REFCLSID clsid, REFIID iid, void **out)
{
    *out = nullptr;
    ComPtr<IUnknown> object;
    HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER,
                                  IID_IUnknown, object.receiveVoid());
    if (SUCCEEDED(hr))
        hr = OleRun(object.get());
    if (SUCCEEDED(hr))
        hr = object->QueryInterface(iid, out);
    return hr;
}

}  // namespace xmlcom
