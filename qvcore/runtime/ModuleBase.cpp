#include "qvcore/runtime/ModuleBase.h"

ModuleBase::ModuleBase(HINSTANCE module) : module_(module), resources_(module) {}

ModuleBase::~ModuleBase() {}

HINSTANCE ModuleBase::GetHInstance(const void *address)
{
    MEMORY_BASIC_INFORMATION info;
    if (VirtualQuery(address, &info, sizeof info) == 0)
        return nullptr;
    return static_cast<HINSTANCE>(info.AllocationBase);
}

String ModuleBase::LoadString(unsigned int id, int firstLine, int lastLine) const
{
    return LoadString(resources_, id, firstLine, lastLine);
}

String ModuleBase::LoadString(HINSTANCE module, unsigned int id, int firstLine, int lastLine)
{
    // Entries are stored sixteen to a block; block ids are 16-bit, so larger ids have none.
    const unsigned int block = id / 16 + 1;
    if (id == 0 || block > 0xFFFF)
        return String();
    HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(block), MAKEINTRESOURCEA(6) /* RT_STRING */);
    if (!found)
        return String();
    HGLOBAL loaded = LoadResource(module, found);
    const unsigned short *entry = loaded ? static_cast<const unsigned short *>(LockResource(loaded)) : nullptr;
    if (!entry)
        return String();
    // Each entry is its length in units followed by the units; a damaged block must not make
    // the walk leave the resource.
    const unsigned short *end = entry + SizeofResource(module, found) / 2;
    for (unsigned int skip = id % 16; skip > 0 && entry < end; --skip)
        entry += 1 + *entry;
    if (entry >= end || *entry > end - entry - 1)
        return String();
    return String::GetLines(entry + 1, *entry, firstLine, lastLine);
}
