// Dialog templates: a damaged template is read as a module's dialog resource, for its rectangle
// in dialog units and in pixels (which hands it to the system's dialog manager) and for the
// scaled copy LoadDialog makes. Resource lookups never throw: any exception is a defect.
//
// The program carries one dialog resource as a slot of fixed size; for each input the slot's
// bytes and the size its resource entry records are overwritten in memory, so the lookup goes
// through the system's resource functions as it does for a real module.
#include "Campaign.h"

#include "qvcore/core/MemoryBlock.h"
#include "qvcore/runtime/ModuleBase.h"

#include <windows.h>

#include <cstring>
#include <functional>

namespace qvstress {
namespace {

const unsigned int kSlotId = 1;

// Builds templates in the system's binary layout (little-endian, UTF-16 texts).
class TemplateBuilder {
public:
    TemplateBuilder &word(unsigned short value) { return raw(&value, 2); }
    TemplateBuilder &dword(unsigned long value)
    {
        uint32_t narrow = static_cast<uint32_t>(value);
        return raw(&narrow, 4);
    }
    TemplateBuilder &rect(short x, short y, short cx, short cy) { return word(x).word(y).word(cx).word(cy); }
    TemplateBuilder &text(const wchar_t *text)
    {
        do
            word(static_cast<unsigned short>(*text));
        while (*text++);
        return *this;
    }
    TemplateBuilder &ordinal(unsigned short value) { return word(0xFFFF).word(value); }
    TemplateBuilder &alignTo4()
    {
        bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
        return *this;
    }
    std::string bytes;

private:
    TemplateBuilder &raw(const void *data, size_t size)
    {
        bytes.append(static_cast<const char *>(data), size);
        return *this;
    }
};

const DWORD kDialogStyle = DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU;
const DWORD kItemStyle = WS_CHILD | WS_VISIBLE;

std::vector<std::string> dialogSamples(Random &random)
{
    std::vector<std::string> all;
    const short width = static_cast<short>(100 + random.Below(200)), height = static_cast<short>(60 + random.Below(120));

    // Classic layout with a font: a button, an edit field and a label by class ordinal.
    TemplateBuilder classic;
    classic.dword(kDialogStyle | DS_SETFONT).dword(0).word(3).rect(10, 12, width, height);
    classic.word(0).word(0).text(L"Settings").word(8).text(L"MS Shell Dlg");
    const unsigned short classes[] = {0x0080, 0x0081, 0x0082};
    for (unsigned short i = 0; i < 3; ++i) {
        classic.alignTo4().dword(kItemStyle | WS_TABSTOP).dword(0).rect(7, static_cast<short>(7 + 16 * i), 50, 14);
        classic.word(static_cast<unsigned short>(100 + i)).ordinal(classes[i]).text(i == 1 ? L"" : L"Label").word(0);
    }
    all.push_back(classic.bytes);

    // Extended layout: classes by name, a control with creation data, a title by ordinal.
    TemplateBuilder extended;
    extended.word(1).word(0xFFFF).dword(7).dword(WS_EX_CONTROLPARENT).dword(kDialogStyle | DS_SETFONT).word(3);
    extended.rect(0, 0, width, height).word(0).word(0).text(L"Extended dialog");
    extended.word(9).word(FW_BOLD).word(0x0100 /* italic, ANSI character set */).text(L"Tahoma");
    extended.alignTo4().dword(0).dword(0).dword(kItemStyle | BS_PUSHBUTTON).rect(5, 5, 40, 14).dword(IDOK);
    extended.text(L"Button").text(L"OK").word(0);
    extended.alignTo4().dword(0).dword(WS_EX_CLIENTEDGE).dword(kItemStyle | ES_AUTOHSCROLL).rect(5, 25, 80, 12);
    extended.dword(200).text(L"Edit").ordinal(5).word(6).word(1).word(2).word(3);
    extended.alignTo4().dword(0).dword(0).dword(kItemStyle | LBS_NOTIFY).rect(5, 40, 80, 40).dword(201);
    extended.ordinal(0x0083).text(L"").word(0);
    all.push_back(extended.bytes);

    // Classic without a font, with a menu by ordinal and no items.
    TemplateBuilder bare;
    bare.dword(WS_POPUP | WS_BORDER).dword(0).word(0).rect(0, 0, width, height).ordinal(0).word(0).text(L"");
    all.push_back(bare.bytes);
    return all;
}

// The program's own dialog resource, made writable: the bytes and the size the resource entry
// records.
struct Slot {
    IMAGE_RESOURCE_DATA_ENTRY *entry = nullptr;
    unsigned char *bytes = nullptr;
    DWORD capacity = 0;
    std::string problem;

