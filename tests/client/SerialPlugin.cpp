// A plug-in whose serializable class lives in its own code: the host's factory must not keep
// pointing into it once it has been unloaded.

#include "qvcore/streams/SerializingStream.h"

namespace plugin {

class Shape : public ISerializable, public QvUnknown {
public:
    void Read(SerializingInputStream &in, short) override { in >> sides; }
    void Write(SerializingOutputStream &out) const override { out << sides; }
    short Version() const override { return 1; }
    int sides = 4;
};

}  // namespace plugin

// Registers the plug-in's class with the host's factory until the plug-in is unloaded (the
// registration is one of the plug-in's statics); returns its class id.
extern "C" __declspec(dllexport) int PluginRegisterShape(ObjectFactory &factory)
{
    static QV_SERIAL_CLASS(factory, plugin::Shape);
    return factory.GetClassID(typeid(plugin::Shape));
}
