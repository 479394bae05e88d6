#include "qvcore/streams/SerializingStream.h"

#include <algorithm>
#include <cstring>

namespace {

// The second word of the two commands (the first is the 0 that no class id takes).
const unsigned int referenceTag = 0x80190311u;
const unsigned int singletonTag = 0x96190311u;

[[noreturn]] void throwMalformed(const wchar_t *text)
{
    StreamBase::ThrowMalformedData(String(text));
}

[[noreturn]] void throwVersionTooHigh()
{
    throw StreamBase::Exception{StreamBase::VersionTooHigh, String(L"Object version too high")};
}

// Counts the objects being written or read inside one another for the scope of one object
// item; the writer and the reader count alike, so that what one writes the other reads.
class NestingGuard {
public:
    NestingGuard(int &nesting, const wchar_t *tooDeep) : nesting_(nesting)
    {
        if (nesting_ >= SerializingInputStream::MaxNesting)
            throwMalformed(tooDeep);
        ++nesting_;
    }
    ~NestingGuard() { --nesting_; }
    NestingGuard(const NestingGuard &) = delete;
    NestingGuard &operator=(const NestingGuard &) = delete;

private:
    int &nesting_;
};

}  // namespace

int SerialClassCache::ClassID(const IObjectFactory &factory, const std::type_info &type)
{
    // A graph is mostly runs of one class: the last type answers without a lookup.
    if (&type == lastType_)
        return lastID_;
    auto found = known_.find(&type);
    int id = found != known_.end() ? found->second : known_.emplace(&type, factory.GetClassID(type)).first->second;
    lastType_ = &type;
    lastID_ = id;
    return id;
}

const IObjectFactoryObjectFunctions *SerialClassCache::Functions(const IObjectFactory &factory, int classID)
{
    // Only what was found is remembered: a class registered later is still found.
    if (!functions_ || classID != functionsID_) {
        functions_ = factory.GetObjectFactoryObjectFunctions(classID);
        functionsID_ = classID;
    }
    return functions_;
}

ISerializable *SerialClassCache::Serializable(IUnknown *created)
{
    // Objects of one dynamic type have one layout, so the interface lies at the same distance
    // from IUnknown in each: dynamic_cast, which walks the virtual bases comparing type names,
    // runs once per type.
    const std::type_info &type = typeid(*created);
    if (&type == castType_)
        return reinterpret_cast<ISerializable *>(reinterpret_cast<char *>(created) + castOffset_);
    ISerializable *object = dynamic_cast<ISerializable *>(created);
    if (object) {
        castType_ = &type;
        castOffset_ = reinterpret_cast<char *>(object) - reinterpret_cast<char *>(created);
    }
    return object;
}

// --- output --------------------------------------------------------------------------------

SerializingOutputStream::SerializingOutputStream(const IObjectFactory &factory, OutputStream &target)
    : OutputStream(&target), factory_(factory), itemCounter_(0), nesting_(0)
{
}

SerializingOutputStream::~SerializingOutputStream() noexcept(false) {}

void SerializingOutputStream::Write(const char *data, int count)
{
    Target().Write(data, count);
}

int SerializingOutputStream::Reserve(char *&space)
{
    return Target().Reserve(space);
}

void SerializingOutputStream::Commit(int count)
{
    Target().Commit(count);
}

// The bytes of one item, gathered so that the target gets them in one Write.
struct SerializingOutputStream::ItemBytes {
    char bytes[24];
    int size = 0;
    void Add(const void *value, int count)
    {
        std::memcpy(bytes + size, value, static_cast<std::size_t>(count));
        size += count;
    }
    void Command(unsigned int command, int number)
    {
        const int zero = 0;
        Add(&zero, 4);
        Add(&command, 4);
        Add(&number, 4);
    }
};

void SerializingOutputStream::WriteCommand(unsigned int command, int number)
{
    ItemBytes item;
    item.Command(command, number);
    Write(item.bytes, item.size);
}

