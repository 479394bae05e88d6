#ifndef QVCORE_TESTS_SUPPORT_MESSAGEBOXWATCHER_H
#define QVCORE_TESTS_SUPPORT_MESSAGEBOXWATCHER_H

// For tests of code that shows a message box and waits for the user: a thread of its own looks
// for the box among this process's top-level dialog windows, reads what it shows (caption,
// text, owner, icon) the way a user would see it, and presses its OK button. A box that does not
// appear within the time given is reported as not seen; the code under test is never left
// waiting (the watcher keeps looking until it is destroyed).

#include "qvcore/Platform.h"

#include <atomic>
#include <string>
#include <thread>

class MessageBoxWatcher {
public:
    struct Seen {
        bool shown = false;
        std::string caption;
        std::string text;
        HWND owner = nullptr;
        HICON icon = nullptr;
    };

    /// Starts watching for a message box whose caption is caption.
    explicit MessageBoxWatcher(const std::string &caption) : caption_(caption), thread_([this] { watch(); }) {}
    ~MessageBoxWatcher() { stop(); }
    MessageBoxWatcher(const MessageBoxWatcher &) = delete;
    MessageBoxWatcher &operator=(const MessageBoxWatcher &) = delete;

    /// Stops watching and tells what was seen (call after the code under test has returned).
    const Seen &stop()
    {
        stopping_ = true;
        if (thread_.joinable())
            thread_.join();
        return seen_;
    }

private:
    static BOOL CALLBACK visitChild(HWND child, LPARAM context)
    {
        Seen &seen = *reinterpret_cast<Seen *>(context);
        char className[32] = {};
        GetClassNameA(child, className, sizeof className);
        if (lstrcmpiA(className, "Static") != 0)
            return TRUE;
        if (HICON icon = reinterpret_cast<HICON>(SendMessageA(child, STM_GETICON, 0, 0)))
            seen.icon = icon;
        char text[1024] = {};
        if (GetWindowTextA(child, text, sizeof text) > 0)
            seen.text = text;
        return TRUE;
    }

    void watch()
    {
        for (;;) {
            // The box is found as soon as it exists; its text is set before it is shown.
            HWND box = FindWindowA("#32770", caption_.c_str());
            DWORD process = 0;
            if (box && IsWindowVisible(box) && GetWindowThreadProcessId(box, &process) &&
                process == GetCurrentProcessId()) {
                seen_.shown = true;
                seen_.caption = caption_;
                seen_.owner = GetWindow(box, GW_OWNER);
                EnumChildWindows(box, visitChild, reinterpret_cast<LPARAM>(&seen_));
                PostMessageA(box, WM_COMMAND, IDOK, 0);
                return;
            }
            if (stopping_)
                return;
            Sleep(20);
        }
    }

    std::string caption_;
    std::atomic<bool> stopping_{false};
    Seen seen_;
    std::thread thread_;
};

#endif
