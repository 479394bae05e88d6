#include "Command.h"
#include "FilterChain.h"
#include "SampleGraph.h"
#include "StdStreams.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace qvtool {
namespace {

struct DumpOptions {
    std::string filters, in = "-";
};

// Hands the decoded bytes to the serializing stream, counting them for the listing's offsets,
// and holds up to eight bytes read ahead: what dump looks at to choose how to read the next
// top-level item.
class Lookahead : public InputStream {
public:
    Lookahead(InputStream &source, const DecodingStages &stages) : InputStream(&source), stages_(stages) {}

    void Read(char *buffer, int count) override
    {
        if (count < 1)
            return;
        int early = std::min(count, held_);
        std::memcpy(buffer, ahead_, static_cast<std::size_t>(early));
        std::memmove(ahead_, ahead_ + early, static_cast<std::size_t>(held_ - early));
        held_ -= early;
        offset_ += static_cast<unsigned long long>(early);
        if (count > early) {
            source->Read(buffer + early, count - early);
            offset_ += static_cast<unsigned long long>(count - early);
        }
    }

    /// Whether another item follows; false at the clean end of the data.
    bool More()
    {
        if (held_ > 0)
            return true;
        try {
            held_ = source->ReadSome(ahead_, sizeof ahead_);
        } catch (const StreamBase::Exception &e) {
            if (stages_.CleanEnd(e))
                return false;
            throw;
        }
        return held_ > 0;
    }

    /// Whether the next item starts as a reference (0 and the reference tag) does.
    bool ReferenceNext()
    {
        try {
            while (held_ < static_cast<int>(sizeof ahead_)) {
                int got = source->ReadSome(ahead_ + held_, static_cast<int>(sizeof ahead_) - held_);
                if (got == 0)
                    break;
                held_ += got;
            }
        } catch (const StreamBase::Exception &) {
            // Too short for a reference: reading the item meets the end again and says so.
        }
        static const unsigned char reference[8] = {0, 0, 0, 0, 0x11, 0x03, 0x19, 0x80};
        return held_ == 8 && std::memcmp(ahead_, reference, 8) == 0;
    }

    unsigned long long Offset() const { return offset_; }

private:
    const DecodingStages &stages_;
    char ahead_[8];
    int held_ = 0;
    unsigned long long offset_ = 0;
};

// The items of one top-level item, one line each, indented by nesting; an object's line gets
// its byte range when its data has been read.
class Listing : public ISerializingObserver {
public:
    Listing(const Lookahead &at, const SampleClasses &classes) : at_(at), classes_(classes) {}

    void ObjectBegins(int number, int classID) override
    {
        std::string name = classes_.NameOf(classID);
        char id[32];
        std::snprintf(id, sizeof id, "%d", classID);
        open_.push_back(Line(number, at_.Offset() - 4,
                             "object " + (name.empty() ? std::string("of an unknown class") : name) + ", class id " + id));
    }
    void ObjectVersion(int, short version) override { lines_[open_.back()].text += ", version " + std::to_string(version); }
    void ObjectEnds(int) override
    {
        Entry &line = lines_[open_.back()];
        open_.pop_back();
        line.text += ", bytes " + std::to_string(line.offset) + "-" + std::to_string(at_.Offset() - 1);
    }
    void ReferenceRead(int number, int r) override
    {
        Line(number, at_.Offset() - 12,
             r == number            ? "reference, the object follows"
             : r == 0 || r == -1    ? "null reference"
                                    : "reference to #" + std::to_string(r));
    }
    void SingletonReferenceRead(int number, int r) override
    {
        Line(number, at_.Offset() - 12, "singleton back-reference to #" + std::to_string(r));
    }

    /// Prints the lines gathered and forgets them; an object whose end was not reached is
    /// marked so.
    void Print()
    {
        for (std::size_t i : open_)
            lines_[i].text += ", cut short";
        for (const Entry &line : lines_)
            printOut("%10llu  #%-5d %*s%s\n", line.offset, line.number, 2 * line.depth, "", line.text.c_str());
        items_ += static_cast<int>(lines_.size());
        lines_.clear();
        open_.clear();
    }
    int Items() const { return items_; }

private:
    struct Entry {
        int number, depth;
        unsigned long long offset;
        std::string text;
    };
    std::size_t Line(int number, unsigned long long offset, const std::string &text)
    {
        lines_.push_back(Entry{number, static_cast<int>(open_.size()), offset, text});
        return lines_.size() - 1;
    }

    const Lookahead &at_;
    const SampleClasses &classes_;
    std::vector<Entry> lines_;
    std::vector<std::size_t> open_;  // the lines of the objects being read, innermost last
    int items_ = 0;
};

int runDump(const DumpOptions &options)
{
    std::vector<Filter> filters;
    std::string error;
    if (!options.filters.empty())
        parseFilters(options.filters, filters, error);  // checked while the command line was parsed
    const std::string name = options.in == "-" ? "(standard input)" : options.in;
    ComPtr<ObjectFactory> factory(new ObjectFactory);
    SampleClasses classes(*factory.get());

    unsigned long long size;
    Chain<InputStream> in;
    in.Adopt(openInput(options.in, size));
    DecodingStages stages = addDecoders(in, filters, /*ignoreGarbage=*/false, nullptr);
    Lookahead look(in.Front(), stages);
    SerializingInputStream graph(*factory.get(), look);
    Listing listing(look, classes);
    graph.SetObserver(&listing);
    // Kept to the end: a later singleton back-reference resolves to a live instance only.
    std::vector<ComPtr<ISerializable>> read;
    printOut("    offset  item\n");
    for (;;) {
        if (!aboutFile("cannot read", name, [&] { return look.More(); }))
            break;
        try {
            read.emplace_back(look.ReferenceNext() ? graph.ReadRef() : graph.Create());
        } catch (const StreamBase::Exception &e) {
            listing.Print();
            std::string text = e.code == StreamBase::EndOfData ? "the data ends too early" : describeCurrentException();
            throw Failure("cannot read '" + name + "' at byte " + std::to_string(look.Offset()) + ": " + text);
        }
        listing.Print();
    }
    printOut("%d items in %llu bytes\n", listing.Items(), look.Offset());
    return 0;
}

Runner defineDump(CLI::App &command)
{
    auto options = std::make_shared<DumpOptions>();
    addFiltersOption(command, options->filters);
    command.add_option("FILE", options->in, "serialized objects (default or '-': standard input)");
    return [options] { return runDump(*options); };
}

const CommandRegistration registration({"dump",
                                         "list the items of a serialized object stream (objects, references, "
                                         "singletons), decoded through the filters of LIST first",
                                         defineDump});

}  // namespace
}  // namespace qvtool
