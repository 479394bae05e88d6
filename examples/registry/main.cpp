// An object graph in the registry: a playlist of two tracks that share one album is stored as
// one binary value with RegistryKey::WriteObject and read back with ReadObject. The album is
// written once and comes back as one object that both tracks point at.
#include "qvcore/files/RegistryKey.h"
#include "qvcore/runtime/QvUnknown.h"
#include "qvcore/streams/ObjectFactory.h"
#include "qvcore/streams/SerializingStream.h"

#include <cstdio>
#include <vector>

// The factory that creates the classes below when a graph is read. Created on first use and
// never destroyed: registrations at namespace scope end after main, and must still find it.
static ObjectFactory &AppFactory()
{
    static ObjectFactory *factory = new ObjectFactory;
    return *factory;
}

// Every serializable class is also reference counted (QvUnknown): a graph read back hands
// out references, and shared objects live as long as their last holder.
class Album : public ISerializable, public QvUnknown {
public:
    void Write(SerializingOutputStream &out) const override { out << title << year; }
    void Read(SerializingInputStream &in, short) override { in >> title >> year; }
    // Raise this whenever Write changes; Read then receives the version the data was written by.
    short Version() const override { return 1; }

    std::string title;
    int year = 0;
};

class Track : public ISerializable, public QvUnknown {
public:
    void Write(SerializingOutputStream &out) const override
    {
        out << title << seconds;
        out.WriteRef(album.get());  // the first reference writes the album, later ones its number
    }
    void Read(SerializingInputStream &in, short) override
    {
        in >> title >> seconds;
        album.reset(in.ReadRef());  // a reference of our own to the one album object
    }
    short Version() const override { return 1; }

    std::string title;
    int seconds = 0;
    ComPtr<ISerializable> album;
};

class Playlist : public ISerializable, public QvUnknown {
public:
    void Write(SerializingOutputStream &out) const override
    {
        out << name << static_cast<int>(tracks.size());
        for (const ComPtr<ISerializable> &track : tracks)
            out.WriteRef(track.get());
    }
    void Read(SerializingInputStream &in, short) override
    {
        int count = 0;
        in >> name >> count;
        tracks.clear();
        for (int i = 0; i < count; ++i)
            tracks.emplace_back(in.ReadRef());
    }
    short Version() const override { return 1; }

    std::string name;
    std::vector<ComPtr<ISerializable>> tracks;
};

// One line per class: the factory learns to create it by its class id (a hash of its name).
QV_SERIAL_CLASS(AppFactory(), Album);
QV_SERIAL_CLASS(AppFactory(), Track);
QV_SERIAL_CLASS(AppFactory(), Playlist);

static Track *newTrack(const char *title, int seconds, Album *album)
{
    Track *track = new Track;  // created with new: the last Release deletes it
    track->title = title;
    track->seconds = seconds;
    album->AddRef();           // the track's own reference
    track->album.reset(album);
    return track;
}

int main()
{
    const String subkey(L"Software\\QvCore Examples");
    RegistryKey key = RegistryKey(HKEY_CURRENT_USER).CreateSubkey(subkey);
    if (!key.IsValid()) {
        std::printf("cannot create HKEY_CURRENT_USER\\%s\n", subkey.Utf8().c_str());
        return 1;
    }
    try {
        {
            // The root may live on the stack: WriteObject and ReadObject only borrow it. The
            // objects it refers to are counted: made with new, freed by their last Release.
            ComPtr<Album> album(new Album);
            album->title = "Coastline";
            album->year = 1998;
            Playlist playlist;
            playlist.name = "Road trip";
            playlist.tracks.emplace_back(newTrack("Harbour lights", 241, album.get()));
            playlist.tracks.emplace_back(newTrack("Low tide", 187, album.get()));
            long stored = key.WriteObject(String(L"Playlist"), AppFactory(), playlist);
            std::printf("stored under HKEY_CURRENT_USER\\%s: code %ld\n", subkey.Utf8().c_str(), stored);
        }
        {
            // ReadObject reads into an object of the stored class; the objects it refers to
            // are created through the factory.
            Playlist playlist;
            long read = key.ReadObject(String(L"Playlist"), AppFactory(), playlist);
            std::printf("read back: code %ld, \"%s\" with %d tracks\n", read, playlist.name.c_str(),
                        static_cast<int>(playlist.tracks.size()));
            const Album *albums[2] = {};
            for (std::size_t i = 0; i < playlist.tracks.size() && i < 2; ++i) {
                const Track *track = dynamic_cast<const Track *>(playlist.tracks[i].get());
                albums[i] = track ? dynamic_cast<const Album *>(track->album.get()) : nullptr;
                if (track && albums[i])
                    std::printf("  \"%s\", %d s, from \"%s\" (%d)\n", track->title.c_str(), track->seconds,
                                albums[i]->title.c_str(), albums[i]->year);
            }
            std::printf("both tracks share one album object: %s\n",
                        albums[0] && albums[0] == albums[1] ? "yes" : "no");
        }
    } catch (const StreamBase::Exception &e) {
        std::printf("stream error %d: %s\n", e.code, e.message.Utf8().c_str());
    }
    // Leave the user's registry as it was.
    key.Close();
    long deleted = RegistryKey(HKEY_CURRENT_USER).OpenSubkey(String(L"Software"), KEY_ALL_ACCESS)
                       .DeleteSubkey(String(L"QvCore Examples"), true);
    std::printf("key deleted: code %ld\n", deleted);
    return 0;
}
