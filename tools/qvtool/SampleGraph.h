#ifndef QVTOOL_SAMPLEGRAPH_H
#define QVTOOL_SAMPLEGRAPH_H

// The classes qvtool knows as serializable objects: a small playlist whose graph has what
// stored documents have, shared objects, a cycle and a singleton. sample-graph writes it;
// dump reads streams of these classes and names them.

#include "qvcore/streams/SerializingStream.h"

#include <map>
#include <string>
#include <vector>

namespace qvtool {
namespace sample {

/// A singleton: one live theme per name.
class Theme : public ISerializable, public QvUnknown {
public:
    Theme() {}
    Theme(const String &name, int colour) : name(name), colour(colour) {}
    ~Theme() override;
    void Read(SerializingInputStream &in, short version) override;
    void Write(SerializingOutputStream &out) const override;
    short Version() const override { return 1; }

    String SingletonKey() const { return name; }
    static Theme *FindSingleton(const String &key);
    void TakeSingletonState(const Theme &existing);

    String name;
    int colour = 0;

private:
    static std::map<String, Theme *> &live();
};

/// An album that tracks share; it writes the theme of its cover.
class Album : public ISerializable, public QvUnknown {
public:
    void Read(SerializingInputStream &in, short version) override;
    void Write(SerializingOutputStream &out) const override;
    short Version() const override { return 1; }

    String name;
    int year = 0;
    ComPtr<Theme> theme;
};

/// A track of an album; next leads to the track played after it (the last back to the first).
class Track : public ISerializable, public QvUnknown {
public:
    void Read(SerializingInputStream &in, short version) override;
    void Write(SerializingOutputStream &out) const override;
    short Version() const override { return 2; }  // 2: a rating after the length

    String title;
    int seconds = 0;
    int rating = 0;
    ComPtr<Album> album;
    ComPtr<Track> next;
};

/// The document: a title, its tracks and its theme.
class Playlist : public ISerializable, public QvUnknown {
public:
    void Read(SerializingInputStream &in, short version) override;
    void Write(SerializingOutputStream &out) const override;
    short Version() const override { return 1; }

    String title;
    std::vector<ComPtr<Track>> tracks;
    ComPtr<Theme> theme;
};

}  // namespace sample

/// The sample classes registered with a factory while this object lives, and their names.
class SampleClasses {
public:
    explicit SampleClasses(ObjectFactory &factory);
    /// The qualified name of a sample class, or empty.
    std::string NameOf(int classID) const;

private:
    ObjectFactory &factory_;
    QV_SERIAL_CLASS(factory_, sample::Playlist);
    QV_SERIAL_CLASS(factory_, sample::Track);
    QV_SERIAL_CLASS(factory_, sample::Album);
    QV_SERIAL_SINGLETON(factory_, sample::Theme);
    std::map<int, std::string> names_;
};

/// Writes the sample playlist (reference first), then its theme once more on its own (a
/// singleton back-reference).
void writeSampleGraph(SerializingOutputStream &out);

}  // namespace qvtool

#endif
