#ifndef QVCORE_RUNTIME_MODULEBASE_H
#define QVCORE_RUNTIME_MODULEBASE_H

#include "qvcore/Platform.h"
#include "qvcore/core/MemoryBlock.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/String.h"

#include <ocidl.h>

#include <vector>

/// Names the language file of a module for the application: installed with
/// ModuleBase::SetLanguage and asked by every module that initialises afterwards.
class ILanguageDLLName {
public:
    /// Fills path with the language file for language of the module whose file is modulePath
    /// and returns true; false when the module has none (path is then ignored).
    virtual bool GetLanguageDLLName(unsigned short language, const String &modulePath, String &path) = 0;

protected:
    ~ILanguageDLLName() {}
};

/// The version resource of a module: the file version's high and low halves, then the product
/// version's. All zero when the module has no version resource.
struct ModuleVersion {
    unsigned long fileHigh;
    unsigned long fileLow;
    unsigned long productHigh;
    unsigned long productLow;
};

/// Whatever resources are looked up in: it names the module that serves each resource type.
/// ModuleBase is the library's own (bitmaps and "PICTURE" resources from the module itself,
/// everything else from its language file unless told to use the module); code that loads
/// resources on behalf of a module asks it here instead of repeating those rules, and a host
/// that serves resources from elsewhere (a skin or a test module) derives its own.
class QVCORE_API ResourceTarget {
public:
    virtual ~ResourceTarget();
    /// The module that serves resources of type (a number made with MAKEINTRESOURCEA, or a
    /// name); the handle belongs to the target and stays valid while the target lives.
    virtual HINSTANCE GetResourceModule(const char *type) const = 0;
    /// True for the types a language file never translates: bitmaps (type 2) and "PICTURE"
    /// (named without regard to case).
    static bool IsUntranslatedType(const char *type);

protected:
    ResourceTarget() = default;
    ResourceTarget(const ResourceTarget &) = default;
    ResourceTarget &operator=(const ResourceTarget &) = default;
};

/// An executable or library built on QvCore: its module handle and the module its resources
/// come from (itself unless a language file is in use).
///
/// Every executable or library has one object derived from ModuleBase, which Init() enters
/// into the process-wide list (GetModules()) and selects its language file for. Resource
/// lookups never throw: they give empty strings, null handles or empty objects. Not copyable:
/// the object owns the language file it loaded.
class QVCORE_API ModuleBase : public ResourceTarget {
public:
    /// module and resources both set to the handle (null: none yet). The object is not in the
    /// process-wide list and uses no language file until Init().
    explicit ModuleBase(HINSTANCE module = nullptr);
    /// Unloads the language file (when resources differ from the module) and leaves the list.
    ~ModuleBase() override;
    ModuleBase(const ModuleBase &) = delete;
    ModuleBase &operator=(const ModuleBase &) = delete;

    HINSTANCE GetModule() const { return module_; }
    HINSTANCE GetResources() const { return resources_; }
    /// The module resource type comes from: the module (for a null module handle, the
    /// executable) for untranslated types or with GetUseModule(), else the language file.
    HINSTANCE GetResourceModule(const char *type) const override;

    /// The allocation base of the memory region holding address: for code or data of a module,
    /// its handle. Null when the address lies in no allocated region.
    static HINSTANCE GetHInstance(const void *address);

    // --- the process-wide list and settings ------------------------------------------------

    /// Every initialised module, in the order of initialisation.
    static const std::vector<ModuleBase *> &GetModules();
    /// The first module of the list whose GetName() or GetFilename() is name (without regard
    /// to case); null when there is none.
    static ModuleBase *GetModule(const String &name);

    /// The language whose language files modules initialised from now on select (the user's
    /// interface language until set), and the callback that names those files (null: each
    /// module's own GetLanguageDLLName alone). The callback is not owned: it must outlive
    /// every later Init().
    static void SetLanguage(unsigned short language, ILanguageDLLName *naming = nullptr);
    static unsigned short GetLanguage();

