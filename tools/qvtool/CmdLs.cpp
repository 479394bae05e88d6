#include "Command.h"

#include <cstdio>

namespace qvtool {
namespace {

std::string narrow(const String &text)
{
    return text.SystemMultibyte();
}

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
    std::printf("%s %14s  %-28s %s\n", attributeText(entry).c_str(), size,
                narrow(entry.GetLastWriteTime().ToString()).c_str(), narrow(shownName).c_str());
}

// Lists each file the recursive walk reports, under its path.
class RecursiveLister : public FileFinder::IFindCallback {
public:
    explicit RecursiveLister(Totals &totals) : totals_(totals) {}

    bool OnFileFound(const String &dir, const String &fileName) override
    {
        String path = File::MakePath(dir, fileName);
        // The walk hands over names only: the entry itself is looked up again.
        FileFinder entry(path, true);
        if (entry.IsValid())
            printEntry(entry, path, totals_);
        return true;
    }

private:
    Totals &totals_;
};

int runLs(const Args &args)
{
    bool recursive = false;
    std::string target;
    for (const std::string &arg : args) {
        if (arg == "-r") {
            recursive = true;
        } else if (!arg.empty() && arg[0] == '-') {
            return fail("ls: unknown option '" + arg + "' (usage: qvtool ls [-r] [PATTERN|DIR])");
        } else if (!target.empty()) {
            return fail("ls: give one PATTERN or DIR");
        } else {
            target = arg;
        }
    }

    String given = String::FromSystemMultibyte(target);
    String dir = given.empty() ? String(L".") : given;
    String pattern(L"*");
    bool namedDirectory = given.empty() || File::IsDirectory(given);
    if (!namedDirectory) {
        dir = File::GetDirname(given);
        pattern = File::GetBasename(given, String());
        if (!File::IsDirectory(dir))
            return fail("ls: " + narrow(dir) + ": no such directory");
    }

    Totals totals;
    if (recursive) {
        RecursiveLister lister(totals);
        FileFinder::FindFilesRecursive(dir, pattern, lister);
    } else {
        FileFinder finder(File::MakePath(dir, pattern), false);
        for (bool found = finder.IsValid(); found; found = finder.Next())
            printEntry(finder, finder.GetFileName(), totals);
    }
    if (!namedDirectory && totals.files + totals.directories == 0)
        return fail("ls: nothing matches '" + target + "'");
    std::printf("%u file(s), %llu bytes; %u dir(s)\n", totals.files, totals.bytes, totals.directories);
    return 0;
}

const CommandRegistration registration({
    "ls", "qvtool ls [-r] [PATTERN|DIR]",
    "list the entries matching PATTERN (default: the current directory) with attributes (DRHSAC), "
    "size and last write time (UTC); -r lists the files of every sub-directory whose name matches too",
    runLs});

}  // namespace
}  // namespace qvtool
