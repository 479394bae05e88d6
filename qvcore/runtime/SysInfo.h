#ifndef QVCORE_RUNTIME_SYSINFO_H
#define QVCORE_RUNTIME_SYSINFO_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"
#include "qvcore/runtime/Thread.h"

#include <map>

/// What the library knows about the system it runs on.
namespace SysInfo {

/// The system family; GetSystem() gives exactly one value.
enum System {
    Windows95 = 1,
    Windows98 = 2,
    WindowsMe = 4,
    WindowsNT4 = 8,
    Windows2000 = 16,  // any NT-platform system but NT 4 with minor version 0
    WindowsXP = 32,    // any NT-platform system but NT 4 with another minor version
    Windows9x = Windows95 | Windows98 | WindowsMe,  // mask of the 9x family
};

/// The system family. The system is asked once per process; later calls give the cached answer.
QVCORE_API System GetSystem();
/// "Windows 98", "Windows Me", "Windows 2000", "Windows XP", "Windows XP Media Center Edition",
/// "Windows .NET Server"; every other version (95, NT 4, 6.0 and later) is "Unsupported".
QVCORE_API String GetOSName();
/// The system's information, and its processor architecture as "Intel", "Intel 64", "AMD 64"
/// or "Unknown".
QVCORE_API void GetSystemInfo(SYSTEM_INFO &info, String &processorName);
/// The installed DirectX version as major * 65536 + minor * 256 + letter (a = 1 ... z = 26, no
/// letter 0): 9.0c is 0x00090003. A version read from the diagnostic provider is logged. When
/// the provider cannot answer: 0 if DirectX's probe class is not registered, else 0x00090000.
QVCORE_API unsigned long GetDirectXVersion();
/// The variable's value; empty when it is unset, empty, or changed size while being read.
QVCORE_API String GetEnvironmentVariableA(const String &name);
// The system's GetEnvironmentVariable macro renames the function in clients: the W spelling
// and the plain one lead to the narrow export.
inline String GetEnvironmentVariableW(const String &name) { return GetEnvironmentVariableA(name); }
#pragma push_macro("GetEnvironmentVariable")
#undef GetEnvironmentVariable
inline String GetEnvironmentVariable(const String &name) { return GetEnvironmentVariableA(name); }
#pragma pop_macro("GetEnvironmentVariable")
/// Replaces the content of codepages with every installed code page and its display name.
/// Safe to run on several threads at once.
QVCORE_API void EnumInstalledCodepages(std::map<unsigned int, String> &codepages);

// The decision tables behind the functions above, for the system's answers.

/// The family of a version record (platform, major and minor version).
QVCORE_API System SystemFromVersion(const OSVERSIONINFOA &version);
/// The display name of a version; mediaCenter is the system metric for media center editions.
QVCORE_API String OSNameFromVersion(unsigned long major, unsigned long minor, bool mediaCenter);
/// The name of a processor architecture number.
QVCORE_API String ProcessorName(unsigned int architecture);
/// The packed DirectX version; letter is the version letter (or any other character for none).
QVCORE_API unsigned long PackDirectXVersion(unsigned long major, unsigned long minor, unsigned short letter);

}  // namespace SysInfo

/// Holds system parameters (as read and set by the system's parameter-info function) at the
/// values the application wants, re-applies them periodically, and restores what was there.
///
/// The timer re-applies values on the system's timer thread without a lock: change the watch
/// list only while not watching.
class QVCORE_API SysParamWatcher : public ITimerTarget {
public:
    SysParamWatcher();
    SysParamWatcher(const SysParamWatcher &) = delete;
    SysParamWatcher &operator=(const SysParamWatcher &) = delete;
    /// Restores the saved values and stops the timer when still watching.
    virtual ~SysParamWatcher();

    /// Watches a parameter: wanted value value; the saved value is read now with getAction.
    /// A pair already watched gets the new wanted value and a freshly read saved value.
    void SetParamToWatch(unsigned int setAction, unsigned int getAction, unsigned int value);
    /// Stops watching every entry with setAction (restoring its saved value while watching).
    void RemoveParamFromWatchlist(unsigned int setAction);
    /// Seconds between re-applications (default 10); takes effect at once while watching.
    void SetUpdateInterval(unsigned int seconds);
    /// Applies the wanted values (after saving the current ones when saveCurrent) and re-applies
    /// them every interval.
    void StartWatching(bool saveCurrent);
    /// The same as RestoreDefaults().
    void StopWatching();
    /// Sets every parameter to its wanted value, updating the user profile.
    void ApplyValues();
    /// Stops watching and sets every parameter back to its saved value.
    void RestoreDefaults();
    /// Reads every parameter's current value as its saved value.
    void SaveCurrentSystemValues();

    bool IsWatching() const { return watching_; }
    unsigned int GetUpdateInterval() const { return interval_; }

protected:
    /// Re-applies the values on ticks of the watcher's own timer.
    void OnTimer(unsigned int timerId) override;

private:
    struct Values {
        unsigned int wanted;
        unsigned int saved;
    };
    static unsigned __int64 key(unsigned int setAction, unsigned int getAction);
    static unsigned int setActionOf(unsigned __int64 key) { return static_cast<unsigned int>(key >> 32); }
    static unsigned int getActionOf(unsigned __int64 key) { return static_cast<unsigned int>(key); }
    static unsigned int currentValue(unsigned int getAction);
    static void setValue(unsigned int setAction, unsigned int value);
    void stopTimer();
    void startTimer();

    std::map<unsigned __int64, Values> parameters_;
    unsigned int timerId_;
    unsigned int interval_;
    bool watching_;
};

#endif
