// Object graphs: damaged serialized graphs read back through a factory that knows a few classes,
// a singleton among them. The contract allows StreamBase::Exception (and the duplicate-singleton
// exception derived from it).
#include "Campaign.h"

#include "qvcore/streams/ObjectFactory.h"
#include "qvcore/streams/SerializingStream.h"
#include "tests/support/SerialTestClasses.h"

#include <set>

namespace qvstress {
namespace {

ObjectFactory &factory()
{
    static ObjectFactory *made = [] {
        ObjectFactory *f = new ObjectFactory;
        f->AddRef();  // the process's reference: the factory outlives every registration
        return f;
    }();
    return *made;
}

QV_SERIAL_CLASS(factory(), graph::Node);
QV_SERIAL_SINGLETON(factory(), graph::Palette);
QV_SERIAL_CLASS(factory(), graph::Versioned);
QV_SERIAL_CLASS(factory(), graph::Plain);

/// Releases what a read handed out; links between nodes are cut first, since damaged data can
/// make a node point at one of its own ancestors, a cycle no count would ever end.
void releaseAll(std::vector<ISerializable *> &objects)
{
    std::set<graph::Node *> seen;
    std::vector<graph::Node *> todo;
    for (ISerializable *object : objects)
        if (auto *node = dynamic_cast<graph::Node *>(object))
            todo.push_back(node);
    while (!todo.empty()) {
        graph::Node *node = todo.back();
        todo.pop_back();
        if (!seen.insert(node).second)
            continue;
        if (auto *next = dynamic_cast<graph::Node *>(node->link))
            todo.push_back(next);
    }
    for (graph::Node *node : seen) {
        node->AddRef();  // cutting a link may end the node's own life before the loop is done
    }
    for (graph::Node *node : seen)
        node->SetLink(nullptr);
    for (graph::Node *node : seen)
        node->Release();
    for (ISerializable *object : objects)
        if (object)
            object->Release();
    objects.clear();
}

std::vector<std::string> graphSamples(Random &random)
{
    std::vector<std::string> all;
    for (int sample = 0; sample < 6; ++sample) {
        MemoryOutputStream bytes;
        {
            SerializingOutputStream out(factory(), bytes);
            std::vector<graph::Node *> nodes;
            for (uint32_t n = 2 + random.Below(8); n > 0; --n) {
                auto *node = new graph::Node(static_cast<int>(random.Next()), static_cast<int>(random.Next()));
                node->AddRef();
                if (!nodes.empty() && random.Below(3))
                    node->SetLink(nodes[random.Below(static_cast<uint32_t>(nodes.size()))]);  // shared
                nodes.push_back(node);
            }
            graph::Palette palette("theme", static_cast<int>(random.Next()), /*publish=*/false);
            palette.AddRef();
            graph::Versioned versioned;
            versioned.AddRef();
            versioned.value = 7;
            out.WriteRef(nullptr);
            for (graph::Node *node : nodes)
                out.WriteRef(node);
            out.WriteRef(&palette);
            out.Write(palette);  // a singleton again: a back-reference
            out.WriteRef(&versioned);
            out.WriteRef(nullptr);
            for (graph::Node *node : nodes)
                node->SetLink(nullptr);
            for (graph::Node *node : nodes)
                node->Release();
        }
        all.push_back(bytes.GetContent());
    }
    return all;
}

bool readGraph(const std::string &input, std::string &why)
{
    std::vector<ISerializable *> objects;
    const int liveBefore = graph::liveObjects();
    {
        MemoryInputStream source(input);
        SerializingInputStream in(factory(), source);
        try {
            for (;;) {
                if (objects.size() % 2)
                    objects.push_back(in.ReadRef());
                else
                    objects.push_back(in.Create());
            }
        } catch (const StreamBase::Exception &) {
        }
        releaseAll(objects);
    }  // the stream gives back the references it kept
    if (graph::liveObjects() != liveBefore) {
        why = std::to_string(graph::liveObjects() - liveBefore) + " objects left alive after the read";
        return false;
    }
    return true;
}

const CampaignRegistration graphs({"graph", "SerializingInputStream over damaged object graphs", graphSamples,
                                   readGraph});

}  // namespace
}  // namespace qvstress
