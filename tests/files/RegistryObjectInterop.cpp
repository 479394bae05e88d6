// One side of an object graph's trip through the registry between two processes.
//
// Usage: RegistryObjectInterop write|read SUBKEY NAME   (SUBKEY under HKEY_CURRENT_USER)
// write stores the graph root(1, 2) -> child(3, 4) -> root with WriteObject; read reads it back
// with ReadObject and prints "a b -> a b -> a b", then "cycle" when the last link leads back
// to the root read. Exit code 0, or 1 with the system's code on the error stream.

#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/SerializingStream.h"

#include "tests/support/SerialTestClasses.h"

#include <cstdio>
#include <cstring>

using graph::Node;

int main(int argc, char **argv)
{
    if (argc != 4 || (std::strcmp(argv[1], "write") != 0 && std::strcmp(argv[1], "read") != 0)) {
        std::fprintf(stderr, "usage: RegistryObjectInterop write|read SUBKEY NAME\n");
        return 2;
    }
    ObjectFactory *factory = new ObjectFactory;
    int status = 0;
    {
        QV_SERIAL_CLASS(*factory, Node);
        RegistryKey key = RegistryKey(HKEY_CURRENT_USER).CreateSubkey(String::FromSystemMultibyte(argv[2]));
        String name = String::FromSystemMultibyte(argv[3]);
        long result = ERROR_SUCCESS;
        if (std::strcmp(argv[1], "write") == 0) {
            Node root(1, 2), child(3, 4);
            root.SetLink(&child);
            child.SetLink(&root);
            result = key.WriteObject(name, *factory, root);
            child.SetLink(nullptr);
        } else {
            Node root;
            result = key.ReadObject(name, *factory, root);
            const Node *child = dynamic_cast<const Node *>(root.link);
            const Node *back = child ? dynamic_cast<const Node *>(child->link) : nullptr;
            if (result == ERROR_SUCCESS && child && back) {
                std::printf("%d %d -> %d %d -> %d %d\n", root.a, root.b, child->a, child->b, back->a, back->b);
                if (back->link == child)
                    std::printf("cycle\n");
                const_cast<Node *>(back)->SetLink(nullptr);
            }
            root.SetLink(nullptr);
        }
        if (result != ERROR_SUCCESS) {
            std::fprintf(stderr, "%s failed with system code %ld\n", argv[1], result);
            status = 1;
        }
    }
    factory->Release();
    return status;
}