    Slot()
    {
        HMODULE self = GetModuleHandleA(nullptr);
        HRSRC found = FindResourceA(self, MAKEINTRESOURCEA(kSlotId), MAKEINTRESOURCEA(5));
        HGLOBAL loaded = found ? LoadResource(self, found) : nullptr;
        bytes = static_cast<unsigned char *>(loaded ? LockResource(loaded) : nullptr);
        if (!bytes) {
            problem = "the program has no dialog resource to fill";
            return;
        }
        capacity = SizeofResource(self, found);
        // The system's resource handle is the resource's data entry; checked before it is
        // written through.
        entry = reinterpret_cast<IMAGE_RESOURCE_DATA_ENTRY *>(found);
        if (reinterpret_cast<unsigned char *>(self) + entry->OffsetToData != bytes || entry->Size != capacity) {
            problem = "the resource handle is not the resource's data entry";
            return;
        }
        DWORD old = 0;
        if (!VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &old) ||
            !VirtualProtect(bytes, capacity, PAGE_READWRITE, &old))
            problem = "the resource section cannot be made writable";
    }

    /// Places input in the slot (cut to its capacity); false when the slot is unusable.
    bool fill(const std::string &input, std::string &why)
    {
        if (!problem.empty()) {
            why = problem;
            return false;
        }
        const DWORD size = input.size() < capacity ? static_cast<DWORD>(input.size()) : capacity;
        std::memcpy(bytes, input.data(), size);
        entry->Size = size;
        return true;
    }
};

Slot &slot()
{
    static Slot theSlot;
    return theSlot;
}

const ModuleBase &program()
{
    static ModuleBase module(GetModuleHandleA(nullptr));
    return module;
}

// Does what a user-interface thread's message loop does between calls. Under Wine every
// dialog made and destroyed leaves work behind for the thread (some 750 bytes each, measured
// with a bare program) that only retrieving messages finishes; a program without a loop would
// grow by that much per input.
void runMessageLoopOnce()
{
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageA(&message);
}

bool readTemplate(const std::string &input, std::string &why)
{
    if (!slot().fill(input, why))
        return false;
    program().GetDialogRect(kSlotId, /*inPixels=*/false);
    MemoryBlock scaled;
    program().LoadDialog(kSlotId, scaled);
    // The dialog manager is slow beside the rest: one input in eight goes that far, chosen by
    // its bytes so that an input made again is read the same way.
    if (std::hash<std::string>()(input) % 8 == 0) {
        program().GetDialogRect(kSlotId, /*inPixels=*/true);
        runMessageLoopOnce();
    }
    return true;
}

bool mapsToPixels(const std::string &sample, std::string &why)
{
    if (!slot().fill(sample, why))
        return false;
    const Rect units = program().GetDialogRect(kSlotId, false), pixels = program().GetDialogRect(kSlotId, true);
    MemoryBlock scaled;
    if (units.Width() > 0 && pixels.Width() > 0 && program().LoadDialog(kSlotId, scaled))
        return true;
    why = "an undamaged template gave no rectangle in pixels (is there a display?) or no copy";
    return false;
}

const CampaignRegistration dialog({"dialog", "dialog templates read from a module's resources", dialogSamples,
                                   readTemplate, mapsToPixels});

}  // namespace
}  // namespace qvstress