    /// Factors by which LoadDialog scales dialog coordinates: x values horizontally, y values
    /// vertically (both 1.0 until set).
    static void SetDialogScalingFactors(double horizontal, double vertical);
    static void GetDialogScalingFactors(double &horizontal, double &vertical);

    /// With useModule set, resources are taken from the module even while a language file is
    /// loaded (the language file stays loaded).
    void SetUseModule(bool useModule) { useModule_ = useModule; }
    bool GetUseModule() const { return useModule_; }

    /// The display name (set with SetDisplayName), else the file name without its extension.
    String GetName() const;
    /// Sets this module's display name, or with allModules that of every module in the list
    /// instead.
    void SetDisplayName(const String &name, bool allModules = false);

    // --- the module's file -----------------------------------------------------------------

    /// The module's full path (for a null module handle, the executable's); empty on failure.
    String GetPath() const;
    /// The folder holding the module, without a trailing backslash.
    String GetDirectory() const;
    /// The module's file name with its extension ("player.exe").
    String GetFilename() const;
    /// An exported function of the module; null when it has none of that name.
    FARPROC GetProcedure(const char *name) const;

    /// The module's version resource; all zero when there is none.
    ModuleVersion GetModuleVersion() const;
    static ModuleVersion GetModuleVersion(HINSTANCE module);
    /// The version resource of a file (not necessarily loaded); all zero when the file is
    /// missing or has none.
    static ModuleVersion GetModuleVersion(const String &fileName);

    /// Loads the library name that lies beside the module (names in the ANSI code page). With
    /// changeDirectory the current directory is the module's folder while the library loads
    /// under its name as given, so that libraries it depends on are found there too, and is
    /// restored afterwards; without it the library is loaded by its full path. The caller owns
    /// the handle (FreeLibrary); null when it cannot be loaded.
    HINSTANCE LocalLoadLibrary(const String &name, bool changeDirectory) const;

    // --- resources -------------------------------------------------------------------------

    /// The bytes of resource id of type (a number made with MAKEINTRESOURCEA, or a name) and
    /// their count in size (when not null); null for a missing resource. The bytes belong to
    /// the module. Bitmaps (type 2) and "PICTURE" resources always come from the module,
    /// everything else from the language file unless GetUseModule().
    const void *LoadResource(unsigned int id, const char *type, unsigned long *size = nullptr) const;

    /// "res://<module path>/<type>/<id>", the address of a resource for the system's browser
    /// components; a named type stands in the address by its name.
    String CreateResourceURL(unsigned int id, const char *type) const;

    /// Lines firstLine to lastLine (as String::GetLines) of string-table entry id, read straight
    /// from the resources. id 0, a missing block or an empty entry give an empty string.
    /// Exported under the narrow name; LoadStringW, and LoadString where a client has undefined
    /// the system's macro, lead to it whether or not the client defines UNICODE.
    String LoadStringA(unsigned int id, int firstLine = 0, int lastLine = -1) const;
    static String LoadStringA(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1);
    String LoadStringW(unsigned int id, int firstLine = 0, int lastLine = -1) const
    {
        return LoadStringA(id, firstLine, lastLine);
    }
    static String LoadStringW(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1)
    {
        return LoadStringA(module, id, firstLine, lastLine);
    }

    /// Bitmap resource id of the module as a device-dependent bitmap; the caller owns it
    /// (DeleteObject), null when missing. Exported as LoadBitmapA, reached as LoadString is.
    HBITMAP LoadBitmapA(unsigned int id) const;
    HBITMAP LoadBitmapW(unsigned int id) const { return LoadBitmapA(id); }

