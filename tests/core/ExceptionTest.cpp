#include "qvcore/core/WinException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

std::string executableName()
{
    char name[MAX_PATH * 4];
    DWORD length = ::GetModuleFileNameA(nullptr, name, sizeof name);
    return std::string(name, length);
}

// The system's first line of text for a code, carriage return kept, as the formatter gives it.
std::string systemFirstLine(DWORD code)
{
    char *buffer = nullptr;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                        FORMAT_MESSAGE_FROM_SYSTEM,
                                    nullptr, code, 0x400, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text(buffer ? buffer : "", length);
    LocalFree(buffer);
    return text.substr(0, text.find('\n'));
}

// --- faults ------------------------------------------------------------------------------------

// Volatile, so that the compiler cannot see the null pointer or the zero divisor and must emit
// the faulting instruction itself.
int *volatile nullPointer = nullptr;
volatile int zero = 0;
volatile int sink;

__attribute__((noinline)) void writeThroughNull()
{
    *nullPointer = 1;
}

__attribute__((noinline)) void divideByZero()
{
    sink = 1 / zero;
}

__attribute__((noinline)) void breakPoint()
{
    asm volatile("int3");
}

__attribute__((noinline)) void illegalInstruction()
{
    __builtin_trap();
}

// The faulting instruction is the very first of the function: the unwinder must still find it.
__attribute__((noinline)) int readAtEntry(int *p)
{
    return *p;
}

// The fault is the first instruction of the try block, right behind the prologue: looked up one
// byte early, it would fall outside every call-site region and terminate the program.
__attribute__((noinline)) bool catchesFaultAtStartOfTry(int *p)
{
    try {
        *p = 1;
    } catch (const SEHException &e) {
        return e.GetCode() == 0xC0000005;
    }
    return false;
}

struct Counted {
    explicit Counted(int &count) : count(count) {}
    ~Counted() { ++count; }
    int &count;
};

__attribute__((noinline)) void faultUnderObject(int &destroyed)
{
    Counted object(destroyed);
    writeThroughNull();
    sink = 0;
}

// A fault seen by this test's own translator, to tell it apart from the library's.
struct TestTranslated {
    unsigned int code;
    void *address;
    DWORD64 contextPc;  // where the context handed to the translator says the thread was
};

void __cdecl testTranslator(unsigned int code, EXCEPTION_POINTERS *pointers)
{
#if defined(__x86_64__)
    DWORD64 pc = pointers->ContextRecord->Rip;
#else
    DWORD64 pc = pointers->ContextRecord->Eip;
#endif
    throw TestTranslated{code, pointers->ExceptionRecord->ExceptionAddress, pc};
}

void __cdecl decliningTranslator(unsigned int, EXCEPTION_POINTERS *)
{
}

class Call : public SEHCall {
public:
    explicit Call(void (*work)()) : work(work) {}

protected:
    void Invoke() override { work(); }

private:
    void (*work)();
};

// Restores whatever translator the test thread had, even when an expectation fails.
struct TranslatorGuard {
    QvSETranslatorFunction saved = QvSetSETranslator(nullptr);
    ~TranslatorGuard() { QvSetSETranslator(saved); }
};

QvSETranslatorFunction currentTranslator()
{
    QvSETranslatorFunction current = QvSetSETranslator(nullptr);
    QvSetSETranslator(current);
    return current;
}

// --- watching faults that the library passes on --------------------------------------------

// A vectored handler behind the library's: it sees only what the library passed on. A fault on
// the watched thread ends that thread with exit code 42, recording the code and flags first.
volatile DWORD watchedThread;
volatile DWORD observedCode;
volatile DWORD observedFlags;

void endWatchedThread()
{
    ExitThread(42);
}

LONG CALLBACK watchPassedOn(EXCEPTION_POINTERS *info)
{
    if (GetCurrentThreadId() != watchedThread)
        return EXCEPTION_CONTINUE_SEARCH;
    observedCode = info->ExceptionRecord->ExceptionCode;
    observedFlags = info->ExceptionRecord->ExceptionFlags;
    CONTEXT *context = info->ContextRecord;
    // Resumes in endWatchedThread as if called, on an aligned stack well below the fault.
#if defined(__x86_64__)
    context->Rsp = ((context->Rsp - 512) & ~DWORD64(15)) - 8;
    context->Rip = reinterpret_cast<DWORD64>(&endWatchedThread);
#else
    context->Esp = ((context->Esp - 512) & ~DWORD(15)) - 4;
    context->Eip = reinterpret_cast<DWORD>(&endWatchedThread);
#endif
    return EXCEPTION_CONTINUE_EXECUTION;
}

