#include "Command.h"
#include "StdStreams.h"

#include <cstdio>
#include <memory>

namespace qvtool {
namespace {

// "DRHSAC" with "-" for each attribute that is not set.
std::string attributeText(const FileData &entry)
{
    std::string text = "------";
    const bool set[] = {entry.IsDirectory(), entry.IsReadOnly(), entry.IsHidden(),
                        entry.IsSystem(),    entry.IsArchived(), entry.IsCompressed()};
    for (int i = 0; i < 6; ++i) {
        if (set[i])
            text[i] = "DRHSAC"[i];
    }
    return text;
}

struct Totals {
    unsigned files = 0;
    unsigned directories = 0;
    unsigned long long bytes = 0;
};

void printEntry(const FileData &entry, const String &shownName, Totals &totals)
{
    char size[32];
    if (entry.IsDirectory()) {
        std::snprintf(size, sizeof size, "<DIR>");
        ++totals.directories;
    } else {
        std::snprintf(size, sizeof size, "%llu", entry.GetFileSize());
        ++totals.files;
        totals.bytes += entry.GetFileSize();
    }
    printOut("%s %14s  %-28s %s\n", attributeText(entry).c_str(), size,
             utf8(entry.GetLastWriteTime().ToString()).c_str(), utf8(shownName).c_str());
}

// The entries matching pattern in dir, then (recursive) the same in every sub-directory,
// whatever its own name; linked folders are not entered (a link back up would never end).
void listTree(const String &dir, const String &pattern, bool recursive, bool showPaths, Totals &totals)
{
    FileFinder finder(File::MakePath(dir, pattern), false);
    for (bool found = finder.IsValid(); found; found = finder.Next())
        printEntry(finder, showPaths ? finder.GetFilePath() : finder.GetFileName(), totals);
    if (!recursive)
        return;
    FileFinder sub(File::MakePath(dir, String(L"*")), false);
    for (bool found = sub.IsValid(); found; found = sub.Next()) {
        if (sub.IsDirectory() && !sub.IsReparsePoint())
            listTree(sub.GetFilePath(), pattern, true, true, totals);
    }
}

struct LsOptions {
    bool recursive = false;
    std::string target;
};

int runLs(const LsOptions &options)
{
    const std::string &target = options.target;
    String given = target.empty() ? String() : fileName(target);
    String dir = given.empty() ? String(L".") : given;
    String pattern(L"*");
    bool namedDirectory = given.empty() || File::IsDirectory(given);
    if (!namedDirectory) {
        dir = File::GetDirname(given);
        pattern = File::GetBasename(given, String());
        if (!File::IsDirectory(dir))
            return fail("ls: '" + utf8(dir) + "': " + systemText(ERROR_PATH_NOT_FOUND));
    }

    Totals totals;
    listTree(dir, pattern, options.recursive, options.recursive, totals);
    if (!namedDirectory && totals.files + totals.directories == 0)
        return fail("ls: nothing matches '" + target + "'");
    printOut("%u file(s), %llu bytes; %u dir(s)\n", totals.files, totals.bytes, totals.directories);
    return 0;
}

Runner defineLs(CLI::App &command)
{
    auto options = std::make_shared<LsOptions>();
    command.add_flag("-r,--recursive", options->recursive,
                     "match PATTERN in every sub-directory too (linked folders are not entered)");
    command.add_option("PATTERN", options->target, "a directory, or a pattern such as *.txt (default: the current "
                                                   "directory)");
    return [options] { return runLs(*options); };
}

const CommandRegistration registration({"ls",
                                         "list the entries matching PATTERN with attributes (DRHSAC), size and last "
                                         "write time (UTC)",
                                         defineLs});

}  // namespace
}  // namespace qvtool
