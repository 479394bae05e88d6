// qvtool image info|convert|compose: image files through the library's imaging classes.
#include "Command.h"
#include "StdStreams.h"

#include "qvcore/graphics/Image.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace qvtool {
namespace {

struct ImageOptions {
    std::vector<std::string> files;  // info
    std::string in, out;             // convert (in), compose (base), both (out)
    std::string over;                // compose
    int width = 0, height = 0;       // convert
    std::string at = "0,0";          // compose
    int opacity = 255;               // compose
};

// The name as messages show it ("-": standard input).
std::string shownInput(const std::string &name)
{
    return name == "-" ? std::string("(standard input)") : name;
}

// Every byte of the named file or of standard input.
std::string readAll(const std::string &name)
{
    unsigned long long size;
    std::unique_ptr<InputStream> in = openInput(name, size);
    std::string bytes;
    std::vector<char> piece(64 << 10);
    while (int got = aboutFile("cannot read", shownInput(name), [&] { return readPiece(*in, piece.data(), static_cast<int>(piece.size())); }))
        bytes.append(piece.data(), static_cast<size_t>(got));
    return bytes;
}

// The codec's refusal as a failure naming the file.
Image decode(const std::string &name, const Size &scaleTo = Size())
{
    std::string bytes = readAll(name);
    try {
        return Image::Decode(bytes, scaleTo);
    } catch (const Image::Exception &e) {
        throw Failure("cannot decode '" + shownInput(name) + "': " + utf8(e.message));
    }
}

// PNG when the name ends in ".png", otherwise a 32-bit BMP ("-": standard output, as BMP).
void write(const Image &image, const std::string &name)
{
    OutputTarget target(name);
    Image::Format format = name == "-" ? Image::Bmp : Image::FormatFromName(String::FromUtf8(name));
    std::string bytes;
    try {
        bytes = image.Encode(format == Image::Png ? Image::Png : Image::Bmp);
    } catch (const Image::Exception &e) {
        throw Failure("cannot encode '" + target.Name() + "': " + utf8(e.message));
    }
    aboutFile("cannot write", target.Name(), [&] { target.Stream().Write(bytes.data(), static_cast<int>(bytes.size())); });
    target.Commit();
}

// "NAME: FORMAT WxH, B bpp, alpha|no alpha, N frame(s)" per file; a file that fails is reported
// and the others are still described.
int runInfo(const ImageOptions &options)
{
    int status = 0;
    for (const std::string &name : options.files) {
        try {
            Image image = decode(name);
            Size size = image.GetSize();
            std::printf("%s: %s %ldx%ld, %u bpp, %s, %u frame%s\n", shownInput(name).c_str(),
                        Image::FormatName(image.GetFormat()), size.cx, size.cy, image.GetSourceBitsPerPixel(),
                        image.SourceHasAlpha() ? "alpha" : "no alpha", image.GetFrameCount(),
                        image.GetFrameCount() == 1 ? "" : "s");
        } catch (...) {
            status = fail("image: " + describeCurrentException());
        }
    }
    return status;
}

int runConvert(const ImageOptions &options)
{
    write(decode(options.in, Size(options.width, options.height)), options.out);
    return 0;
}

// OVER blended onto BASE through the library's alpha blit; BASE outside OVER stays as it was.
int runCompose(const ImageOptions &options)
{
    Image base = decode(options.in);
    Image over = decode(options.over);
    int x = 0, y = 0;
    std::sscanf(options.at.c_str(), "%d,%d", &x, &y);
    over.Premultiply();
    if (!base.Blend(over, Point(x, y), static_cast<BYTE>(options.opacity)))
        throw Failure("cannot blend '" + shownInput(options.over) + "' onto '" + shownInput(options.in) +
                      "': " + systemText(GetLastError()));
    write(base, options.out);
    return 0;
}

// Empty when text is "X,Y" with two integers, else what is wrong with it.
std::string checkPosition(const std::string &text)
{
    int x, y;
    char rest;
    if (std::sscanf(text.c_str(), "%d,%d%c", &x, &y, &rest) != 2)
        return "'" + text + "' is not a position X,Y";
    return std::string();
}

Runner defineImage(CLI::App &command)
{
    auto options = std::make_shared<ImageOptions>();
    command.require_subcommand(1, 1);
    CLI::App *info = command.add_subcommand("info", "one line per FILE: format, size, bits per pixel, alpha, frames");
    info->add_option("FILE", options->files, "image files ('-': standard input)")->required();
    CLI::App *convert = command.add_subcommand("convert", "IN decoded and written to OUT (PNG by its name, else BMP)");
    convert->add_option("IN", options->in, "image file ('-': standard input)")->required();
    convert->add_option("OUT", options->out, "a .png file, any other name a 32-bit BMP ('-': standard output)")
        ->required();
    convert->add_option("--width", options->width, "scaled to this width (alone: the aspect kept)")
        ->check(CLI::Range(1, Image::kMaxSide));
    convert->add_option("--height", options->height, "scaled to this height (alone: the aspect kept)")
        ->check(CLI::Range(1, Image::kMaxSide));
    CLI::App *compose = command.add_subcommand("compose", "OVER alpha-blended onto BASE, written to OUT as convert");
    compose->add_option("BASE", options->in, "image file ('-': standard input)")->required();
    compose->add_option("OVER", options->over, "image file blended onto it")->required();
    compose->add_option("OUT", options->out, "as for convert")->required();
    compose->add_option("--at", options->at, "where OVER's top-left corner goes in BASE (default 0,0)")
        ->check(checkPosition);
    compose->add_option("--opacity", options->opacity, "OVER's opacity times its own alpha, 0 to 255 (default 255)")
        ->check(CLI::Range(0, 255));
    return [options, info, convert] {
        if (info->parsed())
            return runInfo(*options);
        if (convert->parsed())
            return runConvert(*options);
        return runCompose(*options);
    };
}

const CommandRegistration registration({"image", "image files: info, convert to PNG or BMP, compose with alpha",
                                         defineImage});

}  // namespace
}  // namespace qvtool
