// Object graphs: damaged serialized graphs read back through a factory that knows a few classes,
// a singleton among them. The contract allows StreamBase::Exception (and the duplicate-singleton
// exception derived from it).
#include "Campaign.h"
#include "Scenario.h"

#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/ObjectFactory.h"
#include "qvcore/streams/SerializingStream.h"
#include "tests/support/SerialTestClasses.h"

#include <atomic>
#include <set>
#include <thread>

namespace qvstress {
namespace {

ObjectFactory &factory()
{
    // The process's reference, never given back: the factory outlives every registration.
    static ObjectFactory *made = new ObjectFactory;
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
                if (!nodes.empty() && random.Below(3))
                    node->SetLink(nodes[random.Below(static_cast<uint32_t>(nodes.size()))]);  // shared
                nodes.push_back(node);
            }
            graph::Palette palette("theme", static_cast<int>(random.Next()), /*publish=*/false);
            graph::Versioned versioned;
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

// --- graphs stored in the registry ---------------------------------------------------------

const RegistryKey &stressKey()
{
    static const RegistryKey key = RegistryKey(HKEY_CURRENT_USER).CreateSubkey(String(L"Software\\QvCore Stress"));
    return key;
}

std::vector<std::string> registrySamples(Random &random)
{
    std::vector<std::string> all;
    for (int sample = 0; sample < 4; ++sample) {
        auto *first = new graph::Node(1, sample), *second = new graph::Node(2, static_cast<int>(random.Next()));
        first->SetLink(second);
        if (sample % 2)
            second->SetLink(first);  // a cycle
        stressKey().WriteObject(String(L"sample"), factory(), *first);
        std::string bytes;
        stressKey().GetBinary(String(L"sample"), bytes);
        all.push_back(bytes);
        second->SetLink(nullptr);
        first->SetLink(nullptr);
        first->Release();
        second->Release();
    }
    return all;
}

bool readStoredGraph(const std::string &input, std::string &why)
{
    const int liveBefore = graph::liveObjects();
    stressKey().SetBinary(String(L"damaged"), input);
    auto *node = new graph::Node;  // one reference, ours
    std::vector<ISerializable *> objects{node};
    try {
        stressKey().ReadObject(String(L"damaged"), factory(), *node);
    } catch (const StreamBase::Exception &) {
    }
    releaseAll(objects);
    if (graph::liveObjects() != liveBefore) {
        why = std::to_string(graph::liveObjects() - liveBefore) + " objects left alive after the read";
        return false;
    }
    return true;
}

const CampaignRegistration registry({"registry", "RegistryKey::ReadObject of damaged binary values",
                                     registrySamples, readStoredGraph});

// --- graphs on several threads ------------------------------------------------------------

/// The bytes of a chain of n nodes whose every third node points back to the first.
std::string chainBytes(int n)
{
    std::vector<graph::Node *> nodes;
    for (int i = 0; i < n; ++i) {
        nodes.push_back(new graph::Node(i, -i));
        if (i)
            nodes[i - 1]->SetLink(nodes[i]);
    }
    for (int i = 2; i < n; i += 3)
        nodes[i]->SetLink(nodes[0]);
    MemoryOutputStream bytes;
    {
        SerializingOutputStream out(factory(), bytes);
        out.WriteRef(nodes[0]);
    }
    for (graph::Node *node : nodes)
        node->SetLink(nullptr);
    for (graph::Node *node : nodes)
        node->Release();
    return bytes.GetContent();
}

/// Four threads write and read object graphs through one factory, each with streams of its
/// own: every thread's bytes equal those written on one thread, and read back whole.
bool graphsOnThreads(double scale, std::string &report)
{
    const int rounds = std::max(1, static_cast<int>(2000 * scale));
    const std::string expected = chainBytes(50);
    std::atomic<int> wrong{0};
    const ULONGLONG start = GetTickCount64();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int r = 0; r < rounds; ++r) {
                if (chainBytes(50) != expected)
                    ++wrong;
                MemoryInputStream source(expected);
                SerializingInputStream in(factory(), source);
                std::vector<ISerializable *> objects{in.ReadRef()};
                auto *first = dynamic_cast<graph::Node *>(objects[0]);
                int length = 0;
                for (graph::Node *node = first; node && length < 100; node = dynamic_cast<graph::Node *>(node->link))
                    if (++length > 1 && node == first)
                        break;
                if (!first || length != 4)  // 0, 1, 2 and back to 0
                    ++wrong;
                releaseAll(objects);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    const double seconds = (GetTickCount64() - start) / 1000.0;
    char line[200];
    std::snprintf(line, sizeof line, "4 threads x %d graphs of 50 objects written and read: %.0f graphs/s; %d wrong",
                  rounds, 4 * rounds / (seconds > 0 ? seconds : 0.001), wrong.load());
    report = line;
    return wrong == 0;
}

const ScenarioRegistration graphScenario({"graphs", "object graphs written and read on 4 threads", graphsOnThreads});

const CampaignRegistration graphs({"graph", "SerializingInputStream over damaged object graphs", graphSamples,
                                   readGraph});

}  // namespace
}  // namespace qvstress
