// Turns structured exceptions into C++ exceptions on threads that asked for it.
//
// g++ never calls the C runtime's _set_se_translator, so the library keeps its own per-thread
// translator and a vectored exception handler (installed when the DLL loads) that acts on it:
//
// 1. A structured exception reaches the handler first, before any frame-based handler. If the
//    code is one to translate and the faulting thread has a translator, the handler copies the
//    exception record and the context into the thread's state and rewrites the context so that
//    the thread resumes in an assembly trampoline instead of at the faulting instruction. Every
//    other exception is left alone (EXCEPTION_CONTINUE_SEARCH).
// 2. Nothing is written to the stack by the handler: the system keeps the exception record and
//    context just below the faulting stack pointer while the handler runs. The trampoline builds
//    its frame itself once the thread has resumed, from values passed in volatile registers
//    (no landing pad ever reads a call-clobbered register, so the faulting frame loses nothing).
// 3. The trampoline's frame makes it look called from the faulting instruction, so that the
//    unwinder walks on into the faulting function and its callers. It calls qvcoreSehRaise,
//    which calls the translator, which throws.
//
// x86_64 (SEH unwinding through .pdata/.xdata): the trampoline pushes a machine frame (RIP, CS,
// EFLAGS, RSP, SS, as the processor does for an interrupt) and declares it with .seh_pushframe,
// so the unwinder restores RIP and RSP of the faulting frame exactly, wherever the trampoline's
// own frame lies. The personality routine of g++ looks up "RIP - 1" in the call-site table, as
// for a return address; a fault at the first instruction of a try block or of a cleanup region
// would then be looked up in the region before it. So the machine frame holds the faulting
// address + 1, which lies within the faulting instruction: the lookup finds its own region.
// The system unwinder then also analyses the faulting function from one byte in: prolog
// analysis is still right unless the fault was a one-byte prolog push (only a stack overflow,
// which gets no handler on this stack anyway), and epilog detection reads the instruction's
// own bytes, which in practice never look like an epilog.
// Stack from the faulting RSP (S) down, all 16-byte aligned at A = (S - 128) & ~15:
//     A-8   SS       A-16  S (faulting RSP)   A-24  EFLAGS   A-32  CS   A-40  faulting RIP + 1
//     A-80  .. A-41: 32 bytes of shadow space for the call and 8 of padding; RSP = A-80 at the
//     call, so the callee finds the stack aligned as the ABI requires.
//
// i686 (DWARF unwinding through .eh_frame): the trampoline's frame description computes the
// faulting frame from memory (CFA = the saved faulting ESP, return address = the saved faulting
// EIP) and is marked as a signal frame, so the unwinder takes the faulting EIP as is, with no
// "- 1", both for the frame description and for the call-site lookup. Stack from the faulting ESP
// (S) down, with A = (S - 64) & ~15:
//     A-8   faulting EIP   A-12  S (faulting ESP, the CFA)   A-16  argument: the thread's state
//     ESP = A-16 at the call, the cdecl argument at the callee's ESP + 4, the stack 16-aligned
//     before the call. Callee-saved registers (EBX, ESI, EDI, EBP) keep their faulting values.
//
// Who sees an exception first. A C runtime's frame-based translator is only called when the
// exception reaches a C++ frame, so a frame with a handler of its own between the fault and the
// translating frame gets it first. The vectored handler sees every exception before any frame
// does, so it looks for such frames itself and passes the exception on when it finds one:
// - Frames registered in the thread's chain of exception registrations (i686 code of every
//   compiler, and Wine's own system code on both architectures) newer than the translator.
// - x86_64 frames known only from the unwind tables (other compilers' __try and C++ frames):
//   the handler walks the tables up from the fault to the first frame with a language handler
//   and passes on unless that handler is g++'s.
//
// i686 frames without unwind information. The DWARF unwinder cannot walk through code it has no
// frame description for (system DLLs, other compilers), so a fault there cannot be thrown from
// where it happened. An exception raised by RaiseException can be continued, though: the
// handler lets the raising function return normally, which restores the registers its caller
// keeps, into qvcoreSehReturnTrampoline, whose frame then looks like a fault at the call
// instruction in the nearest caller that the unwinder knows. That caller is found along the
// chain of frame pointers, which system code keeps. A hardware fault in such code cannot be
// continued and is passed on untranslated.

