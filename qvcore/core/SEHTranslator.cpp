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

// The innermost record of the thread's chain of exception registrations (the one i686 code and
// Wine's own system code use for their exception frames) lying above stackPointer, that is
// belonging to a frame that is still active; ~0 for none.
ULONG_PTR innermostFrame(ULONG_PTR stackPointer)
{
    // NT_TIB::ExceptionList, the first member of the thread information block (NtCurrentTeb's
    // inline read trips -Warray-bounds).
    EXCEPTION_REGISTRATION_RECORD *record;
#if defined(__x86_64__)
    asm volatile("movq %%gs:0, %0" : "=r"(record));
#else
    asm volatile("movl %%fs:0, %0" : "=r"(record));
#endif
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
#if defined(__x86_64__)
    static char text[] = "qvcore: stack overflow at 0x0000000000000000; the process cannot continue\r\n";
#else
    static char text[] = "qvcore: stack overflow at 0x00000000; the process cannot continue\r\n";
#endif
    char *digit = text + 28 + 2 * sizeof(void *);
    for (ULONG_PTR address = reinterpret_cast<ULONG_PTR>(record.ExceptionAddress); digit > text + 28; address >>= 4)
        *--digit = "0123456789ABCDEF"[address & 15];
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, sizeof text - 1, &written, nullptr);
    TerminateProcess(GetCurrentProcess(), kStackOverflow);
}

#if defined(__x86_64__)
// The personality routines of g++'s C++ and C frames, as the runtime DLLs export them; a
// module's unwind data names them through an import thunk of its own.
struct GnuPersonalities {
    void *cxx = nullptr;
    void *c = nullptr;
    GnuPersonalities()
    {
        if (HMODULE cxxRuntime = GetModuleHandleA("libstdc++-6.dll"))
            cxx = reinterpret_cast<void *>(GetProcAddress(cxxRuntime, "__gxx_personality_seh0"));
        if (HMODULE cRuntime = GetModuleHandleA("libgcc_s_seh-1.dll"))
            c = reinterpret_cast<void *>(GetProcAddress(cRuntime, "__gcc_personality_seh0"));
    }
};
const GnuPersonalities gnuPersonalities;

bool isGnuPersonality(PEXCEPTION_ROUTINE handler)
{
    const unsigned char *code = reinterpret_cast<const unsigned char *>(handler);
    void *target = reinterpret_cast<void *>(handler);
    // jmp *disp32(%rip): an import thunk.
    if (code[0] == 0xFF && code[1] == 0x25) {
        INT32 displacement;
        memcpy(&displacement, code + 2, sizeof displacement);
        target = *reinterpret_cast<void *const *>(code + 6 + displacement);
    }
    return target && (target == gnuPersonalities.cxx || target == gnuPersonalities.c);
}

// True when the first frame above the fault that has a language handler has one of another
// compiler (a __try, another runtime's C++ frame): the system hands it the exception before any
// g++ frame sees it.
bool foreignHandlerFirst(const CONTEXT &fault)
{
    CONTEXT context = fault;
    for (int depth = 0; depth < 256 && context.Rip; ++depth) {
        DWORD64 imageBase = 0;
        PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &imageBase, nullptr);
        if (!function) {
            // A leaf function: its return address is on top of the stack.
            context.Rip = *reinterpret_cast<const DWORD64 *>(context.Rsp);
            context.Rsp += 8;
            continue;
        }
        void *handlerData = nullptr;
        DWORD64 establisherFrame = 0;
        PEXCEPTION_ROUTINE handler = RtlVirtualUnwind(UNW_FLAG_EHANDLER, imageBase, context.Rip, function, &context,
                                                      &handlerData, &establisherFrame, nullptr);
        if (handler)
            return !isGnuPersonality(handler);
    }
    return false;
}
#endif

#if defined(__i386__)
struct dwarf_eh_bases {
    void *tbase;
    void *dbase;
    void *func;
};
extern "C" const void *_Unwind_Find_FDE(void *pc, dwarf_eh_bases *bases);

bool unwinderKnows(ULONG_PTR pc)
{
    dwarf_eh_bases bases;
    return _Unwind_Find_FDE(reinterpret_cast<void *>(pc), &bases) != nullptr;
}

// Along the frame pointers from ebp: the first frame whose return address lies in code the
// unwinder knows. Its return-address slot, or null when there is none on this thread's stack.
ULONG_PTR *knownCallerSlot(ULONG_PTR ebp)
{
    // NT_TIB::StackBase and StackLimit (NtCurrentTeb's inline read trips -Warray-bounds).
    ULONG_PTR high, low;
    asm volatile("movl %%fs:4, %0" : "=r"(high));
    asm volatile("movl %%fs:8, %0" : "=r"(low));
    for (int depth = 0; depth < 64; ++depth) {
        if (ebp < low || ebp + 8 > high || (ebp & 3))
            return nullptr;
        ULONG_PTR *frame = reinterpret_cast<ULONG_PTR *>(ebp);
        if (unwinderKnows(frame[1])) {
            // A function that realigns its stack (system code built to be called from code that
            // keeps only 4-byte alignment) frames a copy of its return address and returns
            // through the original, 4 to 16 bytes above the copy.
            for (int above = 2; above <= 5 && ebp + 4 * above + 4 <= high; ++above) {
                if (frame[above] == frame[1])
                    return &frame[above];
            }
            return &frame[1];
        }
        if (frame[0] <= ebp)
            return nullptr;
        ebp = frame[0];
    }
    return nullptr;
}
#endif

}  // namespace

