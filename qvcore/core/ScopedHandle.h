#ifndef QVCORE_CORE_SCOPEDHANDLE_H
#define QVCORE_CORE_SCOPEDHANDLE_H

// The one owner type for system resources. Header-only and not exported: the library and its
// tools use it, and public classes hold it as members, which is why it is installed with them.
//
// ScopedHandle<Traits> owns one handle and closes it when it is destroyed, reset or assigned
// over. It is move-only and exactly one handle wide, so it can stand where a raw handle field
// stood without changing a class's layout. Closing never changes the thread's last error: a
// failure path can close what it opened and still report why the call that failed did.
//
// Traits name the handle type, the value that means "none" and how to close one:
//   struct Traits {
//       typedef HANDLE Handle;
//       static Handle Invalid();
//       static void Close(Handle handle);   // only ever called with a valid handle
//   };

#include "qvcore/Platform.h"

#include <unknwn.h>

template <class Traits>
class ScopedHandle {
public:
    typedef typename Traits::Handle Handle;

    ScopedHandle() noexcept : handle_(Traits::Invalid()) {}
    /// Takes ownership of handle (which may be the invalid value).
    explicit ScopedHandle(Handle handle) noexcept : handle_(handle) {}
    ScopedHandle(ScopedHandle &&other) noexcept : handle_(other.release()) {}
    ScopedHandle &operator=(ScopedHandle &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ScopedHandle(const ScopedHandle &) = delete;
    ScopedHandle &operator=(const ScopedHandle &) = delete;
    ~ScopedHandle() { reset(); }

    Handle get() const noexcept { return handle_; }
    bool valid() const noexcept { return handle_ != Traits::Invalid(); }
    explicit operator bool() const noexcept { return valid(); }

    /// Gives the handle up without closing it; the owner is empty afterwards.
    Handle release() noexcept
    {
        Handle handle = handle_;
        handle_ = Traits::Invalid();
        return handle;
    }

    /// Closes the handle held (if any) and takes ownership of handle.
    void reset(Handle handle = Traits::Invalid()) noexcept
    {
        Handle old = handle_;
        handle_ = handle;
        if (old != Traits::Invalid() && old != handle) {
            DWORD lastError = GetLastError();
            Traits::Close(old);
            SetLastError(lastError);
        }
    }

    /// For system calls that return a handle through a pointer: closes the handle held and
    /// gives the address of the empty field to fill.
    Handle *receive() noexcept
    {
        reset();
        return &handle_;
    }

private:
    Handle handle_;
};

/// Kernel objects whose "none" is INVALID_HANDLE_VALUE: files (CreateFile).
struct FileHandleTraits {
    typedef HANDLE Handle;
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
typedef ScopedHandle<FileHandleTraits> ScopedFileHandle;

/// Kernel objects whose "none" is null: threads, events, mappings, processes. (A process
/// snapshot's "none" is INVALID_HANDLE_VALUE, as a file's: FileHandleTraits.)
struct KernelHandleTraits {
    typedef HANDLE Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
typedef ScopedHandle<KernelHandleTraits> ScopedKernelHandle;

/// Directory searches (FindFirstFile).
struct FindHandleTraits {
    typedef HANDLE Handle;
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { FindClose(handle); }
};
typedef ScopedHandle<FindHandleTraits> ScopedFindHandle;

/// Registry keys opened or created by the caller (never a predefined root).
struct RegistryKeyTraits {
    typedef HKEY Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { RegCloseKey(handle); }
};
typedef ScopedHandle<RegistryKeyTraits> ScopedRegistryKey;

/// Modules loaded with LoadLibrary.
struct LibraryTraits {
    typedef HMODULE Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { FreeLibrary(handle); }
};
typedef ScopedHandle<LibraryTraits> ScopedLibrary;

/// Memory the system allocated for the caller with LocalAlloc (FormatMessage's buffers).
struct LocalMemoryTraits {
    typedef HLOCAL Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { LocalFree(handle); }
};
typedef ScopedHandle<LocalMemoryTraits> ScopedLocalMemory;

/// Memory from GlobalAlloc (dialog templates, the buffers under the system's memory streams).
struct GlobalMemoryTraits {
    typedef HGLOBAL Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { GlobalFree(handle); }
};
typedef ScopedHandle<GlobalMemoryTraits> ScopedGlobalMemory;

/// Drawing objects (bitmaps, pens, brushes, fonts, regions): DeleteObject. An object must not
/// be selected into a device context when its owner goes.
template <class Object>
struct GdiObjectTraits {
    typedef Object Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { DeleteObject(handle); }
};
template <class Object>
using ScopedGdiObject = ScopedHandle<GdiObjectTraits<Object>>;

/// Device contexts made with CreateCompatibleDC or CreateDC: DeleteDC.
struct MemoryDCTraits {
    typedef HDC Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { DeleteDC(handle); }
};
typedef ScopedHandle<MemoryDCTraits> ScopedMemoryDC;

/// The screen's device context from GetDC(nullptr): ReleaseDC.
struct ScreenDCTraits {
    typedef HDC Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { ReleaseDC(nullptr, handle); }
};
typedef ScopedHandle<ScreenDCTraits> ScopedScreenDC;

template <class Interface>
struct ComPointerTraits {
    typedef Interface *Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { handle->Release(); }
};

/// One counted reference to a COM object, released when the owner lets go. Taking a pointer
/// adopts the reference the caller holds (as every creating or querying call hands out).
template <class Interface>
class ComPtr : public ScopedHandle<ComPointerTraits<Interface>> {
    typedef ScopedHandle<ComPointerTraits<Interface>> Base;

public:
    ComPtr() noexcept {}
    explicit ComPtr(Interface *adopted) noexcept : Base(adopted) {}

    Interface *operator->() const noexcept { return this->get(); }
    /// For creating and querying calls that return the interface through a void **.
    void **receiveVoid() noexcept { return reinterpret_cast<void **>(this->receive()); }
};

#endif