#include "qvcore/core/WinException.h"

#include <cstddef>
#include <cstring>
#include <exception>

namespace {

// Everything the trampoline and the translator need on one thread. The exception pointers
// handed to the translator point at the copies here.
struct ThreadState {
    QvSETranslatorFunction translator;
    DWORD declinedCode;  // set while a fault the translator returned from is passed on
    ULONG_PTR frameMark;  // the thread's innermost exception registration when the translator was set
    // i686, an exception raised in code without unwind information: where its nearest known
    // caller called it from, and that caller's stack pointer before the call.
    ULONG_PTR returnAddress;
    ULONG_PTR callerStack;
    EXCEPTION_RECORD record;
    CONTEXT context;
    EXCEPTION_POINTERS pointers;
};

// The handler reads the state through a plain TLS slot: it allocates nothing and takes no lock,
// whatever the faulting thread was doing (holding the heap lock, for instance).
const DWORD stateSlot = TlsAlloc();

// The C++ exceptions of other compilers' runtimes: they carry a C++ object to their own catch
// blocks and must reach them as they are.
const DWORD kMsvcCppException = 0xE06D7363;
const DWORD kStackOverflow = 0xC00000FD;

// Translated: data misalignment, break point and single step, and every code of error severity,
// the system's and applications' own (RaiseException with 0xE0000001 becomes "Unknown"). Not
// translated: C++ exceptions (g++'s 0x2x474343 have success severity), debugger and
// informational codes (0x406D1388 thread names, 0x40010006 debug output, ...), and the other
// warnings (guard pages, long jumps, unwind consolidation).
bool isTranslated(DWORD code)
{
    if (code == kMsvcCppException)
        return false;
    if (code >= 0x80000002 && code <= 0x80000004)
        return true;
    return (code & 0xC0000000) == 0xC0000000;
}

// NT_TIB::ExceptionList of the current thread (per architecture, below).
EXCEPTION_REGISTRATION_RECORD *exceptionList();

// The innermost record of the thread's chain of exception registrations (the one i686 code and
// Wine's own system code use for their exception frames) lying above stackPointer, that is
// belonging to a frame that is still active; ~0 for none.
ULONG_PTR innermostFrame(ULONG_PTR stackPointer)
{
    EXCEPTION_REGISTRATION_RECORD *record = exceptionList();
    while (record && reinterpret_cast<ULONG_PTR>(record) != ~ULONG_PTR(0) &&
           reinterpret_cast<ULONG_PTR>(record) < stackPointer)
        record = record->Next;
    return record ? reinterpret_cast<ULONG_PTR>(record) : ~ULONG_PTR(0);
}

ThreadState *currentState()
{
    DWORD lastError = GetLastError();  // TlsGetValue clears it
    ThreadState *state = static_cast<ThreadState *>(TlsGetValue(stateSlot));
    SetLastError(lastError);
    return state;
}

// A stack overflow leaves too little stack to unwind on: the throw itself would overflow again
// and end the process without a word. Say what happened and where, and end the process with
// the overflow's own code, using as little stack as can be: the text is built in static memory
// (the process ends here, so no other thread can be in the middle of it for long).
void reportStackOverflowAndExit(const EXCEPTION_RECORD &record)
{
    static const char head[] = "qvcore: stack overflow at 0x", tail[] = "; the process cannot continue\r\n";
    static char text[sizeof head + 2 * sizeof(void *) + sizeof tail];
    char *at = text + sizeof head - 1;
    memcpy(text, head, sizeof head - 1);
    ULONG_PTR address = reinterpret_cast<ULONG_PTR>(record.ExceptionAddress);
    for (int shift = 8 * sizeof(void *) - 4; shift >= 0; shift -= 4)
        *at++ = "0123456789ABCDEF"[(address >> shift) & 15];
    memcpy(at, tail, sizeof tail - 1);
    at += sizeof tail - 1;
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(at - text), &written, nullptr);
    TerminateProcess(GetCurrentProcess(), kStackOverflow);
}

}  // namespace

