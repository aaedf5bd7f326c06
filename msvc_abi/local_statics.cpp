// The compiler's protocol for variables of functions that several threads may enter first. A guard is 0
// before, -1 while one thread makes the variable, and the epoch of its making afterwards; compiled code asks
// here when a guard is above _Init_thread_epoch.
extern "C" {
__declspec(dllimport) void AcquireSRWLockExclusive(void** lock);
__declspec(dllimport) void ReleaseSRWLockExclusive(void** lock);
__declspec(dllimport) void WakeAllConditionVariable(void** condition);
__declspec(dllimport) int SleepConditionVariableSRW(void** condition, void** lock, unsigned long milliseconds,
                                                    unsigned long flags);

int tarnel_newest_epoch = static_cast<int>(0x80000000);

static void* lock = nullptr;
static void* made = nullptr;

static void SetGuard(int* guard, int value) {
    *guard = value;
    ReleaseSRWLockExclusive(&lock);
    WakeAllConditionVariable(&made);
}

void _Init_thread_header(int* guard) {
    constexpr unsigned long kForever = 0xFFFFFFFF;
    AcquireSRWLockExclusive(&lock);
    while (*guard == -1) SleepConditionVariableSRW(&made, &lock, kForever, 0);
    if (*guard == 0) *guard = -1;
    ReleaseSRWLockExclusive(&lock);
}

void _Init_thread_footer(int* guard) {
    AcquireSRWLockExclusive(&lock);
    SetGuard(guard, ++tarnel_newest_epoch);
}

void _Init_thread_abort(int* guard) {
    AcquireSRWLockExclusive(&lock);
    SetGuard(guard, 0);
}
}
