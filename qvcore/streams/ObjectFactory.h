#ifndef QVCORE_STREAMS_OBJECTFACTORY_H
#define QVCORE_STREAMS_OBJECTFACTORY_H

#include "qvcore/Platform.h"
#include "qvcore/core/NotCopyable.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"
#include "qvcore/runtime/QvUnknown.h"

#include <map>
#include <string>
#include <typeinfo>

// The registry of creatable classes. A class id is a hash of the class's name, never an
// order of registration: the same class has the same id in every process, build and
// architecture, which is what lets stored object graphs (the serializing streams) read back.

/// What a registered class supplies to a factory. The objects handed out are COM-style: each
/// comes with one reference that the receiver releases.
class IObjectFactoryObjectFunctions {
public:
    virtual ~IObjectFactoryObjectFunctions() {}
    /// A new instance with one reference (the caller's).
    virtual IUnknown *CreateInstance() const = 0;
    /// Whether the class keeps one instance per identity key.
    virtual bool IsSingleton() const = 0;
    /// The identity key of a singleton instance of the class.
    virtual String GetSingletonKey(IUnknown *singleton) const = 0;
    /// Target null: the existing singleton of key with a new reference, or null when there is
    /// none. Otherwise the existing singleton's state is moved into target, which is returned
    /// (no reference added); null when no singleton of key exists.
    virtual IUnknown *TransferSingleton(const String &key, IUnknown *target) const = 0;
    /// Whether object is the singleton whose identity key is key.
    virtual bool IsSingletonObject(IUnknown *object, const String &key) const = 0;
};

/// Class ids, function lookup and creation. Interfaces of the library use the compiler's
/// default calling convention.
class IObjectFactory : public virtual IUnknown {
public:
    /// The id of the type's qualified name: every "struct " and then every "class " is removed
    /// from the name first, so a type's id equals the id of its bare qualified name
    /// ("ns::Thing"; template arguments in g++'s spelling, "Box<ns::Thing, int>").
    virtual int GetClassID(const std::type_info &type) const = 0;
    /// The hash of name (characters as signed bytes); an empty or null name gives 0.
    virtual int GetClassID(const char *name) const = 0;
    /// The functions registered for id, or null. The pointer stays valid while the
    /// registration that made it stands.
    virtual const IObjectFactoryObjectFunctions *GetObjectFactoryObjectFunctions(int id) const = 0;
    /// A new instance (one reference, the caller's) of the class registered for the id, or null.
    virtual IUnknown *CreateObject(const std::type_info &type) const = 0;
    virtual IUnknown *CreateObject(const char *name) const = 0;
    virtual IUnknown *CreateObject(int id) const = 0;
};

/// A factory: an ordered map from class id to the functions registered for it. Created with
/// new and freed by the Release that ends its count. Lookups may run on several threads at
/// once, also while another thread registers (a plug-in loading); the map is guarded by a
/// slim reader/writer lock.
///
/// Classes reach a factory through ObjectFactoryClass (the QV_SERIAL_CLASS and
/// QV_SERIAL_SINGLETON lines below), which owns the functions and takes them out again when it
/// is destroyed; the map itself owns nothing. Registering an id again replaces the functions
/// recorded for it (no error: two names with the same hash share one entry).
class QVCORE_API ObjectFactory : public IObjectFactory, public virtual QvUnknown, public NotCopyable {
public:
    ObjectFactory();
    ~ObjectFactory() override;

    int GetClassID(const std::type_info &type) const override;
    int GetClassID(const char *name) const override;
    const IObjectFactoryObjectFunctions *GetObjectFactoryObjectFunctions(int id) const override;
    IUnknown *CreateObject(const std::type_info &type) const override;
    IUnknown *CreateObject(const char *name) const override;
    IUnknown *CreateObject(int id) const override;

    /// The hash of name, as GetClassID(const char *) gives it.
    static int ClassIDOf(const char *name);
    /// The qualified name of a type as the class id sees it ("ns::Thing").
    static std::string ClassNameOf(const std::type_info &type);

private:
    friend class ObjectFactoryRegistrar;

    /// Sets the functions for the id of name (no name: of the prototype's dynamic type) and
    /// returns that id.
    int Register(const IUnknown &prototype, const char *name, IObjectFactoryObjectFunctions *functions);
    /// Removes the entry of id when it still holds functions (a later registration of the same
    /// id stays).
    void Unregister(int id, const IObjectFactoryObjectFunctions *functions);

    std::map<int, IObjectFactoryObjectFunctions *> classes_;
    mutable SRWLOCK lock_;
};

/// The one way into a factory's private registration, for ObjectFactoryClass and for
/// registration schemes of a client's own.
class QVCORE_API ObjectFactoryRegistrar {
public:
    /// As ObjectFactory::Register; returns the id registered. The factory does not own
    /// functions: the caller keeps it alive until it unregisters it.
    static int Register(ObjectFactory &factory, const IUnknown &prototype, const char *name,
                        IObjectFactoryObjectFunctions *functions);
    static void Unregister(ObjectFactory &factory, int id, const IObjectFactoryObjectFunctions *functions);
};