// Called by the trampoline on the faulting thread, as if from the faulting instruction.
extern "C" __attribute__((used, noreturn)) void qvcoreSehRaise(ThreadState *state)
{
    {
        // The translator runs with none set, so that a fault inside it goes on to the other
        // handlers instead of back into it, endlessly. Whatever it sets itself is undone.
        struct Suspended {
            ThreadState *state;
            QvSETranslatorFunction translator;
            ULONG_PTR frameMark;
            ~Suspended()
            {
                state->translator = translator;
                state->frameMark = frameMark;
            }
        } suspended{state, state->translator, state->frameMark};
        state->translator = nullptr;
        suspended.translator(state->record.ExceptionCode, &state->pointers);
    }
    // The translator declined: the other handlers get the fault, raised here, which for the
    // unwinder is the faulting instruction. It cannot be continued: its context is gone.
    state->declinedCode = state->record.ExceptionCode;
    RaiseException(state->record.ExceptionCode, state->record.ExceptionFlags | EXCEPTION_NONCONTINUABLE,
                   state->record.NumberParameters, state->record.ExceptionInformation);
    std::terminate();
}

// What differs per architecture: reading the thread information block, the frames a handler
// must look at, the trampolines and how the faulting context is sent into them.
#if defined(__x86_64__)
#include "qvcore/core/SEHTranslator-x86_64.inc"
#elif defined(__i386__)
#include "qvcore/core/SEHTranslator-i686.inc"
#else
#error "structured-exception translation is written for x86_64 and i686"
#endif

namespace {

LONG CALLBACK translateFault(EXCEPTION_POINTERS *info)
{
    const EXCEPTION_RECORD *record = info->ExceptionRecord;
    if (!isTranslated(record->ExceptionCode))
        return EXCEPTION_CONTINUE_SEARCH;
    ThreadState *state = currentState();
    if (!state || !state->translator)
        return EXCEPTION_CONTINUE_SEARCH;
    if (state->declinedCode == record->ExceptionCode) {
        state->declinedCode = 0;
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (record->ExceptionCode == kStackOverflow)
        reportStackOverflowAndExit(*record);
    // A frame entered after the translator was set registered its own handler (system code that
    // probes memory, for instance): as with a frame-based translator, that handler sees the fault
    // first, untranslated.
    if (innermostFrame(stackPointerOf(*info->ContextRecord)) < state->frameMark)
        return EXCEPTION_CONTINUE_SEARCH;
    ResumePoint resume;
    if (!findResumePoint(*record, *info->ContextRecord, resume))
        return EXCEPTION_CONTINUE_SEARCH;

    state->record = *record;
    state->record.ExceptionRecord = nullptr;  // a chained record stays on the abandoned stack
    state->context = *info->ContextRecord;
    state->pointers.ExceptionRecord = &state->record;
    state->pointers.ContextRecord = &state->context;
    resumeInTrampoline(*info->ContextRecord, state, resume);
    return EXCEPTION_CONTINUE_EXECUTION;
}

// Installed first, so that a fault on a translating thread is translated before other vectored
// handlers see it; removed, with the TLS slot, when the DLL unloads.
struct HandlerRegistration {
    PVOID handle = AddVectoredExceptionHandler(1, translateFault);
    ~HandlerRegistration()
    {
        if (handle)
            RemoveVectoredExceptionHandler(handle);
        if (stateSlot != TLS_OUT_OF_INDEXES)
            TlsFree(stateSlot);
    }
} handlerRegistration;

// The state lives as long as its thread; the runtime allocates it on first use, which happens
// here, outside any fault.
thread_local ThreadState threadState;

void __cdecl translateToSEHException(unsigned int code, EXCEPTION_POINTERS *pointers)
{
    throw SEHException(code, pointers->ExceptionRecord->ExceptionAddress);
}

}  // namespace

QvSETranslatorFunction QvSetSETranslator(QvSETranslatorFunction translator)
{
    DWORD lastError = GetLastError();
    ThreadState *state = &threadState;
    if (TlsGetValue(stateSlot) != state)
        TlsSetValue(stateSlot, state);
    QvSETranslatorFunction previous = state->translator;
    state->translator = translator;
    state->frameMark = innermostFrame(0);
    SetLastError(lastError);
    return previous;
}

SEHException::TryCatchEnabler::TryCatchEnabler() : previous_(QvSetSETranslator(translateToSEHException))
{
}

SEHException::TryCatchEnabler::~TryCatchEnabler()
{
    QvSetSETranslator(previous_);
}

void SEHCall::DoCall()
{
    SEHException::TryCatchEnabler enabler;
    Invoke();
}
