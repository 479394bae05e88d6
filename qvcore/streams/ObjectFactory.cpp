#include "qvcore/streams/ObjectFactory.h"

#include "qvcore/core/CriticalSection_p.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace {

void eraseAll(std::string &text, const char *word)
{
    const std::size_t length = std::char_traits<char>::length(word);
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at))
        text.erase(at, length);
}

}  // namespace

ObjectFactory::ObjectFactory()
{
    InitializeSRWLock(&lock_);
}

ObjectFactory::~ObjectFactory() {}

int ObjectFactory::ClassIDOf(const char *name)
{
    // Stored data holds these ids: the arithmetic is 32-bit with wrap-around and each
    // character counts as a signed byte (so characters above 0x7F are negative), exactly as
    // the data written by every earlier build computed it.
    unsigned int h = 0;
    for (const char *c = name; c && *c; ++c)
        h += (2 * h) ^ static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(*c)));
    return static_cast<int>(h);
}

std::string ObjectFactory::ClassNameOf(const std::type_info &type)
{
    // g++ names types in their mangled form ("N2ns5ThingE"); ids are defined on the readable
    // form, from which "struct " and "class " are removed (they appear in other compilers'
    // names, template arguments included).
    int status = 0;
    std::unique_ptr<char, void (*)(void *)> readable(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                     std::free);
    std::string name = readable ? readable.get() : type.name();
    eraseAll(name, "struct ");
    eraseAll(name, "class ");
    return name;
}

int ObjectFactory::GetClassID(const char *name) const
{
    return ClassIDOf(name);
}

int ObjectFactory::GetClassID(const std::type_info &type) const
{
    return ClassIDOf(ClassNameOf(type).c_str());
}

const IObjectFactoryObjectFunctions *ObjectFactory::GetObjectFactoryObjectFunctions(int id) const
{
    SharedGuard guard(lock_);
    auto found = classes_.find(id);
    return found == classes_.end() ? nullptr : found->second;
}

IUnknown *ObjectFactory::CreateObject(int id) const
{
    const IObjectFactoryObjectFunctions *functions = GetObjectFactoryObjectFunctions(id);
    return functions ? functions->CreateInstance() : nullptr;
}

IUnknown *ObjectFactory::CreateObject(const char *name) const
{
    return CreateObject(GetClassID(name));
}

IUnknown *ObjectFactory::CreateObject(const std::type_info &type) const
{
    return CreateObject(GetClassID(type));
}

int ObjectFactory::Register(const IUnknown &prototype, const char *name, IObjectFactoryObjectFunctions *functions)
{
    int id = name ? GetClassID(name) : GetClassID(typeid(prototype));
    ExclusiveGuard guard(lock_);
    classes_[id] = functions;
    return id;
}

void ObjectFactory::Unregister(int id, const IObjectFactoryObjectFunctions *functions)
{
    ExclusiveGuard guard(lock_);
    auto found = classes_.find(id);
    if (found != classes_.end() && found->second == functions)
        classes_.erase(found);
}

int ObjectFactoryRegistrar::Register(ObjectFactory &factory, const IUnknown &prototype, const char *name,
                                     IObjectFactoryObjectFunctions *functions)
{
    return factory.Register(prototype, name, functions);
}

void ObjectFactoryRegistrar::Unregister(ObjectFactory &factory, int id, const IObjectFactoryObjectFunctions *functions)
{
    factory.Unregister(id, functions);
}