extern "C" void qvcoreSehTrampoline();

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

#if defined(__x86_64__)
// Entered with RAX = faulting RIP + 1, R10 = faulting RSP, R11 = the thread's state.
asm(R"(
    .text
    .globl qvcoreSehTrampoline
    .def qvcoreSehTrampoline; .scl 2; .type 32; .endef
    .seh_proc qvcoreSehTrampoline
qvcoreSehTrampoline:
    movq %ss, %r9
    pushq %r9
    pushq %r10
    pushfq
    movq %cs, %r9
    pushq %r9
    pushq %rax
    .seh_pushframe
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movq %r11, %rcx
    call qvcoreSehRaise
    ud2
    .seh_endproc
)");
#elif defined(__i386__)
// Entered with EAX = faulting EIP, EDX = faulting ESP, ECX = the thread's state.
// CFA = [ESP + 4] (DW_CFA_def_cfa_expression: DW_OP_breg4 4, DW_OP_deref); EIP (column 8) is
// saved at ESP + 8 (DW_CFA_expression: DW_OP_breg4 8).
asm(R"(
    .text
    .globl _qvcoreSehTrampoline
    .def _qvcoreSehTrampoline; .scl 2; .type 32; .endef
_qvcoreSehTrampoline:
    .cfi_startproc
    .cfi_signal_frame
    subl $16, %esp
    movl %ecx, (%esp)
    movl %edx, 4(%esp)
    movl %eax, 8(%esp)
    .cfi_escape 0x0f, 0x03, 0x74, 0x04, 0x06
    .cfi_escape 0x10, 0x08, 0x02, 0x74, 0x08
    call _qvcoreSehRaise
    ud2
    .cfi_endproc

    .globl _qvcoreSehReturnTrampoline
    .def _qvcoreSehReturnTrampoline; .scl 2; .type 32; .endef
_qvcoreSehReturnTrampoline:
    call _qvcoreSehReturnState
    movl %eax, %ecx
    movl 16(%ecx), %edx
    movl 12(%ecx), %eax
    decl %eax
    jmp _qvcoreSehTrampoline
)");

// The state of the thread whose raising function just returned into the return trampoline.
extern "C" __attribute__((used)) ThreadState *qvcoreSehReturnState()
{
    return currentState();
}
static_assert(offsetof(ThreadState, returnAddress) == 12 && offsetof(ThreadState, callerStack) == 16,
              "the return trampoline reads these fields by offset");
extern "C" void qvcoreSehReturnTrampoline();
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
#if defined(__x86_64__)
    ULONG_PTR faultingStack = info->ContextRecord->Rsp;
#else
    ULONG_PTR faultingStack = info->ContextRecord->Esp;
#endif
    if (innermostFrame(faultingStack) < state->frameMark)
        return EXCEPTION_CONTINUE_SEARCH;
#if defined(__x86_64__)
    if (foreignHandlerFirst(*info->ContextRecord))
        return EXCEPTION_CONTINUE_SEARCH;
#endif
    CONTEXT *context = info->ContextRecord;
#if defined(__i386__)
    ULONG_PTR *returnSlot = nullptr;
    if (!unwinderKnows(context->Eip)) {
        if (record->ExceptionFlags & EXCEPTION_NONCONTINUABLE)
            return EXCEPTION_CONTINUE_SEARCH;
        returnSlot = knownCallerSlot(context->Ebp);
        if (!returnSlot)
            return EXCEPTION_CONTINUE_SEARCH;
    }
#endif

    state->record = *record;
    state->record.ExceptionRecord = nullptr;  // a chained record stays on the abandoned stack
    state->context = *info->ContextRecord;
    state->pointers.ExceptionRecord = &state->record;
    state->pointers.ContextRecord = &state->context;

#if defined(__i386__)
    if (returnSlot) {
        // The raising function returns normally, into the return trampoline.
        state->returnAddress = *returnSlot;
        state->callerStack = reinterpret_cast<ULONG_PTR>(returnSlot + 1);
        *returnSlot = reinterpret_cast<ULONG_PTR>(&qvcoreSehReturnTrampoline);
        return EXCEPTION_CONTINUE_EXECUTION;
    }
#endif
#if defined(__x86_64__)
    context->Rax = context->Rip + 1;
    context->R10 = context->Rsp;
    context->R11 = reinterpret_cast<DWORD64>(state);
    context->Rsp = (context->Rsp - 128) & ~DWORD64(15);
    context->Rip = reinterpret_cast<DWORD64>(&qvcoreSehTrampoline);
#else
    context->Eax = context->Eip;
    context->Edx = context->Esp;
    context->Ecx = reinterpret_cast<DWORD>(state);
    context->Esp = (context->Esp - 64) & ~DWORD(15);
    context->Eip = reinterpret_cast<DWORD>(&qvcoreSehTrampoline);
#endif
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

SEHException::TryCatchEnabler::TryCatchEnabler() : m_previous(QvSetSETranslator(translateToSEHException))
{
}

SEHException::TryCatchEnabler::~TryCatchEnabler()
{
    QvSetSETranslator(m_previous);
}

void SEHCall::DoCall()
{
    SEHException::TryCatchEnabler enabler;
    Invoke();
}
