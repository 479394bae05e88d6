#include "FilterChain.h"

#include "Base64Guard.h"
#include "Command.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CryptingStream.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qvtool {
namespace {

bool parseInteger(const std::string &text, int low, int high, int &value)
{
    char *end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || parsed < low || parsed > high)
        return false;
    value = static_cast<int>(parsed);
    return true;
}

}  // namespace

bool parseFilters(const std::string &list, std::vector<Filter> &filters, std::string &error)
{
    std::size_t at = 0;
    while (at <= list.size()) {
        std::size_t comma = list.find(',', at);
        std::string item = list.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
        at = comma == std::string::npos ? list.size() + 1 : comma + 1;
        std::string name = item.substr(0, item.find(':'));
        std::string argument = item.find(':') == std::string::npos ? "" : item.substr(item.find(':') + 1);
        bool hasArgument = item.find(':') != std::string::npos;
        Filter filter{Filter::Crypt, 0};
        if (name == "compress") {
            filter = {Filter::Compress, -1};
            if (hasArgument && !parseInteger(argument, -1, 9, filter.parameter)) {
                error = "compress:LEVEL takes a level from -1 (zlib's default) to 9";
                return false;
            }
        } else if (name == "base64") {
            filter = {Filter::Base64, 76};
            if (hasArgument && !parseInteger(argument, -1, 0x7FFFFFFF, filter.parameter)) {
                error = "base64:LINE takes a line length (0 or -1: one unbroken line)";
                return false;
            }
            // As base64(1): a width of 0 means no line breaks at all.
            if (filter.parameter == 0)
                filter.parameter = -1;
        } else if ((name == "crc" || name == "crypt") && !hasArgument) {
            filter.kind = name == "crc" ? Filter::CRC : Filter::Crypt;
        } else {
            error = "unknown filter '" + item + "' (filters: compress[:LEVEL], crc, base64[:LINE], crypt)";
            return false;
        }
        filters.push_back(filter);
    }
    return true;
}


CLI::Option *addFiltersOption(CLI::App &command, std::string &list)
{
    return command
        .add_option("--filters", list,
                    "the filters in the order the data passes them when encoding: compress[:LEVEL] (-1 to 9), crc, "
                    "base64[:WIDTH] (default 76; 0 or -1: one unbroken line), crypt")
        ->check([](const std::string &text) {
            std::vector<Filter> filters;
            std::string error;
            return parseFilters(text, filters, error) ? std::string() : error;
        });
}

bool DecodingStages::CleanEnd(const StreamBase::Exception &failure) const
{
    bool cut = false;
    for (EndWatch *watch : watches)
        cut = cut || watch->Cut();
    // No input at all is the encoding of no data (an unused compressor writes nothing either).
    bool empty = failure.code == StreamBase::EndOfData && watches.front()->Empty();
    return empty || (decompressor ? decompressor->AtEnd() : failure.code == StreamBase::EndOfData && !cut);
}

DecodingStages addDecoders(Chain<InputStream> &in, const std::vector<Filter> &filters, bool ignoreGarbage,
                           Progress *progress)
{
    DecodingStages stages;
    in.Add<BufferedInputStream>(in.Front());
    stages.watches.push_back(in.Add<EndWatch>(in.Front(), progress));
    for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
        switch (f->kind) {
        case Filter::Compress: stages.decompressor = in.Add<DecompressingStream>(in.Front()); break;
        case Filter::CRC: in.Add<CRCInputStream>(in.Front()); break;
        case Filter::Base64:
            in.Add<Base64Guard>(in.Front(), ignoreGarbage);
            in.Add<Base64DecodingStream>(in.Front());
            in.Add<BufferedInputStream>(in.Front());  // whole groups for the readers behind
            break;
        case Filter::Crypt: in.Add<CryptingInputStream>(in.Front()); break;
        }
        stages.watches.push_back(in.Add<EndWatch>(in.Front(), nullptr));
    }
    return stages;
}

void addEncoders(Chain<OutputStream> &out, const std::vector<Filter> &filters)
{
    for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
        switch (f->kind) {
        case Filter::Compress: out.Add<CompressingStream>(out.Front(), f->parameter); break;
        case Filter::CRC: out.Add<CRCOutputStream>(out.Front()); break;
        case Filter::Base64: out.Add<Base64EncodingStream>(out.Front(), f->parameter); break;
        case Filter::Crypt: out.Add<CryptingOutputStream>(out.Front()); break;
        }
    }
}

}  // namespace qvtool
