// Dialog templates of a module: their rectangles and scaled copies.
//
// Both template layouts the system reads are understood. The classic one starts with the
// style, extended style, item count and the rectangle; the extended one with a version word,
// the signature 0xFFFF, the help identifier, extended style, style, item count and the
// rectangle. Then come the menu, class and title (each a zero word, 0xFFFF and an ordinal, or
// a zero-terminated text), the font when the style asks for one, and the items, each on a
// 4-byte boundary: its fixed part with the rectangle, class, title and creation data.

#include "qvcore/runtime/ModuleBase.h"

#include "qvcore/core/ScopedHandle.h"

#include <cstring>
#include <string>

namespace {

const unsigned int kDialogType = 5;  // RT_DIALOG
const unsigned short kExtendedSignature = 0xFFFF;

// Byte offsets of the rectangle (x, y, cx, cy as 16-bit values) and of the style word in the
// fixed parts of both layouts, and the sizes of those parts.
struct Layout {
    std::size_t styleAt, countAt, rectAt, headerSize;
    std::size_t itemRectAt, itemSize;
};
const Layout kClassic = {0, 8, 10, 18, 8, 18};
const Layout kExtended = {12, 16, 18, 26, 12, 24};

// A walk over the template's bytes that never leaves them: every step reports failure when
// the template is cut short.
class TemplateWalk {
public:
    TemplateWalk(const unsigned char *bytes, std::size_t size) : bytes_(bytes), size_(size), at_(0) {}

