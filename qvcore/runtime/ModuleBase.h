#ifndef QVCORE_RUNTIME_MODULEBASE_H
#define QVCORE_RUNTIME_MODULEBASE_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

/// An executable or library built on QvCore: its module handle and the module its resources
/// come from (itself unless a language file is in use).
class QVCORE_API ModuleBase {
public:
    /// module and resources both set to the handle (null: none yet).
    explicit ModuleBase(HINSTANCE module = nullptr);
    virtual ~ModuleBase();

    HINSTANCE GetModule() const { return module_; }
    HINSTANCE GetResources() const { return resources_; }

    /// The allocation base of the memory region holding address: for code or data of a module,
    /// its handle. Null when the address lies in no allocated region.
    static HINSTANCE GetHInstance(const void *address);

    /// Lines firstLine to lastLine (as String::GetLines) of string-table entry id, read straight
    /// from the resources. id 0, a missing block or an empty entry give an empty string.
    /// Exported under the narrow name; LoadStringW, and LoadString where a client has undefined
    /// the system's macro, lead to it whether or not the client defines UNICODE.
    String LoadStringA(unsigned int id, int firstLine = 0, int lastLine = -1) const;
    static String LoadStringA(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1);
    String LoadStringW(unsigned int id, int firstLine = 0, int lastLine = -1) const
    {
        return LoadStringA(id, firstLine, lastLine);
    }
    static String LoadStringW(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1)
    {
        return LoadStringA(module, id, firstLine, lastLine);
    }
#pragma push_macro("LoadString")
#undef LoadString
    String LoadString(unsigned int id, int firstLine = 0, int lastLine = -1) const
    {
        return LoadStringA(id, firstLine, lastLine);
    }
    static String LoadString(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1)
    {
        return LoadStringA(module, id, firstLine, lastLine);
    }
#pragma pop_macro("LoadString")

protected:
    HINSTANCE module_;
    HINSTANCE resources_;
};

#endif
