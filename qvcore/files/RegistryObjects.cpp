// RegistryKey's objects: object graphs stored as compressed binary values.

#include "qvcore/files/RegistryKey.h"

#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/SerializingStream.h"

namespace {

// The serialized, compressed bytes of object.
std::string ObjectBytes(const IObjectFactory &factory, const ISerializable &object)
{
    // A failure another chain left on this thread is its owner's, not this value's.
    StreamBase::LateFailureScope ownFailures;
    MemoryOutputStream memory;
    {
        CompressingStream compressing(memory, /*level=*/-1);
        SerializingOutputStream serializing(factory, compressing);
        serializing.Write(object);
        // Front first: whatever the filters hold goes into memory now, where a failure is
        // still an exception.
        memory.Flush();
    }
    // The compressing stream ends its zlib stream in its destructor, which records a failure
    // instead of throwing: a value cut short must not be stored.
    StreamBase::Exception late;
    if (ownFailures.Take(late))
        throw late;
    return memory.GetContent();
}

}  // namespace

long RegistryKey::WriteObject(const String &name, const IObjectFactory &factory, const ISerializable &object) const
{
    return SetBinary(name, ObjectBytes(factory, object));
}

long RegistryKey::ReadObject(const String &name, const IObjectFactory &factory, ISerializable &object) const
{
    long result = ERROR_SUCCESS;
    ReadObjectInternal(name, factory, &object, result);
    return result;
}

ISerializable *RegistryKey::ReadObjectInternal(const String &name, const IObjectFactory &factory,
                                               ISerializable *object, long &result) const
{
    std::string bytes;
    result = GetBinary(name, bytes);
    // Another type or an empty value leaves the object as it is, as the typed getters do.
    if (result != ERROR_SUCCESS || bytes.empty())
        return nullptr;
    MemoryInputStream memory(bytes);
    DecompressingStream decompressing(memory);
    SerializingInputStream serializing(factory, decompressing);
    if (!object)
        return serializing.Create();
    serializing.Read(*object);
    return object;
}
