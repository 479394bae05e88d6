#ifndef QVCORE_STREAMS_SERIALIZINGSTREAM_H
#define QVCORE_STREAMS_SERIALIZINGSTREAM_H

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/streams/ObjectFactory.h"
#include "qvcore/streams/StreamBase.h"

#include <cstdint>
#include <map>
#include <memory>
#include <typeinfo>
#include <utility>
#include <vector>

// Streams of object graphs. An object is written as its class id (from the factory, for its
// dynamic type), its class's version and then its own data, which its Write puts through the
// usual stream operators; a reference is written once per object, so shared objects and
// cycles come back as they were. Plain bytes pass straight through: both streams sit on top
// of any chain (compression, CRC blocks, Base64, files, memory).
//
// Wire format (little-endian; no header or trailer; items interleave with the objects' data,
// and every object and reference takes the next sequence number, from 0):
//   object                    int32 class id (never 0), int16 version, the object's data
//   reference                 int32 0, int32 0x80190311, int32 r: r = the reference's own
//                             number: the object follows inline; 0 or -1: null; otherwise
//                             the number of an object already in the stream
//   singleton back-reference  int32 0, int32 0x96190311, int32 r (a singleton written as r)
// Bytes written for a graph are the same in every build and on both architectures.

class SerializingInputStream;
class SerializingOutputStream;

/// An object that writes its own data into a serializing stream and reads it back.
class ISerializable : public virtual IUnknown {
public:
    /// Reads the data written by version version of the class, never newer than Version().
    virtual void Read(SerializingInputStream &in, short version) = 0;
    /// Writes the object's data (fields with <<, references with WriteRef).
    virtual void Write(SerializingOutputStream &out) const = 0;
    /// The version of the class's data layout, raised whenever Write changes.
    virtual short Version() const = 0;
};

/// What one stream learns about classes as it meets them, so that no object pays for it again:
/// the class id of each type (its name demangled and hashed once), the functions of the last
/// class id asked for, and where the ISerializable of a created object of the last type lies.
/// Internal to the streams below.
class SerialClassCache {
public:
    int ClassID(const IObjectFactory &factory, const std::type_info &type);
    const IObjectFactoryObjectFunctions *Functions(const IObjectFactory &factory, int classID);
    /// The ISerializable interface of created, or null when it has none.
    ISerializable *Serializable(IUnknown *created);

private:
    const std::type_info *lastType_ = nullptr;
    int lastID_ = 0;
    std::map<const std::type_info *, int> known_;
    int functionsID_ = 0;
    const IObjectFactoryObjectFunctions *functions_ = nullptr;
    const std::type_info *castType_ = nullptr;
    std::ptrdiff_t castOffset_ = 0;
};

/// An open-addressing hash table from object addresses to numbers, for the lookup the output
/// stream makes for every reference: one probe and no allocation per entry, where a tree map
/// costs a node and a walk through a million of them. Internal to the streams below; the
/// order of entries is never used.
class SerialAddressTable {
public:
    /// The number recorded for address, or null.
    const int *Find(const void *address) const
    {
        if (slots_.empty())
            return nullptr;
        for (std::size_t i = Start(address);; i = (i + 1) & (slots_.size() - 1)) {
            const Slot &slot = slots_[i];
            if (!slot.address)
                return nullptr;
            if (slot.address == address)
                return &slot.number;
        }
    }
    /// Records number for address (not null, not in the table yet).
    void Insert(const void *address, int number)
    {
        if (2 * (count_ + 1) > slots_.size())
            Grow();
        std::size_t i = Start(address);
        while (slots_[i].address)
            i = (i + 1) & (slots_.size() - 1);
        slots_[i] = Slot{address, number};
        ++count_;
    }

private:
    struct Slot {
        const void *address;
        int number;
    };
    // Objects allocated one after another lie at rising, evenly spaced addresses, and a
    // graph refers mostly to objects written shortly before: slots in the order of the
    // addresses keep those probes in the cache (a scattering hash costs a cache miss per new
    // object). Folding the high bits in keeps addresses that differ there only (large, aligned
    // objects) off one slot.
    std::size_t Start(const void *address) const
    {
        std::uintptr_t bits = reinterpret_cast<std::uintptr_t>(address) >> 4;
        return static_cast<std::size_t>(bits ^ (bits >> 16)) & (slots_.size() - 1);
    }
    void Grow()
    {
        std::vector<Slot> old(slots_.empty() ? 64 : 2 * slots_.size(), Slot{nullptr, 0});
        old.swap(slots_);
        count_ = 0;
        for (const Slot &slot : old)
            if (slot.address)
                Insert(slot.address, slot.number);
    }

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

/// Writes objects and references into a target stream. Neither the factory nor the target is
/// owned; both must outlive the stream, and the registrations it uses must stand while it is
/// used (it remembers the functions of the classes it meets). Objects are not referenced
/// either: each must stay alive (at its address) while the stream lives, since addresses
/// identify shared objects.
class QVCORE_API SerializingOutputStream : public OutputStream {
public:
    SerializingOutputStream(const IObjectFactory &factory, OutputStream &target);
    ~SerializingOutputStream() noexcept(false) override;

