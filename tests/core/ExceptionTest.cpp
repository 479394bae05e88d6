#include "qvcore/core/WinException.h"
#include "tests/support/SystemText.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

std::string executableName()
{
    char name[MAX_PATH * 4];
    return std::string(name, ::GetModuleFileNameA(nullptr, name, sizeof name));
}

// Volatile, so that the compiler must emit the faulting instruction itself.
int *volatile nullPointer = nullptr;
volatile int zero = 0;
volatile int sink;

__attribute__((noinline)) void writeThroughNull() { *nullPointer = 1; }
__attribute__((noinline)) void divideByZero() { sink = 1 / zero; }
__attribute__((noinline)) void breakPoint() { asm volatile("int3"); }
__attribute__((noinline)) void illegalInstruction() { __builtin_trap(); }

// The faulting instruction is the very first of the function: the unwinder must still find it.
// On i686 the argument comes in a register, so that no load of it comes first.
#if defined(__i386__)
__attribute__((noinline, fastcall)) int readAtEntry(int *p) { return *p; }
#else
__attribute__((noinline)) int readAtEntry(int *p) { return *p; }
#endif

// The fault is right behind the prologue: looked up one byte early, it would fall outside every
// call-site region and terminate the program.
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

// What this test's own translator saw, to tell it apart from the library's.
struct TestTranslated { unsigned int code; void *address; DWORD64 contextPc; };

void __cdecl testTranslator(unsigned int code, EXCEPTION_POINTERS *pointers)
{
#if defined(__x86_64__)
    DWORD64 pc = pointers->ContextRecord->Rip;
#else
    DWORD64 pc = pointers->ContextRecord->Eip;
#endif
    throw TestTranslated{code, pointers->ExceptionRecord->ExceptionAddress, pc};
}

void __cdecl decliningTranslator(unsigned int, EXCEPTION_POINTERS *) {}
void __cdecl faultingTranslator(unsigned int, EXCEPTION_POINTERS *) { divideByZero(); }

// Translates a fault of its own on the way, with an enabler of its own.
struct NestedTranslated { unsigned int code; unsigned long innerCode; };

void __cdecl translatorWithOwnEnabler(unsigned int code, EXCEPTION_POINTERS *)
{
    unsigned long innerCode = 0;
    {
        SEHException::TryCatchEnabler enabler;
        try {
            divideByZero();
        } catch (const SEHException &e) {
            innerCode = e.GetCode();
        }
    }
    throw NestedTranslated{code, innerCode};
}

class Call : public SEHCall {
public:
    explicit Call(void (*work)()) : work(work) {}
protected:
    void Invoke() override { work(); }
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

struct Caught { unsigned long code; void *location; std::string module; };

// The SEHException that work raises, as its fields (zeros when none arrives).
template <class Work> Caught sehFrom(Work work)
{
    try {
        work();
    } catch (const SEHException &e) {
        return {e.GetCode(), e.GetModuleLocation(), e.GetModuleFileName().Utf8()};
    }
    ADD_FAILURE() << "no SEHException";
    return {0, nullptr, ""};
}

// A vectored handler behind the library's sees only what the library passed on. A fault on the
// watched thread ends that thread with exit code 42, recording the code and flags first.
volatile DWORD watchedThread;
volatile DWORD observedCode;
volatile DWORD observedFlags;

void endWatchedThread() { ExitThread(42); }

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

DWORD WINAPI runWork(void *work)
{
    reinterpret_cast<void (*)()>(work)();
    return 0;
}

// Derived exceptions supply their own text through the virtual GetErrorString.
class OwnTextException : public WinException {
public:
    explicit OwnTextException(const char16_t *text) : WinException(nullptr), text(text) {}
protected:
    String GetErrorString() const override { return String(text); }
    const char16_t *text;
};

}  // namespace