    std::size_t at() const { return at_; }
    bool skip(std::size_t count)
    {
        if (count > size_ - at_)
            return false;
        at_ += count;
        return true;
    }
    bool word(unsigned short &value) const
    {
        if (size_ - at_ < 2)
            return false;
        std::memcpy(&value, bytes_ + at_, 2);
        return true;
    }
    bool alignTo4() { return skip((4 - at_ % 4) % 4); }
    // A menu, class or title field: a zero word, 0xFFFF and an ordinal, or a text up to its
    // zero unit.
    bool skipNameOrOrdinal()
    {
        unsigned short first = 0;
        if (!word(first))
            return false;
        if (first == 0xFFFF)
            return skip(4);
        return skipText();
    }
    bool skipText()
    {
        unsigned short unit = 0;
        do {
            if (!word(unit) || !skip(2))
                return false;
        } while (unit != 0);
        return true;
    }

private:
    const unsigned char *bytes_;
    std::size_t size_;
    std::size_t at_;
};

bool isExtended(const unsigned char *bytes, std::size_t size)
{
    unsigned short signature = 0;
    if (size < 4)
        return false;
    std::memcpy(&signature, bytes + 2, 2);
    return signature == kExtendedSignature;
}

const Layout &layoutOf(const unsigned char *bytes, std::size_t size)
{
    return isExtended(bytes, size) ? kExtended : kClassic;
}

unsigned long readLong(const unsigned char *at)
{
    unsigned long value = 0;
    std::memcpy(&value, at, 4);
    return value;
}

short readShort(const unsigned char *at)
{
    short value = 0;
    std::memcpy(&value, at, 2);
    return value;
}

void writeShort(unsigned char *at, int value)
{
    short narrow = static_cast<short>(value);
    std::memcpy(at, &narrow, 2);
}

// Scales one axis of a rectangle (position and extent) by factor: both edges are truncated,
// and the far one moves out by a unit when truncation left the extent short of the exact one,
// so that scaled controls never lose a sliver of their content.
void scaleAxis(unsigned char *position, unsigned char *extent, double factor)
{
    const short start = readShort(position);
    const short length = readShort(extent);
    const double exactStart = start * factor;
    const double exactEnd = (start + length) * factor;
    const int scaledStart = static_cast<int>(exactStart);
    int scaledEnd = static_cast<int>(exactEnd);
    if (scaledEnd - scaledStart < exactEnd - exactStart)
        ++scaledEnd;
    writeShort(position, scaledStart);
    writeShort(extent, scaledEnd - scaledStart);
}

void scaleRect(unsigned char *rect, double horizontal, double vertical)
{
    scaleAxis(rect, rect + 4, horizontal);
    scaleAxis(rect + 2, rect + 6, vertical);
}

// Skips the fixed part, menu, class and title of the dialog: the walk then stands before the
// font's fields (if the style announces a font).
bool skipToFont(TemplateWalk &walk, const Layout &layout)
{
    return walk.skip(layout.headerSize) && walk.skipNameOrOrdinal() && walk.skipNameOrOrdinal() && walk.skipText();
}

// Skips the font's fields: the point size (the extended layout adds weight, italic flag and
// character set) and the face name.
bool skipFont(TemplateWalk &walk, const unsigned char *bytes, const Layout &layout)
{
    if (!(readLong(bytes + layout.styleAt) & DS_SETFONT))
        return true;
    return walk.skip(&layout == &kExtended ? 6 : 2) && walk.skipText();
}

// Skips the menu, class, title and font of the dialog; the walk then stands before the first
// item.
bool skipDialogFields(TemplateWalk &walk, const unsigned char *bytes, const Layout &layout)
{
    return skipToFont(walk, layout) && skipFont(walk, bytes, layout);
}

// Walks the whole template: the dialog's fields, then every item (onItem gets the offset of
// each item's fixed part). False when the template ends before its last item does.
template <class OnItem>
bool walkTemplate(const unsigned char *bytes, std::size_t size, OnItem onItem)
{
    if (size < kClassic.headerSize)
        return false;
    const Layout &layout = layoutOf(bytes, size);
    if (size < layout.headerSize)
        return false;
    TemplateWalk walk(bytes, size);
    if (!skipDialogFields(walk, bytes, layout))
        return false;
    unsigned short items = 0;
    std::memcpy(&items, bytes + layout.countAt, 2);
    for (unsigned short item = 0; item < items; ++item) {
        if (!walk.alignTo4())
            return false;
        const std::size_t fixed = walk.at();
        unsigned short extra = 0;
        if (!walk.skip(layout.itemSize) || !walk.skipNameOrOrdinal() || !walk.skipNameOrOrdinal() ||
            !walk.word(extra) || !walk.skip(2 + extra))
            return false;
        onItem(layout, fixed);
    }
    return true;
}

// Scales the dialog's rectangle and every item's in place.
bool scaleTemplate(unsigned char *bytes, std::size_t size, double horizontal, double vertical)
{
    if (!walkTemplate(bytes, size, [&](const Layout &layout, std::size_t item) {
            scaleRect(bytes + item + layout.itemRectAt, horizontal, vertical);
        }))
        return false;
    scaleRect(bytes + layoutOf(bytes, size).rectAt, horizontal, vertical);
    return true;
}

// A template in the same layout as bytes with the dialog's font and nothing else: a hidden
// pop-up without items, menu, class, title or extent. False when the template ends before its
// font does.
bool fontOnlyTemplate(const unsigned char *bytes, std::size_t size, std::string &out)
{
    const Layout &layout = layoutOf(bytes, size);
    TemplateWalk walk(bytes, size);
    if (!skipToFont(walk, layout))
        return false;
    const std::size_t fontAt = walk.at();
    if (!skipFont(walk, bytes, layout))
        return false;
    const DWORD style = WS_POPUP | (readLong(bytes + layout.styleAt) & (DS_SETFONT | DS_FIXEDSYS));
    // Everything up to the style is zero but the extended layout's version and signature.
    out.assign(layout.headerSize, '\0');
    if (&layout == &kExtended)
        out.replace(0, 4, "\x01\x00\xFF\xFF", 4);
    std::memcpy(&out[layout.styleAt], &style, 4);
    out.append(6, '\0');  // no menu, class or title
    out.append(reinterpret_cast<const char *>(bytes) + fontAt, walk.at() - fontAt);
    return true;
}

struct WindowTraits {
    typedef HWND Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { DestroyWindow(handle); }
};

INT_PTR CALLBACK handleNothing(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

}  // namespace

bool ModuleBase::LoadDialog(unsigned int id, MemoryBlock &dialogTemplate) const
{
    dialogTemplate.resize(0, /*keepContent=*/false);
    unsigned long size = 0;
    const void *bytes = LoadResource(id, MAKEINTRESOURCEA(kDialogType), &size);
    if (!bytes || size > 0x7FFFFFFF)
        return false;
    dialogTemplate.resize(static_cast<int>(size), /*keepContent=*/false);
    std::memcpy(static_cast<char *>(dialogTemplate), bytes, size);
    double horizontal = 1.0, vertical = 1.0;
    GetDialogScalingFactors(horizontal, vertical);
    if (scaleTemplate(reinterpret_cast<unsigned char *>(static_cast<char *>(dialogTemplate)), size, horizontal,
                      vertical))
        return true;
    dialogTemplate.resize(0, /*keepContent=*/false);
    return false;
}

Rect ModuleBase::GetDialogRect(unsigned int id, bool inPixels) const
{
    unsigned long size = 0;
    const unsigned char *bytes =
        static_cast<const unsigned char *>(LoadResource(id, MAKEINTRESOURCEA(kDialogType), &size));
    if (!bytes || size < kClassic.headerSize)
        return Rect();
    const Layout &layout = layoutOf(bytes, size);
    if (size < layout.headerSize)
        return Rect();
    const unsigned char *at = bytes + layout.rectAt;
    const int x = readShort(at), y = readShort(at + 2);
    Rect rect(x, y, x + readShort(at + 4), y + readShort(at + 6));
    if (!inPixels)
        return rect;

    // The system maps dialog units with the dialog's own font, through a real, hidden dialog.
    // The mapping depends on nothing but the font, so the system is handed a template that holds
    // nothing else: damaged controls, titles or sizes in the resource never reach it (the
    // system's reading of those trusts them). A template that ends early gives no rectangle,
    // as LoadDialog gives no copy.
    std::string fontOnly;
    if (!walkTemplate(bytes, size, [](const Layout &, std::size_t) {}) ||
        !fontOnlyTemplate(bytes, size, fontOnly))
        return Rect();
    ScopedGlobalMemory memory(GlobalAlloc(GMEM_FIXED, fontOnly.size()));
    if (!memory)
        return Rect();
    std::memcpy(memory.get(), fontOnly.data(), fontOnly.size());
    ScopedHandle<WindowTraits> dialog(CreateDialogIndirectParamA(
        GetResourceModule(MAKEINTRESOURCEA(kDialogType)), static_cast<LPCDLGTEMPLATEA>(memory.get()), nullptr,
        handleNothing, 0));
    if (!dialog || !MapDialogRect(dialog.get(), &rect))
        return Rect();
    return rect;
}
