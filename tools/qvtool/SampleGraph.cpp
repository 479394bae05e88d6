#include "SampleGraph.h"

namespace qvtool {
namespace sample {
namespace {

// An object a stream handed out, as the class a field holds; another class is malformed data.
template <class T>
ComPtr<T> adoptAs(ISerializable *object)
{
    ComPtr<ISerializable> held(object);
    T *typed = dynamic_cast<T *>(object);
    if (object && !typed)
        StreamBase::ThrowMalformedData(String(L"Wrong type of object in stream"));
    if (typed)
        typed->AddRef();
    return ComPtr<T>(typed);
}

String readText(InputStream &in)
{
    std::basic_string<unsigned short> text;
    in >> text;
    return text;
}

}  // namespace

// --- Theme: a singleton, listed while it lives once its name is known -------------------

std::map<String, Theme *> &Theme::live()
{
    static std::map<String, Theme *> themes;
    return themes;
}

Theme::~Theme()
{
    auto found = live().find(name);
    if (found != live().end() && found->second == this)
        live().erase(found);
}

void Theme::Read(SerializingInputStream &in, short)
{
    name = readText(in);
    in >> colour;
    live().emplace(name, this);  // an existing theme of the name stays the one
}

void Theme::Write(SerializingOutputStream &out) const
{
    out << name << colour;
}

Theme *Theme::FindSingleton(const String &key)
{
    auto found = live().find(key);
    return found == live().end() ? nullptr : found->second;
}

void Theme::TakeSingletonState(const Theme &existing)
{
    name = existing.name;
    colour = existing.colour;
}

// --- Album, Track, Playlist ----------------------------------------------------------------

void Album::Read(SerializingInputStream &in, short)
{
    name = readText(in);
    in >> year;
    theme = adoptAs<Theme>(in.Create());
}

void Album::Write(SerializingOutputStream &out) const
{
    out << name << year;
    out.Write(*theme.get());
}

void Track::Read(SerializingInputStream &in, short version)
{
    title = readText(in);
    in >> seconds;
    rating = 0;
    if (version >= 2)
        in >> rating;
    album = adoptAs<Album>(in.ReadRef());
    next = adoptAs<Track>(in.ReadRef());
}

void Track::Write(SerializingOutputStream &out) const
{
    out << title << seconds << rating;
    out.WriteRef(album.get());
    out.WriteRef(next.get());
}

void Playlist::Read(SerializingInputStream &in, short)
{
    title = readText(in);
    theme = adoptAs<Theme>(in.Create());
    int count;
    in >> count;
    if (count < 0)
        StreamBase::ThrowMalformedData(String(L"Invalid track count"));
    tracks.clear();
    for (int i = 0; i < count; ++i)
        tracks.push_back(adoptAs<Track>(in.ReadRef()));
}

void Playlist::Write(SerializingOutputStream &out) const
{
    out << title;
    out.Write(*theme.get());
    out << static_cast<int>(tracks.size());
    for (const ComPtr<Track> &track : tracks)
        out.WriteRef(track.get());
}

}  // namespace sample

SampleClasses::SampleClasses(ObjectFactory &factory) : factory_(factory)
{
    for (const std::type_info *type :
         {&typeid(sample::Playlist), &typeid(sample::Track), &typeid(sample::Album), &typeid(sample::Theme)})
        names_[factory.GetClassID(*type)] = ObjectFactory::ClassNameOf(*type);
}

std::string SampleClasses::NameOf(int classID) const
{
    auto found = names_.find(classID);
    return found == names_.end() ? std::string() : found->second;
}

void writeSampleGraph(SerializingOutputStream &out)
{
    using namespace sample;
    ComPtr<Theme> theme(new Theme(String(L"Night"), 0x202040));
    ComPtr<Album> album(new Album);
    album->name = String(L"Kind of Blue");
    album->year = 1959;
    theme->AddRef();
    album->theme.reset(theme.get());

    ComPtr<Playlist> playlist(new Playlist);
    playlist->title = String(L"Evening");
    theme->AddRef();
    playlist->theme.reset(theme.get());
    const struct {
        const wchar_t *title;
        int seconds;
    } tracks[] = {{L"So What", 562}, {L"Blue in Green", 337}, {L"All Blues", 693}};
    for (const auto &t : tracks) {
        ComPtr<Track> track(new Track);
        track->title = String(t.title);
        track->seconds = t.seconds;
        track->rating = 5;
        album->AddRef();
        track->album.reset(album.get());
        playlist->tracks.push_back(std::move(track));
    }
    // Each track leads to the next, the last back to the first: a cycle.
    for (std::size_t i = 0; i < playlist->tracks.size(); ++i) {
        Track *next = playlist->tracks[(i + 1) % playlist->tracks.size()].get();
        next->AddRef();
        playlist->tracks[i]->next.reset(next);
    }

    out.WriteRef(playlist.get());
    out.Write(*theme.get());
    playlist->tracks.back()->next.reset();  // the cycle broken, so that all of it is freed
}

}  // namespace qvtool