    /// Shows a message box with the narrow text and caption (null: GetName()); the system's
    /// answer (IDOK, ...), 0 when the box cannot be shown. Exported as MessageBoxA, reached as
    /// LoadString is.
    int MessageBoxA(HWND owner, const char *text, const char *caption, unsigned int type) const;
    int MessageBoxW(HWND owner, const char *text, const char *caption, unsigned int type) const
    {
        return MessageBoxA(owner, text, caption, type);
    }

#pragma push_macro("LoadString")
#pragma push_macro("LoadBitmap")
#pragma push_macro("MessageBox")
#undef LoadString
#undef LoadBitmap
#undef MessageBox
    String LoadString(unsigned int id, int firstLine = 0, int lastLine = -1) const
    {
        return LoadStringA(id, firstLine, lastLine);
    }
    static String LoadString(HINSTANCE module, unsigned int id, int firstLine = 0, int lastLine = -1)
    {
        return LoadStringA(module, id, firstLine, lastLine);
    }
    HBITMAP LoadBitmap(unsigned int id) const { return LoadBitmapA(id); }
    int MessageBox(HWND owner, const char *text, const char *caption, unsigned int type) const
    {
        return MessageBoxA(owner, text, caption, type);
    }
#pragma pop_macro("MessageBox")
#pragma pop_macro("LoadBitmap")
#pragma pop_macro("LoadString")

    /// "PICTURE" resource id of the module (any format the system's picture loader reads:
    /// BMP, JPEG, GIF, icons, metafiles). The caller owns the reference (Release); null when
    /// the resource is missing or unreadable.
    IPicture *LoadPicture(unsigned int id) const;
    /// The same picture drawn into a new bitmap of its size in screen pixels; the caller owns
    /// it (DeleteObject), null on failure.
    HBITMAP LoadPictureAsBmp(unsigned int id) const;

    /// A copy of dialog template id (classic or extended) in dialogTemplate, every coordinate
    /// of the dialog and its items scaled by the dialog scaling factors, ready for the
    /// system's ...Indirect dialog functions. False, the block emptied, when the template is
    /// missing or damaged.
    bool LoadDialog(unsigned int id, MemoryBlock &dialogTemplate) const;
    /// The rectangle of dialog template id (x, y, x + cx, y + cy) in dialog units, or with
    /// inPixels as the system maps it for a dialog made from the template (the scaling factors
    /// are not applied). Empty when the template is missing or no dialog can be made of it.
    Rect GetDialogRect(unsigned int id, bool inPixels) const;

    /// Accelerator table id; destroyed by the system when the process ends. Null when missing.
    HACCEL LoadAcceleratorsFromResource(unsigned int id) const;

    // --- process services ------------------------------------------------------------------

    /// Every module loaded in the process: a heading, then one line per module with its base
    /// address, version and full path, in address order.
    static String GetProcessInformation();

    /// Logs off, shuts down or restarts the system (flags as ExitWindowsEx, reason its shutdown
    /// reason). On the 9x family a forced exit first ends every "explorer.exe" process and the
    /// result is the system's; on the NT family the shutdown privilege is enabled and the
    /// result is true whatever the system answers (false only without access to the process
    /// token).
    static bool ExecShutdown(unsigned int flags, unsigned int reason);

protected:
    /// Enters the object into the process-wide list with module = resources = module, then
    /// selects the language file: the naming callback, else GetLanguageDLLName, gives its path;
    /// it is used when it loads and its file version equals the module's (unless the
    /// environment variable QVCORE_NOLANGVERCHECK is "1"). A file of another version is
    /// unloaded after a "Warning" message box tells the user so.
    void Init(HINSTANCE module);
    /// Leaves the process-wide list (the language file stays loaded until destruction).
    void Free();

    /// The module's own choice of language file, asked when the naming callback has none:
    /// fills path and returns true. This one has none.
    virtual bool GetLanguageDLLName(unsigned short language, const String &modulePath, String &path);

    HINSTANCE module_;
    /// The language file's handle, owned by the object, whenever it differs from module_.
    HINSTANCE resources_;
    bool useModule_;
    String displayName_;

private:
    /// module_, or for a null module the executable's handle (which the system's resource
    /// functions would otherwise take as "the system's own").
    HINSTANCE moduleOrExecutable() const;
    /// Unloads the language file, if one is in use; resources are the module's afterwards.
    void releaseLanguageFile();
    /// Loads and checks the language file at path: its handle, or null.
    HINSTANCE loadLanguageFile(const String &path) const;
};

#endif
