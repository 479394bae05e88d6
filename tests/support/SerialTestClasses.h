#ifndef QVCORE_TESTS_SUPPORT_SERIALTESTCLASSES_H
#define QVCORE_TESTS_SUPPORT_SERIALTESTCLASSES_H

// Serializable classes for the factory and graph tests. Every instance is counted, so a test
// can tell that whatever a failed read created has been released.

#include "qvcore/streams/SerializingStream.h"

#include <map>

namespace graph {

/// Instances of every class below alive right now.
inline int &liveObjects()
{
    static int count = 0;
    return count;
}

class Counted : public virtual QvUnknown {
public:
    Counted() { ++liveObjects(); }
    ~Counted() override { --liveObjects(); }
};

/// Two ints and a reference it owns (one counted reference of its own).
class Node : public ISerializable, public Counted {
public:
    Node() {}
    Node(int a, int b) : a(a), b(b) {}
    ~Node() override { SetLink(nullptr); }

    void Read(SerializingInputStream &in, short) override
    {
        in >> a >> b;
        SetLink(nullptr);
        link = in.ReadRef();  // the caller's reference: ours now
    }
    void Write(SerializingOutputStream &out) const override
    {
        out << a << b;
        out.WriteRef(link);
    }
    short Version() const override { return 1; }

    /// Holds a reference of its own to link; drops the one it held.
    void SetLink(ISerializable *to)
    {
        if (to)
            to->AddRef();
        if (link)
            link->Release();
        link = to;
    }

    int a = 0, b = 0;
    ISerializable *link = nullptr;
};

/// A singleton: one live instance per name, published in a table once its data is read (or
/// when made with publish). Its data is the name and a colour.
class Palette : public ISerializable, public Counted {
public:
    Palette() {}
    Palette(const char *name, int colour, bool publish) : name(String::FromLatin1(name)), colour(colour)
    {
        if (publish)
            table().emplace(this->name, this);
    }
    ~Palette() override
    {
        auto found = table().find(name);
        if (found != table().end() && found->second == this)
            table().erase(found);
    }

    void Read(SerializingInputStream &in, short) override
    {
        std::basic_string<unsigned short> text;
        in >> text >> colour;
        name = text;
        table().emplace(name, this);  // an existing instance stays the one
    }
    void Write(SerializingOutputStream &out) const override { out << name << colour; }
    short Version() const override { return 1; }

    String SingletonKey() const { return name; }
    static Palette *FindSingleton(const String &key)
    {
        auto found = table().find(key);
        return found == table().end() ? nullptr : found->second;
    }
    void TakeSingletonState(const Palette &existing)
    {
        name = existing.name;
        colour = existing.colour;
    }

    String name;
    int colour = 0;

private:
    static std::map<String, Palette *> &table()
    {
        static std::map<String, Palette *> live;
        return live;
    }
};

/// A class whose version the test sets: what Version() says for every instance.
class Versioned : public ISerializable, public Counted {
public:
    static short &current()
    {
        static short version = 1;
        return version;
    }
    void Read(SerializingInputStream &in, short version) override
    {
        readAs = version;
        in >> value;
    }
    void Write(SerializingOutputStream &out) const override { out << value; }
    short Version() const override { return current(); }

    int value = 0;
    short readAs = 0;
};

/// Created by a factory like the others, but not serializable.
class Plain : public Counted {};

}  // namespace graph

#endif