struct PassedOn {
    DWORD exitCode;
    DWORD code;
    DWORD flags;
};

DWORD WINAPI runWork(void *work)
{
    reinterpret_cast<void (*)()>(work)();
    return 0;
}

// Runs work on a new thread watched by watchPassedOn.
PassedOn runWatched(void (*work)())
{
    observedCode = 0;
    observedFlags = 0;
    PVOID handler = AddVectoredExceptionHandler(0, watchPassedOn);
    DWORD id = 0;
    HANDLE thread = CreateThread(nullptr, 0, runWork, reinterpret_cast<void *>(work), CREATE_SUSPENDED, &id);
    watchedThread = id;
    ResumeThread(thread);
    WaitForSingleObject(thread, INFINITE);
    DWORD exitCode = 0;
    GetExitCodeThread(thread, &exitCode);
    CloseHandle(thread);
    RemoveVectoredExceptionHandler(handler);
    watchedThread = 0;
    return {exitCode, observedCode, observedFlags};
}

}  // namespace

// --- WinException ------------------------------------------------------------------------------

namespace {

const unsigned short *wide(const wchar_t *s)
{
    return reinterpret_cast<const unsigned short *>(s);
}

// Derived exceptions supply their own text through the virtual GetErrorString.
class OwnTextException : public WinException {
public:
    explicit OwnTextException(const char16_t *text) : WinException(nullptr), text(text) {}

protected:
    String GetErrorString() const override { return String(text); }

private:
    const char16_t *text;
};

}  // namespace

TEST(WinException, TextIsTheSystemsFirstLineAndTheCodeInLowerCaseHex)
{
    WinException e(wide(L"ReadFile"));
    e.m_code = 2;
    std::string first = systemFirstLine(2);
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(first + " (0x00000002)", e.GetText().Utf8());
    EXPECT_EQ(2L, static_cast<long>(e));

    e.m_code = 0x12345678;
    EXPECT_EQ("Unknown error (0x12345678)", e.GetText().Utf8());
    e.m_code = 0x1234ABCD;
    EXPECT_EQ("Unknown error (0x1234abcd)", e.GetText().Utf8());
}

TEST(WinException, ConstructionAndCopyKeepTheFields)
{
    const unsigned short *context = wide(L"CreateFile");
    WinException e(context);
    EXPECT_EQ(context, e.m_context);
    EXPECT_TRUE(e.m_info.empty());
    EXPECT_TRUE(e.m_sourceFile.empty());
    EXPECT_EQ(0, e.m_line);
    EXPECT_EQ(0L, e.m_code);

    e.m_sourceFile = u"File.cpp";
    e.m_line = 17;
    e.m_code = 5;
    WinException copy(nullptr);
    copy = e;
    e.m_sourceFile = u"changed";
    EXPECT_EQ(context, copy.m_context);  // the pointer, not a copy of the text
    EXPECT_EQ("File.cpp", copy.m_sourceFile.Utf8());
    EXPECT_EQ(17, copy.m_line);
    EXPECT_EQ(5L, static_cast<long>(copy));
}

TEST(WinException, DerivedTextIsUsedThroughTheBaseAndEmptyTextIsUnknown)
{
    OwnTextException own(u"Disk on fire");
    own.m_code = 0x2A;
    try {
        throw own;
    } catch (const WinException &e) {
        EXPECT_EQ("Disk on fire (0x0000002a)", e.GetText().Utf8());
    }
    OwnTextException empty(u"");
    empty.m_code = 2;
    EXPECT_EQ("Unknown error (0x00000002)", empty.GetText().Utf8());
}

// --- SEHException texts ------------------------------------------------------------------------

