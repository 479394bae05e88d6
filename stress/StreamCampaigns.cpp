// The stream decoders: Base64 (stream and memory), CRC blocks, decompression, and the
// extraction operators of strings, wide strings and memory blocks. Their contract allows
// StreamBase::Exception only.
#include "Campaign.h"

#include "qvcore/core/MemoryBlock.h"
#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/StreamBase.h"

#include <cstring>

namespace qvstress {
namespace {

// Decoded output beyond this is a defect: no valid sample decodes to more, and a decoder that
// keeps producing is unbounded.
const long long outputLimit = 64 << 20;

/// Reads source until it throws; false (with why) when it produced more than the limit.
bool drain(InputStream &source, size_t inputSize, std::string &why)
{
    char buffer[4096];
    long long total = 0;
    try {
        for (;;) {
            total += source.ReadSome(buffer, sizeof buffer);
            if (total > outputLimit) {
                why = "more than 64 MiB decoded from " + std::to_string(inputSize) + " bytes";
                return false;
            }
        }
    } catch (const StreamBase::Exception &) {
        return true;  // the end of the data, or damage found: both are the contract
    }
}

std::vector<std::string> payloads(Random &random)
{
    std::vector<std::string> all;
    for (size_t size : {0, 1, 2, 3, 57, 200, 4088, 4089, 10000}) {
        std::string text = random.Bytes(size);
        if (size % 2)  // compressible too
            for (size_t i = 0; i < size; ++i)
                text[i] = "ab \n"[random.Below(4)];
        all.push_back(text);
    }
    return all;
}

std::vector<std::string> base64Samples(Random &random)
{
    std::vector<std::string> all;
    for (const std::string &payload : payloads(random)) {
        MemoryOutputStream text;
        {
            Base64EncodingStream encoder(text, random.Below(2) ? 76 : -1);
            encoder.Write(payload.data(), static_cast<int>(payload.size()));
        }
        all.push_back(text.GetContent());
    }
    return all;
}

bool decodeBase64Stream(const std::string &input, std::string &why)
{
    MemoryInputStream source(input);
    Base64DecodingStream decoder(source);
    return drain(decoder, input.size(), why);
}

bool decodeBase64Memory(const std::string &input, std::string &why)
{
    const int n = static_cast<int>(input.size());
    const int room = Base64EncodingStream::Base64MemoryDecodedMaxSize(n);
    std::string destination(room + 16, '\xA5');  // 16 guard bytes after the room promised
    int decoded = Base64EncodingStream::Base64MemoryDecode(input.data(), n, &destination[0]);
    if (decoded < -1 || decoded > room) {
        why = "decoded " + std::to_string(decoded) + " bytes into room for " + std::to_string(room);
        return false;
    }
    if (destination.compare(room, 16, std::string(16, '\xA5')) != 0) {
        why = "wrote past the room for " + std::to_string(room) + " bytes";
        return false;
    }
    return true;
}

std::vector<std::string> crcSamples(Random &random)
{
    std::vector<std::string> all;
    for (const std::string &payload : payloads(random)) {
        MemoryOutputStream blocks;
        {
            CRCOutputStream crc(blocks);
            for (size_t at = 0; at < payload.size();) {  // pieces, so blocks end anywhere
                size_t piece = std::min<size_t>(payload.size() - at, 1 + random.Below(5000));
                crc.Write(payload.data() + at, static_cast<int>(piece));
                at += piece;
            }
        }
        all.push_back(blocks.GetContent());
    }
    return all;
}

bool decodeCrc(const std::string &input, std::string &why)
{
    MemoryInputStream source(input);
    CRCInputStream crc(source);
    return drain(crc, input.size(), why);
}

std::vector<std::string> compressedSamples(Random &random)
{
    std::vector<std::string> all;
    for (const std::string &payload : payloads(random)) {
        MemoryOutputStream compressed;
        {
            CompressingStream zip(compressed, static_cast<int>(random.Below(10)));
            zip.Write(payload.data(), static_cast<int>(payload.size()));
        }
        all.push_back(compressed.GetContent());
    }
    return all;
}

bool decodeCompressed(const std::string &input, std::string &why)
{
    MemoryInputStream source(input);
    DecompressingStream unzip(source);
    return drain(unzip, input.size(), why);
}

std::vector<std::string> stringSamples(Random &random)
{
    std::vector<std::string> all;
    for (int sample = 0; sample < 8; ++sample) {
        MemoryOutputStream out;
        for (uint32_t n = random.Below(6); n > 0; --n) {
            std::string text = random.Bytes(random.Below(300));
            out << text;
            out << String::FromLatin1(text);
            MemoryBlock block(static_cast<int>(text.size()));
            if (!text.empty())
                std::memcpy(static_cast<char *>(block), text.data(), text.size());
            out << block;
        }
        all.push_back(out.GetContent());
    }
    return all;
}

template <class Value>
bool extractAll(const std::string &input, std::string &)
{
    MemoryInputStream source(input);
    try {
        for (;;) {
            Value value;
            source >> value;
        }
    } catch (const StreamBase::Exception &) {
        return true;
    }
}

const CampaignRegistration base64Stream({"base64-stream", "Base64DecodingStream over damaged text",
                                         base64Samples, decodeBase64Stream});
const CampaignRegistration base64Memory({"base64-memory", "Base64MemoryDecode of damaged text",
                                         base64Samples, decodeBase64Memory});
const CampaignRegistration crc({"crc", "CRCInputStream over damaged blocks", crcSamples, decodeCrc});
const CampaignRegistration decompress({"decompress", "DecompressingStream over damaged zlib data",
                                       compressedSamples, decodeCompressed});
const CampaignRegistration narrow({"string", "std::string extraction from damaged data", stringSamples,
                                   extractAll<std::string>});
const CampaignRegistration wide({"wide-string", "wide-string extraction from damaged data", stringSamples,
                                 extractAll<std::basic_string<unsigned short>>});
const CampaignRegistration block({"memory-block", "MemoryBlock extraction from damaged data", stringSamples,
                                  extractAll<MemoryBlock>});

}  // namespace
}  // namespace qvstress