void SerializingOutputStream::Write(const ISerializable &object)
{
    ItemBytes item;
    WriteObject(object, item);
}

void SerializingOutputStream::WriteObject(const ISerializable &object, ItemBytes &item)
{
    NestingGuard guard(nesting_, L"Objects nested too deeply to be read back");
    const int classID = classes_.ClassID(factory_, typeid(object));
    const int number = itemCounter_++;
    const IObjectFactoryObjectFunctions *functions = classes_.Functions(factory_, classID);
    if (functions && functions->IsSingleton()) {
        // Singletons are one object per key, whatever their address: the class says which key
        // this one has.
        IUnknown *unknown = const_cast<ISerializable *>(&object);
        for (const auto &written : singletonsWritten_) {
            if (functions->IsSingletonObject(unknown, written.first)) {
                item.Command(singletonTag, written.second);
                Write(item.bytes, item.size);
                return;
            }
        }
        singletonsWritten_.emplace(functions->GetSingletonKey(unknown), number);
    }
    const short version = object.Version();
    item.Add(&classID, 4);
    item.Add(&version, 2);
    Write(item.bytes, item.size);
    object.Write(*this);
}

void SerializingOutputStream::WriteRef(const ISerializable *object)
{
    const int number = itemCounter_++;
    if (!object) {
        // -1 in first place: a 0 there would be the reference's own number, which announces
        // an inline object.
        WriteCommand(referenceTag, number == 0 ? -1 : 0);
        return;
    }
    if (const int *written = objectsWritten_.Find(object)) {
        WriteCommand(referenceTag, *written);
        return;
    }
    // The inline object takes the next number; recorded first, so that a cycle back to it
    // while it writes its data is a plain reference. The reference and the object's header
    // go out together.
    objectsWritten_.Insert(object, number + 1);
    ItemBytes item;
    item.Command(referenceTag, number);
    WriteObject(*object, item);
}

// --- input ---------------------------------------------------------------------------------

SerializingInputStream::SerializingInputStream(const IObjectFactory &factory, InputStream &source)
    : InputStream(&source), factory_(factory), itemCounter_(0), nesting_(0), observer_(nullptr)
{
}

SerializingInputStream::~SerializingInputStream() noexcept(false) {}

void SerializingInputStream::Read(char *buffer, int count)
{
    source->Read(buffer, count);
}

int SerializingInputStream::ReadSome(char *buffer, int count)
{
    return source->ReadSome(buffer, count);
}

int SerializingInputStream::Peek(const char *&data)
{
    return source->Peek(data);
}

void SerializingInputStream::Skip(int count)
{
    source->Skip(count);
}

void SerializingInputStream::Read(ISerializable &object)
{
    ReadObject(&object, /*afterReference=*/false);
}

ISerializable *SerializingInputStream::Create()
{
    return ReadObject(nullptr, /*afterReference=*/false);
}

ISerializable *SerializingInputStream::ReadRef()
{
    const int number = itemCounter_++;
    unsigned int command[2];
    Read(reinterpret_cast<char *>(command), 8);
    if (command[0] != 0 || command[1] != referenceTag)
        throwMalformed(L"Next stream object is not a reference");
    int r;
    *this >> r;
    if (observer_)
        observer_->ReferenceRead(number, r);
    if (r == number)
        return ReadObject(nullptr, /*afterReference=*/true);
    if (r == 0 || r == -1)
        return nullptr;
    // References go mostly to objects read shortly before: the last few are looked at first.
    auto found = objectsRead_.end();
    for (int back = 0; back < 4 && found != objectsRead_.begin() && (found - 1)->first >= r; ++back)
        --found;
    if (found == objectsRead_.end() || found->first != r)
        found = std::lower_bound(objectsRead_.begin(), found, r,
                                 [](const std::pair<int, ComPtr<ISerializable>> &kept, int n) { return kept.first < n; });
    if (found == objectsRead_.end() || found->first != r)
        throwMalformed(L"Reference to non-existing object");
    found->second->AddRef();
    return found->second.get();
}

