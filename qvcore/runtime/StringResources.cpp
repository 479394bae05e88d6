// The String members that take their text from a module's string table. They are declared with
// String and defined here, in the layer of ModuleBase.

#include "qvcore/core/String.h"
#include "qvcore/runtime/ModuleBase.h"

#include <cstdarg>

namespace {

// Stands in for an argument list with no arguments: any insert reads zeros instead of
// whatever lies on the stack.
const void *const kNoArguments[256] = {};

const unsigned short kCrLf[] = {13, 10, 0};

}  // namespace

String String::FromFormat(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    String result = FromFormatV(module, id, args);
    va_end(args);
    return result;
}

String String::FromFormatV(ModuleBase *module, unsigned int id, va_list args)
{
    if (!module)
        return String();
    return FromFormatV(module->LoadString(id, 0, -1), args);
}

String String::FromFormatMessage(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    String result = FromFormatMessageV(module, id, args);
    va_end(args);
    return result;
}

String String::FromFormatMessageV(ModuleBase *module, unsigned int id, va_list args)
{
    if (!module)
        return String();
    return FromFormatMessageV(module->LoadString(id, 0, -1), args);
}

String &String::FormatMessage(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    *this = FromFormatMessageV(module, id, args);
    va_end(args);
    return *this;
}

String &String::LoadString(unsigned int id, int firstLine, int lastLine, ModuleBase *module)
{
    *this = module ? module->LoadString(id, firstLine, lastLine) : String();
    return *this;
}

void String::AddMessage(ModuleBase *module, String &text, unsigned int id)
{
    if (id == 0) {
        text << kCrLf;
        return;
    }
    String message;
    if (module) {
        va_list none = reinterpret_cast<va_list>(const_cast<void **>(kNoArguments));
        message = FromFormatMessageV(module->LoadString(id, 0, -1), none);
    }
    if (!text.empty())
        text << kCrLf;
    text << message;
}