/// The functions of a plain class T: default-constructed with new, never a singleton.
/// T is a QvUnknown (or counts its references alike) and default-constructible.
template <class T>
class SerialClassFunctions : public IObjectFactoryObjectFunctions {
public:
    IUnknown *CreateInstance() const override { return static_cast<IUnknown *>(new T); }
    bool IsSingleton() const override { return false; }
    String GetSingletonKey(IUnknown *) const override { return String(); }
    IUnknown *TransferSingleton(const String &, IUnknown *) const override { return nullptr; }
    bool IsSingletonObject(IUnknown *, const String &) const override { return false; }
};

/// The functions of a singleton class T: one live instance per identity key. T supplies
///   String SingletonKey() const;                    // its key, once its data has been read
///   static T *FindSingleton(const String &key);     // the live instance of key or null (no reference)
///   void TakeSingletonState(const T &existing);     // copy existing's state into *this
/// and keeps its own table of live instances (typically: added at the end of Read, removed in
/// the destructor). The identity key the streams see is the class's name, ":" and T's key, so
/// keys of different singleton classes never meet.
template <class T>
class SerialSingletonFunctions : public SerialClassFunctions<T> {
public:
    bool IsSingleton() const override { return true; }
    String GetSingletonKey(IUnknown *singleton) const override
    {
        const T *object = dynamic_cast<const T *>(singleton);
        return object ? Prefix() + object->SingletonKey() : String();
    }
    IUnknown *TransferSingleton(const String &key, IUnknown *target) const override
    {
        T *existing = Own(key) ? T::FindSingleton(key.substr(Prefix().size())) : nullptr;
        if (!existing)
            return nullptr;
        if (!target) {
            existing->AddRef();
            return static_cast<IUnknown *>(existing);
        }
        T *into = dynamic_cast<T *>(target);
        if (!into)
            return nullptr;
        if (into != existing)
            into->TakeSingletonState(*existing);
        return target;
    }
    bool IsSingletonObject(IUnknown *object, const String &key) const override
    {
        const T *typed = dynamic_cast<const T *>(object);
        return typed && Own(key) && key.compare(Prefix().size(), String::npos, typed->SingletonKey()) == 0;
    }

private:
    static const String &Prefix()
    {
        static const String prefix = String::FromLatin1(ObjectFactory::ClassNameOf(typeid(T)) + ":");
        return prefix;
    }
    static bool Own(const String &key) { return key.compare(0, Prefix().size(), Prefix()) == 0; }
};

/// Registers T with a factory for as long as this object lives, under name (null: T's
/// qualified name, which equals the id of its type). It owns the functions and holds a
/// reference to the factory; its destructor takes the entry out again (unless a later
/// registration replaced it) and releases the factory. Declared at namespace scope in the
/// module that defines T, it lives as long as that module: a plug-in DLL that unloads leaves
/// no entry behind that points into it.
template <class T, class Functions = SerialClassFunctions<T>>
class ObjectFactoryClass : public NotCopyable {
public:
    explicit ObjectFactoryClass(ObjectFactory &factory, const char *name = nullptr) : factory_(&factory)
    {
        factory.AddRef();  // adopted by factory_, released after the entry is out again
        // Without a name the id is that of T's qualified name, which is what Register would
        // compute from a prototype of T: asking for the name spares making an instance (and a
        // singleton's constructor its side effects). The factory stands in as the prototype,
        // which Register does not look at when it is given a name.
        const std::string typeName = name ? std::string() : ObjectFactory::ClassNameOf(typeid(T));
        id_ = ObjectFactoryRegistrar::Register(factory, factory, name ? name : typeName.c_str(), &functions_);
    }
    ~ObjectFactoryClass() { ObjectFactoryRegistrar::Unregister(*factory_.get(), id_, &functions_); }
    /// The class id registered.
    int ID() const { return id_; }

private:
    Functions functions_;
    ComPtr<ObjectFactory> factory_;
    int id_;
};

#define QV_SERIAL_JOIN2(a, b) a##b
#define QV_SERIAL_JOIN(a, b) QV_SERIAL_JOIN2(a, b)

/// One line per class, at namespace scope in the module that defines it:
///   QV_SERIAL_CLASS(AppFactory(), Document);
///   QV_SERIAL_CLASS_NAMED(AppFactory(), Document, "old::Document");   // also the id of a name
/// Streams write the id of an object's type (its qualified name) whatever it is registered
/// under; a second registration under an old name lets objects a stream creates come back from
/// data written before a class was renamed or moved.
///   QV_SERIAL_SINGLETON(AppFactory(), Palette);
/// At block scope the registration lasts for the block; as a class member, for the object.
#define QV_SERIAL_CLASS(factory, Class) \
    const ObjectFactoryClass<Class> QV_SERIAL_JOIN(qvSerialClass_, __LINE__){factory}
#define QV_SERIAL_CLASS_NAMED(factory, Class, name) \
    const ObjectFactoryClass<Class> QV_SERIAL_JOIN(qvSerialClass_, __LINE__){factory, name}
#define QV_SERIAL_SINGLETON(factory, Class) \
    const ObjectFactoryClass<Class, SerialSingletonFunctions<Class>> QV_SERIAL_JOIN(qvSerialClass_, __LINE__){factory}
#define QV_SERIAL_SINGLETON_NAMED(factory, Class, name) \
    const ObjectFactoryClass<Class, SerialSingletonFunctions<Class>> QV_SERIAL_JOIN(qvSerialClass_, __LINE__){factory, name}

#endif
