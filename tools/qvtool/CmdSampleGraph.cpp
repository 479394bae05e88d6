#include "Command.h"
#include "FilterChain.h"
#include "SampleGraph.h"
#include "StdStreams.h"

#include "qvcore/streams/BufferedStream.h"

#include <memory>
#include <vector>

namespace qvtool {
namespace {

struct SampleGraphOptions {
    std::string filters, out = "-";
};

// The serializing stream is the front of an encoding chain, as a document's writer builds it.
int runSampleGraph(const SampleGraphOptions &options)
{
    std::vector<Filter> filters;
    std::string error;
    if (!options.filters.empty())
        parseFilters(options.filters, filters, error);  // checked while the command line was parsed
    ComPtr<ObjectFactory> factory(new ObjectFactory);
    SampleClasses classes(*factory.get());
    {
        OutputTarget target(options.out);
        Chain<OutputStream> out;
        out.Add<BufferedOutputStream>(target.Stream(), 64 << 10);
        addEncoders(out, filters);
        auto *graph = out.Add<SerializingOutputStream>(*factory.get(), out.Front());
        aboutFile("cannot write", target.Name(), [&] {
            writeSampleGraph(*graph);
            out.Close();
        });
        target.Commit();
    }
    return 0;
}

Runner defineSampleGraph(CLI::App &command)
{
    auto options = std::make_shared<SampleGraphOptions>();
    addFiltersOption(command, options->filters);
    command.add_option("OUT", options->out,
                       "output file (default or '-': standard output); written in full or not at all");
    return [options] { return runSampleGraph(*options); };
}

const CommandRegistration registration({"sample-graph",
                                         "write a sample object graph (shared objects, a cycle, a singleton) "
                                         "for dump, optionally through the filters of LIST",
                                         defineSampleGraph});

}  // namespace
}  // namespace qvtool