TEST(SEHException, CodeNamesFollowTheTableAndOthersAreUnknown)
{
    const struct {
        unsigned long code;
        const char *name;
    } names[] = {
        {0x80000002, "Data type misalignment"}, {0xC0000005, "Access violation"},
        {0xC000008E, "Divide by zero (FLT)"},   {0xC0000094, "Divide by zero (INT)"},
        {0xC0000096, "Priv instruction"},       {0xC00000FD, "Stack overflow"},
        {0xC0000097, "Unknown"},                {0x80000001, "Unknown"},
    };
    for (const auto &entry : names)
        EXPECT_EQ(entry.name, SEHException(entry.code, nullptr).GetCodeAsString().Utf8()) << std::hex << entry.code;
}

TEST(SEHException, MessageNamesModuleAndUpperCaseLocation)
{
    void *location = reinterpret_cast<void *>(&writeThroughNull);
    SEHException e(0xC0000005, location);
    EXPECT_EQ(0xC0000005UL, e.GetCode());
    EXPECT_EQ(location, e.GetModuleLocation());
    EXPECT_EQ(executableName(), e.GetModuleFileName().Utf8());

    char address[32];
    std::snprintf(address, sizeof address, "0x%08llX", static_cast<unsigned long long>(reinterpret_cast<UINT_PTR>(location)));
    EXPECT_EQ("Fatal exception 'Access violation' caused by module '" + executableName() + "' at location " + address,
              e.GetMsg().Utf8());

    // Below 64 KiB nothing is ever mapped: no module, an empty name.
    SEHException outside(0xC0000097, reinterpret_cast<void *>(0xABC0));
    EXPECT_EQ("", outside.GetModuleFileName().Utf8());
    EXPECT_EQ("Fatal exception 'Unknown' caused by module '' at location 0x0000ABC0", outside.GetMsg().Utf8());

    SEHException assigned(0, nullptr);
    assigned = e;
    EXPECT_EQ(0xC0000005UL, assigned.GetCode());
    EXPECT_EQ(location, assigned.GetModuleLocation());
}

// --- translation -------------------------------------------------------------------------------

TEST(SEHCall, FaultsInsideInvokeArriveAsSEHExceptionAtTheCaller)
{
    TranslatorGuard guard;
    try {
        Call(writeThroughNull).DoCall();
        ADD_FAILURE() << "no exception";
    } catch (const SEHException &e) {
        EXPECT_EQ(0xC0000005UL, e.GetCode());
        EXPECT_EQ(executableName(), e.GetModuleFileName().Utf8());
        EXPECT_EQ("Access violation", e.GetCodeAsString().Utf8());
    }
    try {
        Call(divideByZero).DoCall();
        ADD_FAILURE() << "no exception";
    } catch (const SEHException &e) {
        EXPECT_EQ(0xC0000094UL, e.GetCode());
        EXPECT_EQ(executableName(), e.GetModuleFileName().Utf8());
    }
    const struct {
        void (*work)();
        unsigned long code;
    } traps[] = {{breakPoint, 0x80000003}, {illegalInstruction, 0xC000001D}};
    for (const auto &trap : traps) {
        try {
            Call(trap.work).DoCall();
            ADD_FAILURE() << "no exception";
        } catch (const SEHException &e) {
            EXPECT_EQ(trap.code, e.GetCode());
            EXPECT_EQ(reinterpret_cast<void *>(trap.work), e.GetModuleLocation());
        }
    }
    // Translation happens again and again: nothing is used up by the first fault.
    for (int i = 0; i < 3; ++i)
        EXPECT_THROW(Call(writeThroughNull).DoCall(), SEHException);
}

TEST(SEHCall, ThePreviousTranslatorIsBackAfterFaultsAndOtherExceptions)
{
    TranslatorGuard guard;
    QvSetSETranslator(testTranslator);
    EXPECT_THROW(Call(writeThroughNull).DoCall(), SEHException);
    EXPECT_EQ(&testTranslator, currentTranslator());
    EXPECT_THROW(Call([] { throw std::runtime_error("plain"); }).DoCall(), std::runtime_error);
    EXPECT_EQ(&testTranslator, currentTranslator());
    Call([] {}).DoCall();
    EXPECT_EQ(&testTranslator, currentTranslator());

    // The test's translator really is in force again: it, not the library's, sees the next fault,
    // with the record and the context of the fault itself.
    try {
        readAtEntry(nullptr);
        ADD_FAILURE() << "no exception";
    } catch (const TestTranslated &t) {
        EXPECT_EQ(0xC0000005u, t.code);
        EXPECT_EQ(reinterpret_cast<void *>(&readAtEntry), t.address);
        EXPECT_EQ(reinterpret_cast<UINT_PTR>(&readAtEntry), t.contextPc);
    }
}

