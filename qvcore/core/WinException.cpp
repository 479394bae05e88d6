#include "qvcore/core/WinException.h"

#include "qvcore/core/SystemText_p.h"

// --- WinException ------------------------------------------------------------------------------

WinException::WinException(const unsigned short *context) : m_context(context), m_line(0), m_code(0)
{
}

WinException::WinException(const WinException &other) = default;
WinException &WinException::operator=(const WinException &other) = default;
WinException::~WinException() = default;

String WinException::GetText() const
{
    String error = GetErrorString();
    if (error.empty())
        error = u"Unknown error";
    return String::FromFormat(String(u"%s (0x%08x)"), error.c_str(), static_cast<unsigned int>(m_code));
}

String WinException::GetErrorString() const
{
    return String::FromError(static_cast<unsigned long>(m_code));
}

// --- SEHException ------------------------------------------------------------------------------

SEHException::SEHException(unsigned long code, void *location) : code_(code), location_(location)
{
}

SEHException &SEHException::operator=(const SEHException &other) = default;

String SEHException::GetCodeAsString() const
{
    const char16_t *name;
    switch (code_) {
    case 0x80000002: name = u"Data type misalignment"; break;
    case 0x80000003: name = u"Break point"; break;
    case 0x80000004: name = u"Single step"; break;
    case 0xC0000005: name = u"Access violation"; break;
    case 0xC0000006: name = u"In page error"; break;
    case 0xC000001D: name = u"Illegal instruction"; break;
    case 0xC0000025: name = u"Non-continuable exception"; break;
    case 0xC0000026: name = u"Invalid disposition"; break;
    case 0xC000008C: name = u"Array bounds exceeded"; break;
    case 0xC000008D: name = u"Denormal operand (FLT)"; break;
    case 0xC000008E: name = u"Divide by zero (FLT)"; break;
    case 0xC000008F: name = u"Inexact result (FLT)"; break;
    case 0xC0000090: name = u"Invalid operation (FLT)"; break;
    case 0xC0000091: name = u"Overflow (FLT)"; break;
    case 0xC0000092: name = u"Stack check (FLT)"; break;
    case 0xC0000093: name = u"Underflow (FLT)"; break;
    case 0xC0000094: name = u"Divide by zero (INT)"; break;
    case 0xC0000095: name = u"Overflow (INT)"; break;
    case 0xC0000096: name = u"Priv instruction"; break;
    case 0xC00000FD: name = u"Stack overflow"; break;
    default: name = u"Unknown"; break;
    }
    return String(name);
}

String SEHException::GetModuleFileName() const
{
    // A null handle would name the executable: a location outside every module has no name.
    HMODULE module = SystemText::ModuleOfAddress(location_);
    if (!module)
        return String();
    return SystemText::ModuleFileName(module);
}

String SEHException::GetMsg() const
{
    // "%IX" is pointer-sized: a 64-bit location is written whole rather than cut to 32 bits.
    return String::FromFormat(String(u"Fatal exception '%s' caused by module '%s' at location 0x%08IX"),
                              GetCodeAsString().c_str(), GetModuleFileName().c_str(),
                              reinterpret_cast<UINT_PTR>(location_));
}
