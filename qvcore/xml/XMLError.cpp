// The texts of XMLException: COM failures and the newer parser's parse errors.

#include "qvcore/core/TextCast_p.h"
#include "qvcore/xml/XMLCom_p.h"

#include <string>

using textcast::units;

namespace xmlcom {

namespace {

// The whole text of the system's message table for code in the default language, less one
// trailing line break; empty where the table has none. (String::FromError keeps the first
// line only.)
String systemMessage(HRESULT code)
{
    ScopedLocalMemory buffer;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                        FORMAT_MESSAGE_IGNORE_INSERTS,
                                    nullptr, static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                    reinterpret_cast<LPSTR>(buffer.receive()), 0, nullptr);
    if (length == 0 || !buffer)
        return String();
    std::string text(static_cast<const char *>(buffer.get()), length);
    if (text.size() >= 2 && text.compare(text.size() - 2, 2, "\r\n") == 0)
        text.resize(text.size() - 2);
    else if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return String::FromSystemMultibyte(text);
}

// What COM says about a code the message table does not know: codes an automation server
// defines for itself are numbered from 0x80040201 on.
String comMessage(HRESULT code)
{
    String message = systemMessage(code);
    if (!message.empty())
        return message;
    unsigned long value = static_cast<unsigned long>(code);
    if (value > 0x80040200ul && value <= 0x8004FFFFul)
        return String::FromFormat(units(L"IDispatch error #%d"), static_cast<int>((value & 0xFFFF) - 0x200));
    return String::FromFormat(units(L"Unknown error 0x%0lX"), value);
}

// The description of the thread's current COM error record (taking the record); empty when
// there is none.
String errorDescription()
{
    ComPtr<IErrorInfo> info;
    if (GetErrorInfo(0, info.receive()) != S_OK || !info)
        return String();
    Bstr description;
    if (FAILED(info->GetDescription(description.receive())))
        return String();
    return FromBstr(description.get());
}

}  // namespace

void Throw(int code, const String &message) { throw XMLException{code, message}; }

void ThrowComError(HRESULT hr) { Throw(XMLException::InternalError, ComErrorText(hr)); }

String ComErrorText(HRESULT hr)
{
    String text(L"Unexpected COM error.\n");
    String description = errorDescription();
    if (!description.empty())
        text << String::FromFormat(units(L"Description: %s\n"), description.c_str());
    text << String::FromFormat(units(L"Message: %s\n"), comMessage(hr).c_str());
    return text;
}

String ParseErrorText(IXMLDOMParseError *error)
{
    // The error is established; a detail the parser cannot give (Wine's has no url, and may
    // have no line) is a detail it does not report, not a failure of its own.
    Bstr reason, url;
    long line = 0, position = 0;
    if (FAILED(error->get_reason(reason.receive())))
        reason.reset();
    if (FAILED(error->get_url(url.receive())))
        url.reset();
    if (FAILED(error->get_line(&line)) || FAILED(error->get_linepos(&position)))
        line = 0;
    String text = FromBstr(reason.get());
    if (SysStringLen(url.get()) != 0)
        text << String::FromFormat(units(L"File: %s\n"), url.get());
    if (line != 0)
        text << String::FromFormat(units(L"Line/Pos: %d/%d\n"), static_cast<int>(line), static_cast<int>(position));
    return text;
}

namespace {

Bstr checkedBstr(BSTR text)
{
    if (!text)
        ThrowComError(E_OUTOFMEMORY);
    return Bstr(text);
}

}  // namespace

Bstr MakeBstr(const String &text)
{
    return checkedBstr(SysAllocStringLen(reinterpret_cast<const OLECHAR *>(text.data()), static_cast<UINT>(text.size())));
}

Bstr MakeBstr(const wchar_t *text) { return checkedBstr(SysAllocString(text ? text : L"")); }

}  // namespace xmlcom