TEST(SEHException, EnablersNestAndRestoreInOrder)
{
    TranslatorGuard guard;
    {
        SEHException::TryCatchEnabler outer;
        QvSETranslatorFunction library = currentTranslator();
        ASSERT_NE(nullptr, library);
        {
            SEHException::TryCatchEnabler inner;
            EXPECT_THROW(writeThroughNull(), SEHException);
        }
        EXPECT_EQ(library, currentTranslator());
        EXPECT_THROW(divideByZero(), SEHException);
        EXPECT_THROW(Call(writeThroughNull).DoCall(), SEHException);
        EXPECT_EQ(library, currentTranslator());
    }
    EXPECT_EQ(nullptr, currentTranslator());
}

TEST(SEHException, UnwindingFindsFaultingFramesAndDestroysTheirObjects)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;

    int destroyed = 0;
    try {
        Counted outer(destroyed);
        faultUnderObject(destroyed);
    } catch (const SEHException &e) {
        EXPECT_EQ(0xC0000005UL, e.GetCode());
    }
    EXPECT_EQ(2, destroyed);

    try {
        readAtEntry(nullptr);
        ADD_FAILURE() << "no exception";
    } catch (const SEHException &e) {
        EXPECT_EQ(reinterpret_cast<void *>(&readAtEntry), e.GetModuleLocation());
    }
    EXPECT_TRUE(catchesFaultAtStartOfTry(nullptr));

    // A fault inside the library unwinds through the library's frames back into ours.
    try {
        String fromBadPointer(reinterpret_cast<const unsigned short *>(0x10));
        ADD_FAILURE() << "no exception";
    } catch (const SEHException &e) {
        EXPECT_EQ(0xC0000005UL, e.GetCode());
        std::string module = e.GetModuleFileName().Utf8();
        EXPECT_EQ("qvcore.dll", module.substr(module.size() - std::min<std::size_t>(module.size(), 10)));
    }
}

TEST(SEHException, OnlyFaultsAndSystemErrorsAreTranslated)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;
    // C++ exceptions of g++ travel as themselves.
    EXPECT_THROW(throw std::logic_error("x"), std::logic_error);
    // Debug output is an exception the system catches itself.
    EXPECT_NO_THROW(OutputDebugStringA("qvcore test\n"));
    // A software-raised system error is translated too.
    try {
        RaiseException(0xC0000017, 0, 0, nullptr);
        ADD_FAILURE() << "no exception";
    } catch (const SEHException &e) {
        EXPECT_EQ(0xC0000017UL, e.GetCode());
    }
}

TEST(SEHException, FaultsNotForTheLibraryPassOnUntouched)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;  // on this thread only

    // A thread without a translator.
    PassedOn plain = runWatched(writeThroughNull);
    EXPECT_EQ(42u, plain.exitCode);
    EXPECT_EQ(0xC0000005u, plain.code);
    EXPECT_EQ(0u, plain.flags & EXCEPTION_NONCONTINUABLE);

    // After DoCall returned, the same thread is back to untouched faults.
    PassedOn after = runWatched([] {
        Call([] {}).DoCall();
        divideByZero();
    });
    EXPECT_EQ(42u, after.exitCode);
    EXPECT_EQ(0xC0000094u, after.code);

    // Application-defined codes are not translated, even inside DoCall.
    PassedOn custom = runWatched([] { Call([] { RaiseException(0xE0000001, 0, 0, nullptr); }).DoCall(); });
    EXPECT_EQ(42u, custom.exitCode);
    EXPECT_EQ(0xE0000001u, custom.code);

    // A translator that returns hands the fault on, no longer continuable.
    PassedOn declined = runWatched([] {
        QvSetSETranslator(decliningTranslator);
        writeThroughNull();
    });
    EXPECT_EQ(42u, declined.exitCode);
    EXPECT_EQ(0xC0000005u, declined.code);
    EXPECT_NE(0u, declined.flags & EXCEPTION_NONCONTINUABLE);
}