TEST(WinException, TextIsTheErrorTextAndTheCodeInLowerCaseHex)
{
    const unsigned short *context = reinterpret_cast<const unsigned short *>(L"ReadFile");
    WinException e(context);
    EXPECT_EQ(context, e.m_context);
    EXPECT_TRUE(e.m_info.empty() && e.m_sourceFile.empty());
    EXPECT_EQ(0, e.m_line);
    EXPECT_EQ(0L, e.m_code);
    ASSERT_FALSE(systemFirstLine(2).empty());
    const struct { long code; std::string text; } cases[] = {
        {2, systemFirstLine(2) + " (0x00000002)"}, {0x12345678, "Unknown error (0x12345678)"},
        {0x1234ABCD, "Unknown error (0x1234abcd)"},
    };
    for (const auto &c : cases) {
        e.m_code = c.code;
        EXPECT_EQ(c.text, e.GetText().Utf8());
        EXPECT_EQ(c.code, static_cast<long>(e));
    }
    e.m_sourceFile = u"File.cpp";
    e.m_line = 17;
    WinException copy(nullptr);
    copy = e;
    e.m_sourceFile = u"changed";
    EXPECT_EQ(context, copy.m_context);  // the pointer, not a copy of the text
    EXPECT_EQ("File.cpp", copy.m_sourceFile.Utf8());
    EXPECT_EQ(17, copy.m_line);
    EXPECT_EQ(0x1234ABCDL, static_cast<long>(copy));
    OwnTextException own(u"Disk on fire");
    own.m_code = 0x2A;
    try {
        throw own;
    } catch (const WinException &caught) {
        EXPECT_EQ("Disk on fire (0x0000002a)", caught.GetText().Utf8());
    }
    OwnTextException empty(u"");
    empty.m_code = 2;
    EXPECT_EQ("Unknown error (0x00000002)", empty.GetText().Utf8());
}

TEST(SEHException, CodeNamesAndMessageWithModuleAndUpperCaseLocation)
{
    const struct { unsigned long code; const char *name; } names[] = {
        {0x80000002, "Data type misalignment"}, {0xC0000005, "Access violation"},
        {0xC000008E, "Divide by zero (FLT)"},   {0xC0000094, "Divide by zero (INT)"},
        {0xC0000096, "Priv instruction"},       {0xC00000FD, "Stack overflow"},
        {0xC0000097, "Unknown"},                {0x80000001, "Unknown"},
    };
    for (const auto &entry : names)
        EXPECT_EQ(entry.name, SEHException(entry.code, nullptr).GetCodeAsString().Utf8()) << std::hex << entry.code;
    void *location = reinterpret_cast<void *>(&writeThroughNull);
    SEHException e(0xC0000005, location);
    char address[32];
    std::snprintf(address, sizeof address, "0x%08llX", static_cast<unsigned long long>(reinterpret_cast<UINT_PTR>(location)));
    EXPECT_EQ("Fatal exception 'Access violation' caused by module '" + executableName() + "' at location " + address,
              e.GetMsg().Utf8());
    // Below 64 KiB nothing is mapped; a stack is mapped but no module: both have no name.
    EXPECT_EQ("Fatal exception 'Unknown' caused by module '' at location 0x0000ABC0",
              SEHException(0xC0000097, reinterpret_cast<void *>(0xABC0)).GetMsg().Utf8());
    int local = 0;
    EXPECT_EQ("", SEHException(0xC0000005, &local).GetModuleFileName().Utf8());
    SEHException assigned(0, nullptr);
    assigned = e;
    EXPECT_EQ(0xC0000005UL, assigned.GetCode());
    EXPECT_EQ(location, assigned.GetModuleLocation());
}