    /// An object item: the class id of object's dynamic type, Version(), then object.Write.
    /// A singleton already written in this stream (by its class's identity key) becomes a
    /// singleton back-reference instead. A class the factory does not know is written all the
    /// same (its id from its name); a reader needs it registered. Objects nest at most
    /// SerializingInputStream::MaxNesting deep, as a reader takes them: an object deeper
    /// inside others' data throws code 3 (MalformedData) "Objects nested too deeply to be read
    /// back", after the items above it have gone to the target.
    void Write(const ISerializable &object);
    /// A reference item, followed by the object itself the first time an address is written;
    /// null is written as a null reference.
    void WriteRef(const ISerializable *object);

    /// Plain bytes, passed to the target as they are.
    void Write(const char *data, int count) override;
    int Reserve(char *&space) override;
    void Commit(int count) override;

private:
    struct ItemBytes;
    void WriteCommand(unsigned int command, int number);
    /// Writes object's item after the bytes already in item, all in one Write.
    void WriteObject(const ISerializable &object, ItemBytes &item);

    const IObjectFactory &factory_;
    int itemCounter_;
    std::map<String, int> singletonsWritten_;
    SerialAddressTable objectsWritten_;
    SerialClassCache classes_;
    int nesting_;
};

/// Told of each item as a SerializingInputStream reads it, for tools that show a stream's
/// structure. Numbers are the items' sequence numbers.
class ISerializingObserver {
public:
    virtual ~ISerializingObserver() {}
    /// An object item's class id has been read (its version and data follow).
    virtual void ObjectBegins(int number, int classID) = 0;
    /// The object's version has been read; its data follows.
    virtual void ObjectVersion(int number, short version) = 0;
    /// The object item number has been read to the end of its data.
    virtual void ObjectEnds(int number) = 0;
    /// A reference item has been read: r as written (its own number: an inline object follows).
    virtual void ReferenceRead(int number, int r) = 0;
    /// A singleton back-reference to the singleton read as r.
    virtual void SingletonReferenceRead(int number, int r) = 0;
};

/// Reads objects and references from a source stream, creating objects through the factory.
/// Neither the factory nor the source is owned; the registrations it uses must stand while it
/// is used.
///
/// References: every object read inline after a reference is kept (one reference held by the
/// stream) until the stream is destroyed, so later references to it resolve. ReadRef and
/// Create hand the caller a reference of its own, which the caller releases (or adopts into a
/// ComPtr); the object then lives as long as the longer of the two holders.
///
/// Failures: every malformed item throws StreamBase::Exception code 3 (MalformedData) with
/// the item's text; a version newer than the class knows throws code 6 (VersionTooHigh); the
/// source's own failures (code 5 at its end) pass through. An object created by Create before
/// the failure is released; the stream is not usable afterwards. Objects nest at most
/// MaxNesting deep (inline objects inside inline objects' data): deeper data is malformed,
/// where reading it would exhaust the thread's stack.
class QVCORE_API SerializingInputStream : public InputStream {
public:
    /// A singleton read from the stream whose single instance already exists. Carries code 3
    /// and "Duplicate singelton object in stream" and holds a reference to the existing object
    /// (null when it could not be had).
    struct SingeltonObjectExistsException : StreamBase::Exception {
        explicit SingeltonObjectExistsException(ISerializable *existing)
            : StreamBase::Exception{MalformedData, String(L"Duplicate singelton object in stream")}, object(existing)
        {
            if (object)
                object->AddRef();
        }
        SingeltonObjectExistsException(const SingeltonObjectExistsException &other)
            : StreamBase::Exception(other), object(other.object)
        {
            if (object)
                object->AddRef();
        }
        SingeltonObjectExistsException &operator=(const SingeltonObjectExistsException &) = delete;
        ~SingeltonObjectExistsException()
        {
            if (object)
                object->Release();
        }
        ISerializable *object;
    };

    static const int MaxNesting = 2000;

    SerializingInputStream(const IObjectFactory &factory, InputStream &source);
    /// Releases the objects the stream kept.
    ~SerializingInputStream() noexcept(false) override;

    /// Reads the next object item into object, whose class must be the item's; a singleton
    /// back-reference transfers the existing singleton's state into it.
    void Read(ISerializable &object);
    /// Reads the next object item as a new object (one reference, the caller's); a singleton
    /// back-reference gives the existing singleton.
    ISerializable *Create();
    /// Reads a reference item: the object it denotes (a reference of the caller's own), or
    /// null.
    ISerializable *ReadRef();

    /// Reports every item read from now on to observer (not owned; null: none).
    void SetObserver(ISerializingObserver *observer) { this->observer_ = observer; }

    /// Plain bytes from the source.
    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;
    int Peek(const char *&data) override;
    void Skip(int count) override;

private:
    struct SingletonRead {
        String key;
        int classID;
        const IObjectFactoryObjectFunctions *functions;
    };

    ISerializable *ReadObject(ISerializable *target, bool afterReference);
    ISerializable *ReadSingletonReference(ISerializable *target, int expectedID, int number);
    void CheckSingleton(const IObjectFactoryObjectFunctions &functions, ISerializable *object, int classID,
                        int number);
    void Keep(int number, ISerializable *object);

    const IObjectFactory &factory_;
    int itemCounter_;
    std::map<int, SingletonRead> singletonsRead_;
    // Objects are kept in the order of their numbers, which rise: appending keeps the order,
    // a lookup is a binary search, and references mostly go to recent objects, whose end of
    // the search stays in the cache.
    std::vector<std::pair<int, ComPtr<ISerializable>>> objectsRead_;
    SerialClassCache classes_;
    int nesting_;
    ISerializingObserver *observer_;
};

#endif
