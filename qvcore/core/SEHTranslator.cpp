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

#include "qvcore/core/WinException.h"

#include <exception>

namespace {

// Everything the trampoline and the translator need on one thread. The exception pointers
// handed to the translator point at the copies here.
struct ThreadState {
    QvSETranslatorFunction translator;
    DWORD declinedCode;  // set while a fault the translator returned from is passed on
    EXCEPTION_RECORD record;
    CONTEXT context;
    EXCEPTION_POINTERS pointers;
};

// The handler reads the state through a plain TLS slot: it allocates nothing and takes no lock,
// whatever the faulting thread was doing (holding the heap lock, for instance).
const DWORD stateSlot = TlsAlloc();

// Translated: data misalignment, break point and single step, and every code of error severity
// that the system defines. Not translated: the C++ exceptions of g++ (0x20474343) and of other
// compilers (0xE06D7363: application-defined, the customer bit is set), debugger and
// informational codes (0x406D1388 thread names, 0x40010006 debug output, ...), and warnings such
// as guard-page violations.
bool isTranslated(DWORD code)
{
    if (code >= 0x80000002 && code <= 0x80000004)
        return true;
    return (code & 0xE0000000) == 0xC0000000;
}

ThreadState *currentState()
{
    DWORD lastError = GetLastError();  // TlsGetValue clears it
    ThreadState *state = static_cast<ThreadState *>(TlsGetValue(stateSlot));
    SetLastError(lastError);
    return state;
}

}  // namespace

extern "C" void qvcoreSehTrampoline();

// Called by the trampoline on the faulting thread, as if from the faulting instruction.
extern "C" __attribute__((used, noreturn)) void qvcoreSehRaise(ThreadState *state)
{
    state->translator(state->record.ExceptionCode, &state->pointers);
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
)");
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

    state->record = *record;
    state->record.ExceptionRecord = nullptr;  // a chained record stays on the abandoned stack
    state->context = *info->ContextRecord;
    state->pointers.ExceptionRecord = &state->record;
    state->pointers.ContextRecord = &state->context;

    CONTEXT *context = info->ContextRecord;
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