// One call after another: nothing is used up by a fault.
TEST(SEHCall, FaultsInsideInvokeArriveAsSEHExceptionAtTheCaller)
{
    TranslatorGuard guard;
    const struct { void (*work)(); unsigned long code; } faults[] = {{writeThroughNull, 0xC0000005}, {divideByZero, 0xC0000094},
                  {breakPoint, 0x80000003},       {illegalInstruction, 0xC000001D}};
    for (const auto &fault : faults) {
        Caught caught = sehFrom([&] { Call(fault.work).DoCall(); });
        EXPECT_EQ(fault.code, caught.code);
        EXPECT_EQ(executableName(), caught.module) << std::hex << fault.code;
        if (fault.work == breakPoint || fault.work == illegalInstruction) {
            EXPECT_EQ(reinterpret_cast<void *>(fault.work), caught.location) << std::hex << fault.code;
        }
    }
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
    // The test's translator, not the library's, sees the next fault, with its own record and context.
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
    // A translator may itself enable translation; its own translator is set again afterwards.
    QvSetSETranslator(translatorWithOwnEnabler);
    for (int i = 0; i < 2; ++i) {
        try {
            writeThroughNull();
            ADD_FAILURE() << "no exception";
        } catch (const NestedTranslated &t) {
            EXPECT_EQ(0xC0000005u, t.code);
            EXPECT_EQ(0xC0000094UL, t.innerCode);
        }
        EXPECT_EQ(&translatorWithOwnEnabler, currentTranslator());
    }
}

TEST(SEHException, UnwindingFindsFaultingFramesAndDestroysTheirObjects)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;
    int destroyed = 0;
    EXPECT_EQ(0xC0000005UL, sehFrom([&] {
                  Counted outer(destroyed);
                  faultUnderObject(destroyed);
              }).code);
    EXPECT_EQ(2, destroyed);
    EXPECT_EQ(reinterpret_cast<void *>(&readAtEntry), sehFrom([] { readAtEntry(nullptr); }).location);
    EXPECT_TRUE(catchesFaultAtStartOfTry(nullptr));
    // A fault inside the library unwinds through the library's frames back into ours.
    Caught inLibrary = sehFrom([] { String fromBadPointer(reinterpret_cast<const unsigned short *>(0x10)); });
    EXPECT_EQ(0xC0000005UL, inLibrary.code);
    ASSERT_GE(inLibrary.module.size(), 10u);
    EXPECT_EQ("qvcore.dll", inLibrary.module.substr(inLibrary.module.size() - 10));
}

TEST(SEHException, ErrorCodesAreTranslatedUnlessAnotherHandlerSeesThemFirst)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;
    EXPECT_THROW(throw std::logic_error("x"), std::logic_error);
    EXPECT_NO_THROW(OutputDebugStringA("qvcore test\n"));  // the system catches this itself
    // Raised inside the system's RaiseException, which i686's unwinder cannot walk through.
    EXPECT_EQ(0xC0000017UL, sehFrom([] { RaiseException(0xC0000017, 0, 0, nullptr); }).code);
    EXPECT_EQ(0xE0000001UL, sehFrom([] { Call([] { RaiseException(0xE0000001, 0, 0, nullptr); }).DoCall(); }).code);
    // These catch the access violation in their own frame and report it as a result.
    BOOL bad = FALSE;
    EXPECT_NO_THROW(bad = IsBadReadPtr(reinterpret_cast<void *>(0x10), 4));
    EXPECT_TRUE(bad);
    int length = -1;
    EXPECT_NO_THROW(length = lstrlenA(reinterpret_cast<LPCSTR>(0x10)));
    EXPECT_EQ(0, length);
    EXPECT_THROW(writeThroughNull(), SEHException);
}

#if defined(__x86_64__)
// A frame of another compiler's making, known only from the unwind tables: its language handler
// does what a __try/__except in it would, unwinding to the frame's own landing point, where the
// frame returns 1. Without an exception it returns 0.
extern "C" int callInForeignFrame(void (*work)());
extern "C" void foreignFrameLanding();
DWORD foreignHandlerSaw = 0;

extern "C" EXCEPTION_DISPOSITION foreignFrameHandler(EXCEPTION_RECORD *record, void *establisherFrame, CONTEXT *context,
                                                    DISPATCHER_CONTEXT *dispatch)
{
    if (record->ExceptionFlags & EXCEPTION_UNWINDING)
        return ExceptionContinueSearch;
    foreignHandlerSaw = record->ExceptionCode;
    RtlUnwindEx(establisherFrame, reinterpret_cast<void *>(&foreignFrameLanding), record, reinterpret_cast<void *>(1),
                context, dispatch->HistoryTable);
    return ExceptionContinueSearch;
}