void SerializingInputStream::Keep(int number, ISerializable *object)
{
    object->AddRef();
    ComPtr<ISerializable> reference(object);  // released again if it cannot be kept
    objectsRead_.emplace_back(number, std::move(reference));
}

ISerializable *SerializingInputStream::ReadObject(ISerializable *target, bool afterReference)
{
    NestingGuard guard(nesting_, L"Objects nested too deeply in stream");
    const int number = itemCounter_++;
    const int expectedID = target ? classes_.ClassID(factory_, typeid(*target)) : 0;
    int classID;
    *this >> classID;
    if (classID == 0) {
        ISerializable *singleton = ReadSingletonReference(target, expectedID, number);
        if (afterReference)
            Keep(number, singleton);
        return singleton;
    }
    if (observer_)
        observer_->ObjectBegins(number, classID);
    const IObjectFactoryObjectFunctions *functions = classes_.Functions(factory_, classID);
    if (!functions || (target && classID != expectedID))
        throwMalformed(L"Unexpected object in stream");
    short version;
    *this >> version;
    if (observer_)
        observer_->ObjectVersion(number, version);

    ComPtr<ISerializable> created;
    ISerializable *object = target;
    if (!target) {
        ComPtr<IUnknown> instance(functions->CreateInstance());
        object = instance ? classes_.Serializable(instance.get()) : nullptr;
        if (!object)
            throwMalformed(L"Non-serializable object in stream");
        instance.release();  // the same object, the same one reference
        created.reset(object);
        // Kept before its data is read: a reference back to it from inside resolves.
        if (afterReference)
            Keep(number, object);
    }
    if (object->Version() < version)
        throwVersionTooHigh();
    object->Read(*this, version);
    if (functions->IsSingleton())
        CheckSingleton(*functions, object, classID, number);
    if (observer_)
        observer_->ObjectEnds(number);
    return created.release();
}

void SerializingInputStream::CheckSingleton(const IObjectFactoryObjectFunctions &functions, ISerializable *object,
                                            int classID, int number)
{
    // The key is known once the data is in. Another live instance of it means the stream
    // would make a second one of what exists once.
    String key = functions.GetSingletonKey(object);
    ComPtr<IUnknown> existing(functions.TransferSingleton(key, nullptr));
    if (existing && existing.get() != static_cast<IUnknown *>(object))
        throw SingeltonObjectExistsException(dynamic_cast<ISerializable *>(existing.get()));
    singletonsRead_[number] = SingletonRead{key, classID, &functions};
}

ISerializable *SerializingInputStream::ReadSingletonReference(ISerializable *target, int expectedID, int number)
{
    unsigned int tag;
    *this >> tag;
    if (tag != singletonTag)
        throwMalformed(L"Unknown command in stream");
    int r;
    *this >> r;
    if (observer_)
        observer_->SingletonReferenceRead(number, r);
    auto found = singletonsRead_.find(r);
    if (found == singletonsRead_.end())
        throwMalformed(L"Reference to unknown object in stream");
    const SingletonRead &singleton = found->second;
    if (target && singleton.classID != expectedID)
        throwMalformed(L"Wrong type of object in stream");
    if (target) {
        if (!singleton.functions->TransferSingleton(singleton.key, target))
            throwMalformed(L"Reference to unknown object in stream");
        return nullptr;
    }
    // The instance read earlier may have gone since (its class keeps the live ones only).
    ComPtr<IUnknown> instance(singleton.functions->TransferSingleton(singleton.key, nullptr));
    ISerializable *object = dynamic_cast<ISerializable *>(instance.get());
    if (!object)
        throwMalformed(L"Reference to unknown object in stream");
    instance.release();
    return object;
}
