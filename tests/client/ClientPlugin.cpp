#include "tests/client/ClientPlugin.h"

#include "qvcore/core/MemoryBlock.h"

#include <algorithm>

extern "C" __declspec(dllexport) std::string PluginCollect(const std::string &text, int piece)
{
    MemoryBlockVector vector;
    for (std::size_t at = 0; at < text.size(); at += piece)
        vector.append(text.data() + at, static_cast<int>(std::min<std::size_t>(piece, text.size() - at)));
    return vector.toString();
}

extern "C" __declspec(dllexport) int PluginMakeBlock(int size)
{
    // An exception thrown in qvcore.dll passes through this module on its way to the caller.
    MemoryBlock block(size, 'z');
    return block.size();
}

extern "C" __declspec(dllexport) String PluginDecorate(const String &text)
{
    String result = text.UpperCase();
    result << u" from the plug-in";
    return result;
}

extern "C" __declspec(dllexport) String PluginTail(const String &text, int start)
{
    return text.Mid(start);
}