asm(R"(
    .text
    .globl callInForeignFrame
    .def callInForeignFrame; .scl 2; .type 32; .endef
    .seh_proc callInForeignFrame
callInForeignFrame:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_handler foreignFrameHandler, @except
    .seh_endprologue
    call *%rcx
    xorl %eax, %eax
    nop
    addq $40, %rsp
    ret
    .globl foreignFrameLanding
foreignFrameLanding:
    addq $40, %rsp
    ret
    .seh_endproc
)");

TEST(SEHException, ForeignFrameHandlersKnownOnlyFromUnwindTablesSeeFaultsFirst)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;
    foreignHandlerSaw = 0;
    int landed = -1;
    EXPECT_NO_THROW(landed = callInForeignFrame(writeThroughNull));
    EXPECT_EQ(1, landed);
    EXPECT_EQ(0xC0000005u, foreignHandlerSaw);
    // The same frame without a fault returns normally; a fault outside it is translated.
    EXPECT_EQ(0, callInForeignFrame([] {}));
    EXPECT_EQ(0xC0000005UL, sehFrom(writeThroughNull).code);
}
#endif

volatile bool keepRecursing = true;

__attribute__((noinline)) int recurseForever(int depth)
{
    volatile char frame[256];
    frame[0] = static_cast<char>(depth);
    return keepRecursing ? recurseForever(depth + 1) + frame[0] : 0;
}

// Unwinding needs stack, which an overflow has used up: the process ends, but not in silence.
TEST(SEHExceptionDeathTest, StackOverflowInsideARegionIsReportedAsTheProcessEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            SEHException::TryCatchEnabler enabler;
            sink = recurseForever(0);
        },
        ::testing::ExitedWithCode(static_cast<int>(0xC00000FD)), "stack overflow");
}

TEST(SEHException, FaultsNotForTheLibraryPassOnUntouched)
{
    TranslatorGuard guard;
    SEHException::TryCatchEnabler enabler;  // on this thread only
    const struct {
        void (*work)();
        DWORD code;
        int nonContinuable;  // -1: not checked
        const char *what;
    } cases[] = {
        {writeThroughNull, 0xC0000005, 0, "thread without a translator"},
        {[] { Call([] {}).DoCall(); divideByZero(); }, 0xC0000094, -1, "after DoCall returned"},
        {[] { Call([] { RaiseException(0xE06D7363, 0, 0, nullptr); }).DoCall(); }, 0xE06D7363, -1,
         "another compiler's C++ exception inside DoCall"},
        {[] { QvSetSETranslator(decliningTranslator); writeThroughNull(); }, 0xC0000005, 1,
         "a translator that returns"},
        {[] { QvSetSETranslator(faultingTranslator); writeThroughNull(); }, 0xC0000094, -1,
         "a fault inside the translator is not handed to it again"},
    };
    for (const auto &c : cases) {
        observedCode = 0;
        observedFlags = 0;
        PVOID handler = AddVectoredExceptionHandler(0, watchPassedOn);
        DWORD id = 0, exitCode = 0;
        HANDLE thread = CreateThread(nullptr, 0, runWork, reinterpret_cast<void *>(c.work), CREATE_SUSPENDED, &id);
        watchedThread = id;
        ResumeThread(thread);
        WaitForSingleObject(thread, INFINITE);
        GetExitCodeThread(thread, &exitCode);
        CloseHandle(thread);
        RemoveVectoredExceptionHandler(handler);
        watchedThread = 0;
        EXPECT_EQ(42u, exitCode) << c.what;
        EXPECT_EQ(c.code, observedCode) << c.what;
        if (c.nonContinuable >= 0) {
            EXPECT_EQ(c.nonContinuable != 0, (observedFlags & EXCEPTION_NONCONTINUABLE) != 0) << c.what;
        }
    }
}
